// Test doubles of the device layer: board windows backed by arrays of bytes.
#pragma once

#include <cstring>
#include <vector>

#include "QelBaseTypes.h"
#include "XHwAccess.h"

// A resource of the given kind backed by an array of bytes; accesses past its end fail with -1
// and block transfers with -10.
template <class BASE>
class TFakeRes : public BASE
{
public:
    explicit TFakeRes(MUINT32 uiSize) : m_auiBytes(uiSize, 0) {}

    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override { return Copy(uiOffset, &ruiValue, 4, false); }
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override { return Copy(uiOffset, &ruiValue, 1, false); }
    int Read(MUINT32, MUINT8*, MUINT32) override { return -10; }
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override { return Copy(uiOffset, &uiValue, 4, true); }
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override { return Copy(uiOffset, &uiValue, 1, true); }
    int Write(MUINT32, const MUINT8*, MUINT32) override { return -10; }

    std::vector<MUINT8> m_auiBytes;

private:
    int Copy(MUINT32 uiOffset, void* pvValue, MUINT32 uiBytes, bool bWrite)
    {
        if (uiOffset > m_auiBytes.size() || m_auiBytes.size() - uiOffset < uiBytes)
            return -1;
        if (bWrite)
            memcpy(&m_auiBytes[uiOffset], pvValue, uiBytes);
        else
            memcpy(pvValue, &m_auiBytes[uiOffset], uiBytes);
        return 0;
    }
};

class CFakeMem : public TFakeRes<XMemAccess>
{
public:
    CFakeMem() : TFakeRes(0x1000) {}
    MEMHANDLE GetMappedMemory() const override { return 0; }
    MUINT64 GetPhysMemory() const override { return 0; }
    MUINT32 GetSize() const override { return 0x1000; }
    int MapMemory() override { return 1; }
    int UnMapMemory() override { return 1; }
};

// The three windows, built before the XHwAccess that refers to them.
struct SFakeHwParts
{
    TFakeRes<XCfgAccess> m_oCfg{256};
    CFakeMem m_oMem;
    TFakeRes<XRegAccess> m_oReg{0x10000};
};

class CFakeHwAccess : private SFakeHwParts, public XHwAccess
{
public:
    CFakeHwAccess() : XHwAccess(m_oCfg, m_oMem, m_oReg) {}
    int RetrainLink() override { return 0; }
};
