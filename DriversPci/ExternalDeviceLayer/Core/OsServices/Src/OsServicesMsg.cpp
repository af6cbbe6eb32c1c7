// Message output and message settings of OsServices.
#include <cerrno>
#include <cstdio>

#include "OsServices.h"
#include "QelTools.h"

MBOOL32 OsServices::ms_bIsMessagePrefixEnabled = 1;
char    OsServices::ms_szMsgPrefix[64] = "hb4";
MUINT64 OsServices::ms_uiReferenceId = 0;
MBOOL32 OsServices::ms_bEnableErrorMsg = 1;
MBOOL32 OsServices::ms_bEnableUserMsg = 1;
MBOOL32 OsServices::ms_bEnableInfo = 0;

namespace
{
// The prefix and the message are two separate formatted writes to standard output.
void WriteWithPrefix(const char* pszLevel, const char* pszFormat, va_list oArgs)
{
    if (OsServices::ms_bIsMessagePrefixEnabled)
    {
        fprintf(stdout, "%s(%d.%d.%d.%d)[%llu]: (%s) ", OsServices::ms_szMsgPrefix, OsServices::msc_uiMajorVer,
                OsServices::msc_uiMinorVer, OsServices::msc_uiPatchVer, OsServices::msc_uiBuildVer,
                (unsigned long long)OsServices::ms_uiReferenceId, pszLevel);
    }
    vfprintf(stdout, pszFormat, oArgs);
}
}  // namespace

void OsServices::WriteErrorMsg(const char* pszFormat, ...)
{
    if (!ms_bEnableErrorMsg)
        return;
    va_list oArgs;
    va_start(oArgs, pszFormat);
    WriteWithPrefix("Error", pszFormat, oArgs);
    va_end(oArgs);
}

void OsServices::WriteUserMsg(const char* pszFormat, ...)
{
    if (!ms_bEnableUserMsg)
        return;
    va_list oArgs;
    va_start(oArgs, pszFormat);
    WriteWithPrefix("Info", pszFormat, oArgs);
    va_end(oArgs);
}

void OsServices::WriteMsg(const char* pszFormat, ...)
{
    if (!ms_bEnableInfo)
        return;
    va_list oArgs;
    va_start(oArgs, pszFormat);
    WriteWithPrefix("Debug", pszFormat, oArgs);
    va_end(oArgs);
}

void OsServices::WriteOperatorHint(const char* pszFormat, ...)
{
    // Built whole first, so that the line reaches standard error in one write.
    char szLine[512];
    va_list oArgs;
    va_start(oArgs, pszFormat);
    vsnprintf(szLine, sizeof(szLine), pszFormat, oArgs);
    va_end(oArgs);
    fprintf(stderr, "%s: %s\n", program_invocation_short_name, szLine);
}

void OsServices::SetMsgPrefix(const char* pszPrefix)
{
    QelTools_strcpy_s(ms_szMsgPrefix, sizeof(ms_szMsgPrefix), pszPrefix);
}

void OsServices::SetMsgReferenceId(MUINT64 uiReferenceId) { ms_uiReferenceId = uiReferenceId; }

void OsServices::SetMsgLevel(MBOOL32 bEnableError, MBOOL32 bEnableUser, MBOOL32 bEnableInfo)
{
    ms_bEnableErrorMsg = bEnableError;
    ms_bEnableUserMsg = bEnableUser;
    ms_bEnableInfo = bEnableInfo;
}

void OsServices::GetMsgLevel(MBOOL32* pbEnableError, MBOOL32* pbEnableUser, MBOOL32* pbEnableInfo)
{
    if (pbEnableError)
        *pbEnableError = ms_bEnableErrorMsg;
    if (pbEnableUser)
        *pbEnableUser = ms_bEnableUserMsg;
    if (pbEnableInfo)
        *pbEnableInfo = ms_bEnableInfo;
}

void OsServices::SetMsgPrefixEnable(MBOOL32 bEnable) { ms_bIsMessagePrefixEnabled = bEnable; }

// Returns the part of the path behind its last '/' or '\'. The loop walks back from the last
// character and stops on the first one without testing it; only then is that character looked
// at, so "/x" gives "x", while "abc" and "" come back whole.
const char* OsServices::GetFileNameOnlySubSring(const char* pszPath)
{
    if (pszPath == nullptr || pszPath[0] == '\0')
        return pszPath;
    const char* pszScan = pszPath + QelTools_strlen(pszPath) - 1;
    while (pszScan > pszPath && *pszScan != '/' && *pszScan != '\\')
        --pszScan;
    if (*pszScan == '/' || *pszScan == '\\')
        return pszScan + 1;
    return pszPath;
}
