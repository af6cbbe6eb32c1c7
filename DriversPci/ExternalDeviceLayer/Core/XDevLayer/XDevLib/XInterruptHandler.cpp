#include "XInterruptHandler.h"

XInterruptHandler::XInterruptHandler(PFNINTERRUPTCALLBACK pfnCallback, void* pvUserData, EInterruptType eType,
                                     MUINT32 uiNumber)
    : m_pfnCallback(pfnCallback), m_pvUserData(pvUserData), m_eType(eType), m_uiNumber(uiNumber), m_bIsEnabled(FALSE)
{
    if (pfnCallback == nullptr || eType > INTTYPE_LAST)
        m_bInitialized = FALSE;
}

int XInterruptHandler::Call()
{
    return (m_pfnCallback != nullptr) ? m_pfnCallback(this) : -1;
}
