// Hardware access interfaces. Devices never call the platform functions directly: they reach a
// board through one XHwAccess object, which bundles the board's PCI configuration space, its
// 32-bit register window and its memory window. Each of the three offers the same small
// read/write interface of XResAccess.
//
// All offsets and counts are unsigned 32-bit byte values. Results are statuses: 0 success,
// negative failure.
//
// The order of the virtual operations is part of the interface (other implementations, such as
// the traced register access, derive from these classes): new operations go after the existing
// ones only.
#pragma once

#include "QelBaseTypes.h"

// One addressable resource of a board.
class XResAccess
{
public:
    XResAccess() = default;
    virtual ~XResAccess() {}

    virtual int Read(MUINT32 uiOffset, MUINT32& ruiValue) = 0;
    virtual int Read(MUINT32 uiOffset, MUINT8& ruiValue) = 0;
    virtual int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) = 0;
    virtual int Write(MUINT32 uiOffset, MUINT32 uiValue) = 0;
    virtual int Write(MUINT32 uiOffset, MUINT8 uiValue) = 0;
    virtual int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) = 0;

    XResAccess(const XResAccess&) = delete;
    XResAccess& operator=(const XResAccess&) = delete;
};

// PCI configuration space of the board.
class XCfgAccess : public XResAccess
{
};

// The board controller's register window.
class XRegAccess : public XResAccess
{
public:
    XRegAccess() : m_uiChipRevision(0) {}

    // Revision of the board controller; known on second-generation controllers only, else 0.
    MUINT32 m_uiChipRevision;
};

// The board's memory window. Unlike the register window it is mapped only on demand.
class XMemAccess : public XResAccess
{
public:
    // Virtual address of the window, 0 when it is not mapped.
    virtual MEMHANDLE GetMappedMemory() const = 0;
    virtual MUINT64 GetPhysMemory() const = 0;
    // Size of the window in bytes.
    virtual MUINT32 GetSize() const = 0;
    // 1 when the window is mapped afterwards, 0 when it could not be mapped.
    virtual int MapMemory() = 0;
    // Always 1.
    virtual int UnMapMemory() = 0;
};

// Everything a device needs to reach one board.
class XHwAccess
{
public:
    XHwAccess(XCfgAccess& roCfg, XMemAccess& roMem, XRegAccess& roReg)
        : m_roCfg(roCfg), m_roMem(roMem), m_roReg(roReg)
    {
    }
    virtual ~XHwAccess() {}

    // Asks the bridge above the board to retrain the PCI Express link. Does not wait for the
    // retraining to complete. 0, or -1 when the bridge has no PCI Express capability.
    virtual int RetrainLink() = 0;

    // False when the register window could not be mapped: every register access then fails
    // with a negative status, and the board must not be driven. Implementations without a
    // window to map are always reachable.
    virtual MBOOL32 IsRegisterWindowMapped() const { return TRUE; }

    XHwAccess(const XHwAccess&) = delete;
    XHwAccess& operator=(const XHwAccess&) = delete;

    XCfgAccess& m_roCfg;
    XMemAccess& m_roMem;
    XRegAccess& m_roReg;
};
