// One general-purpose I/O pin of a board (a reset line, a button, a strap). A pin is shared
// between users: a user acquires it, which gives a session id, changes it under that id and
// releases it at once.
#pragma once

#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XObject.h"

class XIoPin : public XObject
{
public:
    enum EPinDirection : MUINT32
    {
        PIN_DIR_INPUT  = 0,
        PIN_DIR_OUTPUT = 1,
    };

    enum EPinState : MUINT32
    {
        PIN_STATE_LOW  = 0,
        PIN_STATE_HIGH = 1,
    };

    // Waits without limit when given to AcquireIOPin.
    static constexpr MUINT32 msc_uiInfiniteTimeout = 0xFFFFFFFF;

    explicit XIoPin(const MCHAR8* pszName) : m_szName(pszName) {}
    ~XIoPin() override {}

    // Takes the pin, waiting up to uiTimeoutMs for another user to release it. Non-negative with
    // the session id in ruiSessionId; negative when the pin could not be had.
    virtual LStatus AcquireIOPin(MUINT32 uiTimeoutMs, MUINT32& ruiSessionId) = 0;
    // Both need the session id of the current acquisition; negative otherwise.
    virtual LStatus SetDirection(MUINT32 uiSessionId, EPinDirection eDirection) = 0;
    virtual LStatus SetState(MUINT32 uiSessionId, EPinState eState) = 0;
    virtual LStatus ReleaseIOPin(MUINT32 uiSessionId) = 0;

    // The pin's name on the board's schematic, e.g. "HB4_SRST".
    CMString m_szName;
};
