// Elements of the full-board device model that a context keeps in its registries: video and
// audio inputs and outputs, FPGA ports, I2C buses, LED controllers, the reset controller, the
// cable frame lock, the memory cube device and the reference counter. Their drivers live with
// the full-board builder; the context only holds them and calls what is declared here.
#pragma once

#include "QelBaseTypes.h"
#include "XDev.h"
#include "XObject.h"

class XVideoIn : public XObject
{
};

class XVideoOut : public XObject
{
public:
    // Programs the output again from its current settings, after the devices it runs on were
    // reset.
    virtual LStatus RestoreState() = 0;
};

class XAudioIn : public XObject
{
};

class XAudioOut : public XObject
{
};

// One port of the FPGA bridge.
class XFpgaPort : public XObject
{
};

class XI2cBus : public XObject
{
};

class XLedCtrl : public XObject
{
};

class XResetCtrl : public XObject
{
};

class XCableFrameLock : public XObject
{
};

// Memory cube device: owns data in the board's memory, which a core initialisation wipes.
class XDevHmc : public XDev
{
public:
    XDevHmc() : XDev(TYPE_HMC) {}
    // Forgets the data it placed in the board's memory; bFreeAll 1 forgets everything.
    virtual LStatus DeAllocatedData(MBOOL32 bFreeAll) = 0;
};

// Free-running reference counter of the board, the time base of its interrupt statistics.
class XDevReferenceCnt : public XDev
{
public:
    XDevReferenceCnt() : XDev(TYPE_REFERENCE_CNT) {}
    virtual MUINT64 GetReferenceCount() = 0;
};

// Identity of one FPGA design found on the board.
struct SFpgaInfo
{
    MUINT32 uiId;        // design id
    MUINT32 uiVersion;   // firmware version
    MUINT32 uiBuild;     // build number

    bool operator==(const SFpgaInfo& roOther) const
    {
        return uiId == roOther.uiId && uiVersion == roOther.uiVersion && uiBuild == roOther.uiBuild;
    }
};
