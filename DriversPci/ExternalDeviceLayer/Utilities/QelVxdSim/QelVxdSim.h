// The board simulator: a second backend of the platform layer that presents a rig of simulated
// PCI functions and boards to the unchanged tool. QELVXD_SIM=default or QELVXD_SIM=<rig file>
// selects it (QelVxdBackend.h); this header is the in-process interface that tests use to load
// rigs, reach the simulated boards and read the simulated clock.
//
// One simulator exists per process. Loading a rig replaces the previous simulator (which is
// flushed first); the backend table stays the same and always reaches the current one. The
// simulator is not thread-safe: use it from one thread, as the tool does.
#pragma once

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "QelBaseTypes.h"
#include "QelVxdBackend.h"
#include "QelVxdSimBoard.h"
#include "QelVxdSimBus.h"
#include "QelVxdSimClock.h"
#include "QelVxdSimRegisterFile.h"
#include "QelVxdSimRig.h"
#include "QelVxdSimState.h"
#include "QelVxdSimTrace.h"

// The register that the last access through a register window reached, kept open like the memory
// page (CQelSim::m_roOpenPage) until any other operation of the simulator closes it: reading the
// parameter block from the EEPROM makes forty thousand accesses in a row to the one bus register,
// and while it stays open each of them skips the bus decode. Unlike the page it stays inside the
// simulator: the board still answers every access itself (whether it decodes its registers, what
// the register's behaviour does), so only the look-up of the address and the checks of the
// access's width and place, made when the register was opened, are saved.
struct SQelSimOpenRegister
{
    MUINTPTR uiAddress    = 0;        // mapped address of the register; 0: none open
    CQelSimBoard* poBoard = nullptr;
    MUINT32 uiDword       = 0;        // the register's dword index in the board's register file

    CQelSimBoard* Holding(MEMHANDLE hAddress) const { return hAddress == uiAddress ? poBoard : nullptr; }
};

class CQelSim : private CQelSimPersistenceSink
{
public:
    // Builds the rig: places the board windows, loads the persisted state, opens the trace file
    // (empty path: no trace). The boards take over the flash contents of the description rather
    // than copy them (megabytes per board). Null with the reason in rsError.
    static std::unique_ptr<CQelSim> Create(SQelSimRigDesc&& roRig, const std::string& rsTracePath,
                                           std::string& rsError);
    ~CQelSim() override;

    // ---- Backend operations (the SQelVxdBackend table forwards here).
    int ConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize);
    int ConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize);
    MEMHANDLE Map(MUINT64 uiPhysical, MUINT32 uiLength);
    int Unmap(MEMHANDLE hAddress);
    // Access of 1, 2 or 4 bytes at a mapped address. An address that no mapping holds is a fault
    // that kills the process on hardware; the simulator reports it and aborts. Dwords of the open
    // page (see m_roOpenPage) do not come here when made through the platform's functions.
    MUINT32 Read(MEMHANDLE hAddress, MUINT32 uiBytes)
    {
        if (uiBytes == 4)
        {
            if (CQelSimBoard* poBoard = m_oOpenRegister.Holding(hAddress))
            {
                ++poBoard->Stats().uiRegReads;
                return poBoard->RegReadDword(m_oOpenRegister.uiDword);
            }
        }
        return ReadDecoded(hAddress, uiBytes);
    }
    void Write(MEMHANDLE hAddress, MUINT32 uiBytes, MUINT32 uiValue)
    {
        if (uiBytes == 4)
        {
            if (CQelSimBoard* poBoard = m_oOpenRegister.Holding(hAddress))
            {
                ++poBoard->Stats().uiRegWrites;
                poBoard->RegWriteDword(m_oOpenRegister.uiDword, uiValue);
                return;
            }
        }
        WriteDecoded(hAddress, uiBytes, uiValue);
    }
    int Counter(MUINT64* puiMicroSeconds);
    void Delay(MUINT32 uiMicroSeconds);
    int Sleep(MUINT32 uiMicroSeconds);

    // ---- The rig, for tests and board behaviours. Nothing here is traced.
    const std::string& RigName() const { return m_sRigName; }
    CQelSimBus& Bus() { return m_oBus; }
    CQelSimFunction* FindFunction(PCIHANDLE hLocation) const { return m_oBus.Find(hLocation); }
    CQelSimBoard* FindBoard(PCIHANDLE hLocation) const { return m_oBus.FindBoard(hLocation); }
    CQelSimClock& Clock() { return m_oClock; }
    const std::string& StatePath() const;
    // The board that waits are counted against: the board the host addressed last, through
    // configuration space or a window, or the first board before any was addressed; null on a
    // rig without boards. See WaitBoard in QelVxdSim.cpp.
    CQelSimBoard* WaitBoard() const;
    // One "sim-stats" line per board, in rig order.
    void PrintStats(FILE* pFile) const;
    // Writes what is not on disk yet (a state change whose save failed, changed flash images)
    // and pushes out the trace. False with what failed.
    bool Flush(std::string& rsError);

