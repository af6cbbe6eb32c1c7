// String, memory and integer helpers used across the library, and the assertion hook.
#pragma once

#include <cstdarg>
#include <cwchar>

#include "QelBaseTypes.h"

int   QelTools_memcmp(const void* pvA, const void* pvB, MUINT32 uiSize);
void* QelTools_memcpy(void* pvDestination, const void* pvSource, MUINT32 uiSize);
void* QelTools_memset(void* pvDestination, int iValue, MUINT32 uiSize);
void* QelTools_memmove(void* pvDestination, const void* pvSource, MUINT32 uiSize);

int QelTools_strlen(const char* pszText);
int QelTools_wcslen(const wchar_t* pwszText);
int QelTools_strcmp(const char* pszA, const char* pszB);
int QelTools_strncmp(const char* pszA, const char* pszB, MUINT32 uiCount);
const char* QelTools_strstr(const char* pszText, const char* pszSearch);
const char* QelTools_strchr(const char* pszText, int iChar);
const char* QelTools_strrchr(const char* pszText, int iChar);
int QelTools_atoi(const char* pszText);
int QelTools_isDigit(int iChar);
int QelTools_strcpy_s(char* pszDestination, MUINT32 uiSize, const char* pszSource);
int QelTools_vsprintf_s(char* pszDestination, MUINT32 uiSize, const char* pszFormat, va_list oArgs);
char* QelTools_strtok_s(char* pszText, const char* pszDelimiters, char** ppszContext);
int QelTools_stricmp(const char* pszA, const char* pszB);
char* QelTools_strupr_s(char* pszText, MUINT32 uiSize);
char* QelTools_strlwr_s(char* pszText, MUINT32 uiSize);
char* QelTools_strrev(char* pszText);

MUINT32 QelTools_RoundedDivision(MUINT32 uiDividend, MUINT32 uiDivisor);
MUINT32 QelTools_RoundedDownDivision(MUINT32 uiDividend, MUINT32 uiDivisor);
MUINT32 QelTools_RoundedUpDivision(MUINT32 uiDividend, MUINT32 uiDivisor);
MUINT32 QelTools_SquareRoot(MUINT32 uiValue);

// Assertion hook: does nothing in this build.
void QelTools_Assert(int iCondition, const char* pszFile, int iLine);
