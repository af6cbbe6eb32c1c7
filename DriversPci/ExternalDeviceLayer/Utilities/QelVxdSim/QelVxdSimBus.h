// The simulated PCI bus: the functions present (other devices, bridges, boards), each with its
// 4 KiB configuration space, and the mappings of the boards' physical windows into the process.
//
// Configuration space is kept per dword with a mask of the bits software may change; writes to
// other bits are dropped, which is how BAR sizing, read-only ids and sticky enable bits come out
// as on hardware. Registers with side effects (link control) are handled on top of that.
#pragma once

#include <array>
#include <map>
#include <memory>
#include <vector>

#include "QelBaseTypes.h"
#include "QelVxdSimClock.h"
#include "QelVxdSimTrace.h"

class CQelSimBoard;
class CQelSimPersistenceSink;

// What an access of uiBytes (1 to 4) reads where nothing answers: all ones, as on a real bus.
inline MUINT32 QelSimAllOnes(MUINT32 uiBytes)
{
    return uiBytes >= 4 ? 0xFFFFFFFFu : (1u << (8 * uiBytes)) - 1;
}

struct SQelSimBridgeDesc;
struct SQelSimDeviceDesc;

// What every simulated function reaches besides itself.
struct SQelSimEnv
{
    CQelSimClock* poClock                 = nullptr;
    CQelSimTrace* poTrace                 = nullptr;  // null when not tracing
    CQelSimPersistenceSink* poPersistence = nullptr;  // told of persistent register changes
};

// One end of a PCI Express link, as its port's capability shows it. A downstream port (root port
// or switch port) can be told to retrain: Retrain Link reads back 0, and Link Training shows in
// the link status for msc_uiTrainingUs afterwards. The link comes back at the same speed and
// width, the best both ends support.
class CQelSimPcieLink
{
public:
    static constexpr MUINT32 msc_uiTrainingUs = 100;

    CQelSimPcieLink(MUINT32 uiCapOffset, bool bDownstreamPort)
        : m_uiCapOffset(uiCapOffset), m_bDownstreamPort(bDownstreamPort)
    {
    }

    MUINT32 CapabilityOffset() const { return m_uiCapOffset; }
    MUINT32 ControlOffset() const;
    MUINT32 RetrainCount() const { return m_uiRetrainCount; }

    MUINT32 OnRead(MUINT32 uiStored, MUINT64 uiNowUs) const;
    // True when the write started a retraining.
    bool OnWrite(MUINT32 uiWritten, MUINT32 uiByteMask, MUINT64 uiNowUs);

private:
    MUINT32 m_uiCapOffset;
    bool m_bDownstreamPort;
    MUINT32 m_uiRetrainCount    = 0;
    MUINT64 m_uiTrainingUntilUs = 0;
};

class CQelSimFunction
{
public:
    enum class EKind
    {
        Device,
        Bridge,
        Board,
    };

    virtual ~CQelSimFunction()                         = default;
    CQelSimFunction(const CQelSimFunction&)            = delete;
    CQelSimFunction& operator=(const CQelSimFunction&) = delete;

    PCIHANDLE Location() const { return m_hLocation; }
    EKind Kind() const { return m_eKind; }

    // Bus access of 1, 2 or 4 bytes, naturally aligned, inside the 4 KiB space.
    MUINT32 ConfigRead(MUINT32 uiOffset, MUINT32 uiBytes);
    void ConfigWrite(MUINT32 uiOffset, MUINT32 uiBytes, MUINT32 uiValue);

    // Test view: the dword as stored, and a raw store that ignores the write mask.
    MUINT32 PeekConfig(MUINT32 uiOffset) const { return m_auiConfig[(uiOffset / 4) % msc_uiConfigDwords]; }
    void PokeConfig(MUINT32 uiOffset, MUINT32 uiValue);

    // The PCI Express link of a bridge or board; null for other devices.
    const CQelSimPcieLink* Link() const { return m_poLink.get(); }

    // Sets the multi-function bit of the header type (the device has more than one function).
    void SetMultiFunction();

    // Trace note on this function's line (nothing when not tracing).
    void Note(const char* pszText);

    // A function that left the bus (its link went down for good) answers configuration reads
    // with all ones and drops writes, as an unclaimed request ends.

    SQelSimEnv& Env() { return m_roEnv; }

protected:
    static constexpr MUINT32 msc_uiConfigDwords = 1024;