private:
    CQelSim(const SQelSimRigDesc& roRig);
    bool Build(SQelSimRigDesc&& roRig, const std::string& rsTracePath, std::string& rsError);
    // Steps of Build, in their order; each false with what failed. The boards are moved out of
    // raoBoards into the bus, their windows placed and their persisted registers restored.
    bool OpenTrace(const std::string& rsTracePath, std::string& rsError);
    bool LoadState(const std::string& rsStatePath, TQelSimBoardState& roState, std::string& rsError);
    bool AddBoards(std::vector<SQelSimBoardDesc>& raoBoards, const TQelSimBoardState& roState, std::string& rsError);
    void MarkMultiFunctionDevices(const SQelSimRigDesc& roRig);
    bool SaveState(std::string& rsError);
    void OnPersistentRegisterChanged(MUINT32 uiOffset) override;
    const SQelSimMapping& Resolve(MEMHANDLE hAddress, MUINT32 uiBytes, bool bWrite, MUINT32& ruiOffset);
    // Read and Write through the bus decode, for every access the open page and register do not
    // take.
    MUINT32 ReadDecoded(MEMHANDLE hAddress, MUINT32 uiBytes);
    void WriteDecoded(MEMHANDLE hAddress, MUINT32 uiBytes, MUINT32 uiValue);
    // Opens the page or the register of an access just made at hAddress (window offset uiOffset):
    // a page when it lies whole in the mapping and in the memory, a register when the access was
    // a whole register (an aligned dword of the register file); neither while a trace wants to see
    // every access decoded.
    void OpenPage(const SQelSimMapping& roMapping, MEMHANDLE hAddress, MUINT32 uiOffset);
    void OpenRegister(CQelSimBoard& roBoard, MEMHANDLE hAddress, MUINT32 uiBytes, MUINT32 uiOffset);
    void CloseOpenAccess()
    {
        if (m_poOpenPageDram != nullptr)
        {
            m_poOpenPageDram->Publish(nullptr);
            m_poOpenPageDram = nullptr;
        }
        m_roOpenPage    = SQelVxdDirectPage();
        m_oOpenRegister = SQelSimOpenRegister();
    }
    [[noreturn]] void Fault(MEMHANDLE hAddress, MUINT32 uiBytes, bool bWrite);
    // ConfigRead of a function that exists. Out of line: the bus scan reads 8,192 functions, nearly
    // all absent, and their reads then end before this part's set-up.
    [[gnu::noinline]] int ConfigReadOf(CQelSimFunction& roFunction, PCIHANDLE hDevice, MUINT32 uiOffset,
                                       void* pvBuffer, MUINT32 uiSize);
    // The function at hDevice; a board becomes the one that waits are counted against.
    CQelSimFunction* Address(PCIHANDLE hDevice);

    std::string m_sRigName;
    CQelSimClock m_oClock;
    std::unique_ptr<CQelSimTrace> m_poTrace;
    std::unique_ptr<CQelSimStateStore> m_poState;
    SQelSimEnv m_oEnv;
    CQelSimBus m_oBus;
    bool m_bStateDirty;
    bool m_bStateWarned;
    CQelSimBoard* m_poAddressedBoard = nullptr;
    // The memory page that the last access through a memory window reached, published to the
    // platform layer (the backend table's direct page): the next dword accesses to the same page,
    // a quarter of a million of them in the memory test, are made there without a call into the
    // simulator. The page is opened only on a plain page (allocated, the board decoding its
    // memory, the contents trained, no data line stuck) and only while nothing else happens:
    // every other operation of the simulator closes it, and the memory withdraws it before
    // anything makes it less plain (QelVxdSimDram.h), so a board changed behind the simulator's
    // back, as tests do, is still answered exactly.
    SQelVxdDirectPage& m_roOpenPage;
    CQelSimDram* m_poOpenPageDram = nullptr;   // the memory of the open page
    SQelSimOpenRegister m_oOpenRegister;
};

// ---- The process-wide simulator. Each Load function reads QELVXD_SIM_TRACE for the trace file,
// and returns the backend table, or null with the one-line error (which names the rig) in
// rsError; after an error the previous simulator stays in place.
const SQelVxdBackend* QelVxdSim_LoadRigFile(const std::string& rsPath, std::string& rsError);
// Rig text; relative paths in it (flash images, state) are taken from rsBaseDirectory.
const SQelVxdBackend* QelVxdSim_LoadRigText(const std::string& rsJson, const std::string& rsBaseDirectory,
                                            std::string& rsError);
const SQelVxdBackend* QelVxdSim_LoadDefaultRig(std::string& rsError);
// Flushes and destroys the current simulator; the backend then shows an empty bus.
void QelVxdSim_Unload();

// The backend table of the simulator (valid whether or not a rig is loaded).
const SQelVxdBackend* QelVxdSim_Backend();
// The current simulator, or null.
CQelSim* QelVxdSim_Current();
// A board of the current simulator, or null.
CQelSimBoard* QelVxdSim_Board(MUINT32 uiBus, MUINT32 uiDevice, MUINT32 uiFunction);
// Simulated time in microseconds since the rig was loaded (0 without a simulator).
MUINT64 QelVxdSim_NowUs();
// CQelSim::Flush of the current simulator.
bool QelVxdSim_Flush(std::string& rsError);
