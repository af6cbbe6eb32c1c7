// Hardware access objects over the platform layer (QelVxdApi.h): configuration space through the
// PCI functions, the register and memory windows through physical mappings.
//
// A window that is not mapped is never dereferenced: every access to it fails with -1. Accesses
// that would reach past the end of a window fail the same way, since beyond it lie another
// device's registers or nothing at all.
#pragma once

#include "QelBaseTypes.h"
#include "XHwAccess.h"

// Configuration space of one PCI function (256 bytes).
class XCfgAccessVxd : public XCfgAccess
{
public:
    explicit XCfgAccessVxd(MUINT32 hPciHandle = 0) : m_hPciHandle(hPciHandle) {}

    // -1 without an access when the dword or byte does not fit in the 256-byte space.
    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) override;   // -10
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override;
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override;
    int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) override;   // -10

    MUINT32 m_hPciHandle;
};

// The register and the memory window answer alike: single 32- or 8-bit accesses inside the
// mapped window. TAccess is XRegAccess or XMemAccess; TWindow, the derived class, names its window
// through WindowAddress() and WindowSize(). Those are reached without a virtual call: the memory
// test alone makes a quarter of a million accesses, and each one asks for both.
template <class TAccess, class TWindow>
class XWindowAccessVxd : public TAccess
{
public:
    // 0, or -1 without an access when the window is unmapped or the access leaves it.
    int Read(MUINT32 uiOffset, MUINT32& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8& ruiValue) override;
    int Read(MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiCount) override;   // -10
    int Write(MUINT32 uiOffset, MUINT32 uiValue) override;
    int Write(MUINT32 uiOffset, MUINT8 uiValue) override;
    int Write(MUINT32 uiOffset, const MUINT8* puiBuffer, MUINT32 uiCount) override;   // -10

private:
    const TWindow& Window() const { return static_cast<const TWindow&>(*this); }
};

// The controller's register window: mapped by Init, for the lifetime of the object.
class XRegAccessVxd final : public XWindowAccessVxd<XRegAccess, XRegAccessVxd>
{
public:
    XRegAccessVxd() : m_hRegMem(0), m_uiPhysAddr(0), m_uiSize(0) {}
    ~XRegAccessVxd() override;

    // Maps the window at once, uncached. A base address of 0 (a BAR that decodes no memory)
    // or a size of 0 leaves the window unmapped. hPci is not used.
    void Init(MUINT32 hPci, MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiSize);
    MBOOL32 IsMapped() const { return m_hRegMem != 0; }

    // Virtual address of the window (0 when not mapped) and its size in bytes.
    MEMHANDLE WindowAddress() const { return m_hRegMem; }
    MUINT32 WindowSize() const { return m_uiSize; }
    // The window's physical address from the BAR: 0 when the firmware gave it none.
    MUINT64 PhysicalAddress() const { return m_uiPhysAddr; }

    MEMHANDLE m_hRegMem;   // virtual address of the window, 0 when not mapped
    MUINT64   m_uiPhysAddr;
    MUINT32   m_uiSize;
};

// The board memory window: described by Init, mapped only between MapMemory and UnMapMemory.
class XMmAccessVxd final : public XWindowAccessVxd<XMemAccess, XMmAccessVxd>
{
public:
    // Mapping attributes passed to memMap64.
    static const MUINT32 msc_uiMapUncached  = 0;
    static const MUINT32 msc_uiMapCacheable = 1;

    XMmAccessVxd() : m_hMmMem(0), m_uiPhysAddr(0), m_uiSize(0) {}
    ~XMmAccessVxd() override;

    // Records the window without mapping it. hPci is not used.
    void Init(MUINT32 hPci, MUINT32 uiAddressLow, MUINT32 uiAddressHigh, MUINT32 uiSize);

    MEMHANDLE GetMappedMemory() const override { return m_hMmMem; }
    MUINT64 GetPhysMemory() const override { return m_uiPhysAddr; }
    MUINT32 GetSize() const override { return m_uiSize; }
    // Maps cacheable first and falls back to uncached. 1 when mapped (also when it already
    // was), 0 when the window cannot be mapped or has no base address.
    int MapMemory() override;
    int UnMapMemory() override;

    // Virtual address of the window (0 when not mapped) and its size in bytes.
    MEMHANDLE WindowAddress() const { return m_hMmMem; }
    MUINT32 WindowSize() const { return m_uiSize; }

    MEMHANDLE m_hMmMem;   // 0 until MapMemory
    MUINT64   m_uiPhysAddr;
    MUINT32   m_uiSize;
};

// One board: finds out its register window, memory window and memory size from the hardware.
class XHwAccessVxd : public XHwAccess
{
public:
    // Decodes the board's BARs and maps its register window. Reports nothing: a window that
    // failed to map shows in IsRegisterWindowMapped().
    XHwAccessVxd(PCIHANDLE hPciHandle, PCIHANDLE hParentBridgePciHandle);
    ~XHwAccessVxd() override {}

    // Sets Retrain Link in the PCI Express Link Control of the bridge above the board.
    // 0, or -1 without a write when the parent handle is no bridge over the board's bus, or the
    // bridge has no capability list or no PCI Express capability.
    int RetrainLink() override;
    MBOOL32 IsRegisterWindowMapped() const override { return m_oReg.IsMapped(); }

    // Destroyed in reverse order: the register window is unmapped before the memory window.
    XCfgAccessVxd m_oCfg;
    XMmAccessVxd  m_oMm;
    XRegAccessVxd m_oReg;
    MUINT32       m_uiParentBridgePciHandle;
};