    CQelSimFunction(PCIHANDLE hLocation, EKind eKind, SQelSimEnv& roEnv);

    // Initial value of a dword and the bits software may change.
    void Define(MUINT32 uiOffset, MUINT32 uiValue, MUINT32 uiWritable);
    void DefineHeader(MUINT32 uiVendorId, MUINT32 uiDeviceId, MUINT32 uiRevision, MUINT32 uiClassCode,
                      MUINT32 uiHeaderType, MUINT32 uiCommand);
    void DefinePcieCapability(MUINT32 uiOffset, MUINT32 uiNext, MUINT32 uiPortType, MUINT32 uiLinkSpeed,
                              MUINT32 uiLinkWidth, MUINT32 uiLinkStatusExtra);
    // Called after a write (or poke) changed the dword at uiOffset.
    virtual void OnConfigWritten(MUINT32 uiOffset);

    SQelSimEnv& m_roEnv;
    bool m_bOffBus = false;
    bool m_bIgnoresConfigWrites = false;   // writes reach no register

private:
    PCIHANDLE m_hLocation;
    EKind m_eKind;
    std::array<MUINT32, msc_uiConfigDwords> m_auiConfig;
    std::array<MUINT32, msc_uiConfigDwords> m_auiWritable;
    std::unique_ptr<CQelSimPcieLink> m_poLink;
};

// Any PCI function that is not a board or a bridge: header type 0, no BARs, no capabilities.
class CQelSimDevice : public CQelSimFunction
{
public:
    CQelSimDevice(const SQelSimDeviceDesc& roDesc, SQelSimEnv& roEnv);
};

// PCI-to-PCI bridge (header type 1) with its bus numbers and a PCI Express downstream port.
class CQelSimBridge : public CQelSimFunction
{
public:
    CQelSimBridge(const SQelSimBridgeDesc& roDesc, SQelSimEnv& roEnv);
    MUINT32 SecondaryBus() const;
    MUINT32 SubordinateBus() const;
};

// A live mapping of (part of) a board window: process addresses [uiStart, uiEnd) are reserved
// and inaccessible, so that only the simulator's accessors can reach the window through them.
struct SQelSimMapping
{
    MUINTPTR uiStart       = 0;  // page-aligned start of the reservation
    MUINTPTR uiEnd         = 0;
    MEMHANDLE hHandle      = 0;  // address handed out: uiStart + page offset of the physical address
    CQelSimBoard* poBoard  = nullptr;
    EQelSimSpace eSpace    = EQelSimSpace::Memory;
    MUINT32 uiWindowOffset = 0;  // offset in the window of uiStart
};

class CQelSimBus
{
public:
    CQelSimBus();
    ~CQelSimBus();
    CQelSimBus(const CQelSimBus&)            = delete;
    CQelSimBus& operator=(const CQelSimBus&) = delete;

    void Add(std::unique_ptr<CQelSimFunction> poFunction);
    CQelSimFunction* Find(PCIHANDLE hLocation) const;
    CQelSimBoard* FindBoard(PCIHANDLE hLocation) const;
    const std::vector<CQelSimBoard*>& Boards() const { return m_apoBoards; }

    // Maps [uiPhysical, uiPhysical + uiLength) when it lies inside one board window (whole pages,
    // as /dev/mem maps them); 0 otherwise, or when the board refuses mappings.
    MEMHANDLE Map(MUINT64 uiPhysical, MUINT32 uiLength);
    bool Unmap(MEMHANDLE hAddress);
    size_t MappingCount() const { return m_aoMappings.size(); }

    // The mapping that holds all of [uiAddress, uiAddress + uiBytes), or null.
    const SQelSimMapping* Decode(MUINTPTR uiAddress, MUINT32 uiBytes);

private:
    std::map<PCIHANDLE, std::unique_ptr<CQelSimFunction>> m_oFunctions;
    // Per bus, one bit per device number that has a function. A bus scan asks for every device
    // of every bus, some eight thousand of which are absent; they are turned away here without
    // a look-up.
    std::array<MUINT32, 256> m_auiDevicesOnBus{};
    std::vector<CQelSimBoard*> m_apoBoards;
    std::vector<SQelSimMapping> m_aoMappings;
    size_t m_uiLastHit = 0;
};
