#include "QelVxdSim.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <set>
#include <sys/stat.h>

#include "QelVxdSimChip.h"
#include "QelVxdSimFiles.h"
#include "QelVxdSimPciRegs.h"

namespace
{
// Physical address space handed to the board windows. Windows are aligned to their size, as a
// BAR's address must be. 32-bit memory BARs and all register BARs stay below 4 GiB; 64-bit memory
// BARs go above it, where firmware puts large prefetchable windows.
struct SAddressPool
{
    MUINT64 uiNext;
    MUINT64 uiEnd;

    bool Take(MUINT64 uiSize, MUINT64& ruiBase)
    {
        const MUINT64 uiBase = (uiNext + uiSize - 1) & ~(uiSize - 1);
        if (uiBase + uiSize > uiEnd)
        {
            return false;
        }
        ruiBase = uiBase;
        uiNext  = uiBase + uiSize;
        return true;
    }
};
constexpr MUINT64 MEMORY_POOL_32     = 0x80000000;
constexpr MUINT64 MEMORY_POOL_32_END = 0xE0000000;
constexpr MUINT64 REGISTER_POOL      = 0xE0000000;
constexpr MUINT64 REGISTER_POOL_END  = 0xF0000000;
constexpr MUINT64 MEMORY_POOL_64     = 0x400000000;
constexpr MUINT64 MEMORY_POOL_64_END = 0x800000000;

const char* const ERROR_PREFIX = "qelvxd-sim: ";

// Width of the next piece of a configuration access: the widest naturally aligned one that fits,
// as the host bridge issues them.
MUINT32 ConfigPieceBytes(MUINT64 uiAt, MUINT32 uiLeft)
{
    return (uiAt % 4 == 0 && uiLeft >= 4) ? 4 : (uiAt % 2 == 0 && uiLeft >= 2) ? 2 : 1;
}

bool DirectoryExists(const std::string& rsPath)
{
    struct stat oInfo;
    return stat(rsPath.c_str(), &oInfo) == 0 && S_ISDIR(oInfo.st_mode);
}
}  // namespace

// ---- CQelSim

CQelSim::CQelSim(const SQelSimRigDesc& roRig)
    : m_sRigName(roRig.sName),
      m_oClock(roRig.eTime),
      m_bStateDirty(false),
      m_bStateWarned(false),
      m_roOpenPage(*QelVxdSim_Backend()->poDirectPage)
{
    m_oEnv.poClock       = &m_oClock;
    m_oEnv.poPersistence = this;
}

CQelSim::~CQelSim()
{
    // The published page points into this simulator's memory.
    CloseOpenAccess();
    std::string sError;
    if (!Flush(sError))
    {
        fprintf(stderr, "%s%s\n", ERROR_PREFIX, sError.c_str());
    }
}

std::unique_ptr<CQelSim> CQelSim::Create(SQelSimRigDesc&& roRig, const std::string& rsTracePath,
                                         std::string& rsError)
{
    std::unique_ptr<CQelSim> poSim(new CQelSim(roRig));
    if (!poSim->Build(std::move(roRig), rsTracePath, rsError))
    {
        return nullptr;
    }
    return poSim;
}

bool CQelSim::Build(SQelSimRigDesc&& roRig, const std::string& rsTracePath, std::string& rsError)
{
    TQelSimBoardState oState;
    if (!OpenTrace(rsTracePath, rsError) || !LoadState(roRig.sStatePath, oState, rsError))
    {
        return false;
    }
    for (const SQelSimDeviceDesc& roDevice : roRig.aoDevices)
    {
        m_oBus.Add(std::make_unique<CQelSimDevice>(roDevice, m_oEnv));
    }
    for (const SQelSimBridgeDesc& roBridge : roRig.aoBridges)
    {
        m_oBus.Add(std::make_unique<CQelSimBridge>(roBridge, m_oEnv));
    }
    if (!AddBoards(roRig.aoBoards, oState, rsError))
    {
        return false;
    }
    MarkMultiFunctionDevices(roRig);
    return true;
}

bool CQelSim::OpenTrace(const std::string& rsTracePath, std::string& rsError)
{
    if (rsTracePath.empty())
    {
        return true;
    }
    m_poTrace = std::make_unique<CQelSimTrace>();
    if (!m_poTrace->Open(rsTracePath, rsError))
    {
        rsError = "QELVXD_SIM_TRACE: " + rsError;
        return false;
    }
    m_oEnv.poTrace = m_poTrace.get();
    return true;
}

bool CQelSim::LoadState(const std::string& rsStatePath, TQelSimBoardState& roState, std::string& rsError)
{
    if (rsStatePath.empty())
    {
        return true;
    }
    const std::string sDirectory = QelVxdSim_DirectoryOf(rsStatePath);
    if (!DirectoryExists(sDirectory))
    {
        rsError = "state: directory \"" + sDirectory + "\" of the state file does not exist";
        return false;
    }
    m_poState = std::make_unique<CQelSimStateStore>(rsStatePath);
    return m_poState->Load(roState, rsError);
}

bool CQelSim::AddBoards(std::vector<SQelSimBoardDesc>& raoBoards, const TQelSimBoardState& roState,
                        std::string& rsError)
{
    SAddressPool oMemory32  = {MEMORY_POOL_32, MEMORY_POOL_32_END};
    SAddressPool oMemory64  = {MEMORY_POOL_64, MEMORY_POOL_64_END};
    SAddressPool oRegisters = {REGISTER_POOL, REGISTER_POOL_END};
    for (size_t uiIndex = 0; uiIndex < raoBoards.size(); ++uiIndex)
    {
        SQelSimBoardDesc& roDesc = raoBoards[uiIndex];
        MUINT64 uiMemoryBase = 0, uiRegisterBase = 0;
        if (!(roDesc.bBar64 ? oMemory64 : oMemory32)
                 .Take(CQelSimBoard::MemoryWindowSize(roDesc.uiMemorySizeCode), uiMemoryBase) ||
            !oRegisters.Take(CQelSimBoard::RegisterWindowSize(roDesc.uiVendorId | (roDesc.uiDeviceId << 16)),
                             uiRegisterBase))
        {
            rsError =
                "boards[" + std::to_string(uiIndex) + "]: no room left for its windows in the simulated address space";
            return false;
        }
        const PCIHANDLE hLocation = roDesc.hLocation;
        auto poBoard = std::make_unique<CQelSimBoard>(std::move(roDesc), uiMemoryBase, uiRegisterBase, m_oEnv);
        auto itState = roState.find(hLocation);
        if (itState != roState.end())
        {
            for (const auto& roRegister : itState->second)
            {
                if (poBoard->Registers().IsPersistent(roRegister.first))
                {
                    poBoard->PokeReg(roRegister.first, roRegister.second);
                }
            }
        }
        // The chip powers up knowing its persisted state: a board left initialised runs on.
        CQelSimChip::Attach(*poBoard);
        poBoard->Registers().SetPersistenceSink(this);
        m_oBus.Add(std::move(poBoard));
    }
    return true;
}

// A device with several functions says so in every function's header type.
void CQelSim::MarkMultiFunctionDevices(const SQelSimRigDesc& roRig)
{
    std::set<PCIHANDLE> oMultiFunction;
    auto fnNoteFunction = [&](PCIHANDLE hLocation) {
        if ((hLocation & 7) != 0)
        {
            oMultiFunction.insert(hLocation & ~(PCIHANDLE)7);
        }
    };
    for (const SQelSimDeviceDesc& roDevice : roRig.aoDevices)
    {
        fnNoteFunction(roDevice.hLocation);
    }
    for (const SQelSimBridgeDesc& roBridge : roRig.aoBridges)
    {
        fnNoteFunction(roBridge.hLocation);
    }
    for (const CQelSimBoard* poBoard : m_oBus.Boards())
    {
        fnNoteFunction(poBoard->Location());
    }
    for (PCIHANDLE hDevice : oMultiFunction)
    {
        for (PCIHANDLE hFunction = hDevice; hFunction < hDevice + 8; ++hFunction)
        {
            if (CQelSimFunction* poFunction = m_oBus.Find(hFunction))
            {
                poFunction->SetMultiFunction();
            }
        }
    }
}

const std::string& CQelSim::StatePath() const
{
    static const std::string s_sNone;
    return m_poState != nullptr ? m_poState->Path() : s_sNone;
}

bool CQelSim::Flush(std::string& rsError)
{
    CloseOpenAccess();
    bool bOk = true;
    if (m_bStateDirty)
    {
        bOk = SaveState(rsError);
    }
    for (CQelSimBoard* poBoard : m_oBus.Boards())
    {
        std::string sError;
        if (!poBoard->SaveFlash(sError))
        {
            rsError = sError;
            bOk     = false;
        }
    }
    if (m_poTrace != nullptr)
    {
        m_poTrace->Flush();
    }
    return bOk;
}

bool CQelSim::SaveState(std::string& rsError)
{
    if (m_poState == nullptr || m_poState->Save(m_oBus.Boards(), rsError))
    {
        m_bStateDirty = false;
        return true;
    }
    return false;
}

void CQelSim::OnPersistentRegisterChanged(MUINT32)
{
    m_bStateDirty = true;
    std::string sError;
    if (!SaveState(sError) && !m_bStateWarned)
    {
        fprintf(stderr, "%s%s: board state not saved: %s\n", ERROR_PREFIX, m_sRigName.c_str(), sError.c_str());
        m_bStateWarned = true;
    }
}

// Waits are counted against the board whose initialisation asked for them. Nothing in a wait
// request says which board that is, and the platform layer above must not learn that it talks
// to a simulator, so the simulator infers it from the traffic: the tool brings boards up one
// after the other, and every wait of a board's sequence follows accesses to that board (its
// configuration space or its windows). The board addressed last is therefore the one whose
// sequence is running. Bridges and other devices do not change it: a link retrain on the port
// above a board, and the wait for it, belong to that board's bring-up. A wait before any board
// was addressed (the tool's own start) goes to the first board.
CQelSimFunction* CQelSim::Address(PCIHANDLE hDevice)
{
    CQelSimFunction* poFunction = m_oBus.Find(hDevice);
    if (poFunction != nullptr && poFunction->Kind() == CQelSimFunction::EKind::Board)
    {
        m_poAddressedBoard = static_cast<CQelSimBoard*>(poFunction);
    }
    return poFunction;
}

CQelSimBoard* CQelSim::WaitBoard() const
{
    if (m_poAddressedBoard != nullptr)
    {
        return m_poAddressedBoard;
    }
    return m_oBus.Boards().empty() ? nullptr : m_oBus.Boards().front();
}

void CQelSim::PrintStats(FILE* pFile) const
{
    for (const CQelSimBoard* poBoard : m_oBus.Boards())
    {
        const SQelSimBoardStats& ro = poBoard->Stats();
        fprintf(pFile,
                "sim-stats %s cfg_reads=%llu cfg_writes=%llu reg_reads=%llu reg_writes=%llu mem_reads=%llu "
                "mem_writes=%llu delay_us=%llu sleep_us=%llu\n",
                QelVxdSim_FormatLocation(poBoard->Location()).c_str(), (unsigned long long)ro.uiCfgReads,
                (unsigned long long)ro.uiCfgWrites, (unsigned long long)ro.uiRegReads,
                (unsigned long long)ro.uiRegWrites, (unsigned long long)ro.uiMemReads,
                (unsigned long long)ro.uiMemWrites, (unsigned long long)ro.uiDelayUs,
                (unsigned long long)ro.uiSleepUs);
    }
}

int CQelSim::ConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    CloseOpenAccess();
    CQelSimFunction* poFunction = Address(hDevice);
    return poFunction != nullptr ? ConfigReadOf(*poFunction, hDevice, uiOffset, pvBuffer, uiSize) : 0;
}

int CQelSim::ConfigReadOf(CQelSimFunction& roFunction, PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer,
                          MUINT32 uiSize)
{
    MUINT8* pucBuffer = static_cast<MUINT8*>(pvBuffer);
    // Bytes past the configuration space read as 0xFF.
    for (MUINT32 uiDone = 0; uiDone < uiSize;)
    {
        const MUINT64 uiAt    = (MUINT64)uiOffset + uiDone;
        const MUINT32 uiBytes = ConfigPieceBytes(uiAt, uiSize - uiDone);
        if (uiAt + uiBytes > QelSimPci::CONFIG_SIZE)
        {
            pucBuffer[uiDone++] = 0xFF;
            continue;
        }
        const MUINT32 uiValue = roFunction.ConfigRead((MUINT32)uiAt, uiBytes);
        if (m_poAddressedBoard == &roFunction)
        {
            ++m_poAddressedBoard->Stats().uiCfgReads;
        }
        for (MUINT32 uiByte = 0; uiByte < uiBytes; ++uiByte)
        {
            pucBuffer[uiDone + uiByte] = (MUINT8)(uiValue >> (8 * uiByte));
        }
        if (m_poTrace != nullptr)
        {
            m_poTrace->Access(m_oClock.NowUs(), hDevice, EQelSimSpace::Config, false, (MUINT32)uiAt, 8 * uiBytes,
                              uiValue);
        }
        uiDone += uiBytes;
    }
    return 1;
}

int CQelSim::ConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    CloseOpenAccess();
    CQelSimFunction* poFunction = Address(hDevice);
    if (poFunction == nullptr)
    {
        return 0;
    }
    const MUINT8* pucBuffer = static_cast<const MUINT8*>(pvBuffer);
    for (MUINT32 uiDone = 0; uiDone < uiSize;)
    {
        const MUINT64 uiAt    = (MUINT64)uiOffset + uiDone;
        const MUINT32 uiBytes = ConfigPieceBytes(uiAt, uiSize - uiDone);
        if (uiAt + uiBytes > QelSimPci::CONFIG_SIZE)
        {
            ++uiDone;
            continue;
        }
        MUINT32 uiValue = 0;
        for (MUINT32 uiByte = 0; uiByte < uiBytes; ++uiByte)
        {
            uiValue |= (MUINT32)pucBuffer[uiDone + uiByte] << (8 * uiByte);
        }
        if (m_poTrace != nullptr)
        {
            m_poTrace->Access(m_oClock.NowUs(), hDevice, EQelSimSpace::Config, true, (MUINT32)uiAt, 8 * uiBytes,
                              uiValue);
        }
        if (m_poAddressedBoard == poFunction)
        {
            ++m_poAddressedBoard->Stats().uiCfgWrites;
        }
        poFunction->ConfigWrite((MUINT32)uiAt, uiBytes, uiValue);
        uiDone += uiBytes;
    }
    return 1;
}

MEMHANDLE CQelSim::Map(MUINT64 uiPhysical, MUINT32 uiLength)
{
    CloseOpenAccess();
    return m_oBus.Map(uiPhysical, uiLength);
}

int CQelSim::Unmap(MEMHANDLE hAddress)
{
    CloseOpenAccess();
    return m_oBus.Unmap(hAddress) ? 1 : 0;
}

void CQelSim::Fault(MEMHANDLE hAddress, MUINT32 uiBytes, bool bWrite)
{
    if (m_poTrace != nullptr)
    {
        m_poTrace->Flush();
    }
    fprintf(stderr,
            "%s%u-bit %s at address 0x%llx, which no mapping holds: on hardware the process is killed here "
            "(segmentation fault)\n",
            ERROR_PREFIX, 8 * uiBytes, bWrite ? "write" : "read", (unsigned long long)hAddress);
    fflush(stderr);
    abort();
}

const SQelSimMapping& CQelSim::Resolve(MEMHANDLE hAddress, MUINT32 uiBytes, bool bWrite, MUINT32& ruiOffset)
{
    const SQelSimMapping* poMapping = m_oBus.Decode(hAddress, uiBytes);
    if (poMapping == nullptr)
    {
        Fault(hAddress, uiBytes, bWrite);
    }
    ruiOffset = poMapping->uiWindowOffset + (MUINT32)(hAddress - poMapping->uiStart);
    return *poMapping;
}

static_assert(CQelSimDram::msc_uiPageSize == SQelVxdDirectPage::msc_uiSize,
              "the open page is one page of the memory's storage");

void CQelSim::OpenPage(const SQelSimMapping& roMapping, MEMHANDLE hAddress, MUINT32 uiOffset)
{
    const CQelSimDram& roDram = roMapping.poBoard->Dram();
    const MUINT32 uiInPage    = uiOffset % CQelSimDram::msc_uiPageSize;
    const MUINTPTR uiStart    = hAddress - uiInPage;
    const MUINT32 uiPage      = CQelSimDram::msc_uiPageSize;
    const bool bWholePage     = roDram.Size() >= uiPage && uiOffset - uiInPage <= roDram.Size() - uiPage &&
                            uiStart >= roMapping.uiStart && roMapping.uiEnd - uiStart >= uiPage;
    MUINT8* pucBytes      = bWholePage ? roDram.PageAt(uiOffset) : nullptr;
    const bool bPlain     = pucBytes != nullptr && roMapping.poBoard->MemoryDecoded() && roDram.ContentsValid() &&
                        roDram.StuckBits() == 0;
    if (m_poTrace == nullptr && bPlain)
    {
        SQelSimBoardStats& roStats = roMapping.poBoard->Stats();
        m_roOpenPage               = {uiStart, pucBytes, &roStats.uiMemReads, &roStats.uiMemWrites};
        m_poOpenPageDram           = &roMapping.poBoard->Dram();
        m_poOpenPageDram->Publish(&m_roOpenPage);
    }
}

void CQelSim::OpenRegister(CQelSimBoard& roBoard, MEMHANDLE hAddress, MUINT32 uiBytes, MUINT32 uiOffset)
{
    if (m_poTrace == nullptr && roBoard.Registers().IsWholeDword(uiOffset, uiBytes))
    {
        m_oOpenRegister = {hAddress, &roBoard, uiOffset / 4};
    }
}

MUINT32 CQelSim::ReadDecoded(MEMHANDLE hAddress, MUINT32 uiBytes)
{
    CloseOpenAccess();
    MUINT32 uiOffset                = 0;
    const SQelSimMapping& roMapping = Resolve(hAddress, uiBytes, false, uiOffset);
    CQelSimBoard& roBoard           = *roMapping.poBoard;
    m_poAddressedBoard              = &roBoard;
    SQelSimBoardStats& roStats      = roBoard.Stats();
    MUINT32 uiValue                 = 0;
    if (roMapping.eSpace == EQelSimSpace::Register)
    {
        ++roStats.uiRegReads;
        uiValue = roBoard.RegRead(uiOffset, uiBytes);
        OpenRegister(roBoard, hAddress, uiBytes, uiOffset);
    }
    else
    {
        ++roStats.uiMemReads;
        uiValue = roBoard.MemRead(uiOffset, uiBytes);
        OpenPage(roMapping, hAddress, uiOffset);
    }
    if (m_poTrace != nullptr)
    {
        m_poTrace->Access(m_oClock.NowUs(), roBoard.Location(), roMapping.eSpace, false, uiOffset, 8 * uiBytes,
                          uiValue);
    }
    return uiValue;
}

void CQelSim::WriteDecoded(MEMHANDLE hAddress, MUINT32 uiBytes, MUINT32 uiValue)
{
    CloseOpenAccess();
    MUINT32 uiOffset                = 0;
    const SQelSimMapping& roMapping = Resolve(hAddress, uiBytes, true, uiOffset);
    CQelSimBoard& roBoard           = *roMapping.poBoard;
    m_poAddressedBoard              = &roBoard;
    if (m_poTrace != nullptr)
    {
        m_poTrace->Access(m_oClock.NowUs(), roBoard.Location(), roMapping.eSpace, true, uiOffset, 8 * uiBytes, uiValue);
    }
    if (roMapping.eSpace == EQelSimSpace::Register)
    {
        ++roBoard.Stats().uiRegWrites;
        roBoard.RegWrite(uiOffset, uiBytes, uiValue);
        OpenRegister(roBoard, hAddress, uiBytes, uiOffset);
    }
    else
    {
        ++roBoard.Stats().uiMemWrites;
        roBoard.MemWrite(uiOffset, uiBytes, uiValue);
        OpenPage(roMapping, hAddress, uiOffset);
    }
}

int CQelSim::Counter(MUINT64* puiMicroSeconds)
{
    CloseOpenAccess();
    MUINT64 uiNow = 0;
    if (puiMicroSeconds == nullptr || !m_oClock.Counter(uiNow))
    {
        return 0;
    }
    *puiMicroSeconds = uiNow;
    return 1;
}

namespace
{
// While the host waits on a board, that board's memory prepares the pages its first writes will
// take (QelVxdSimDram.h).
class CPrepareSparePages final : public CQelSimIdleWork
{
public:
    explicit CPrepareSparePages(CQelSimDram& roDram) : m_roDram(roDram) {}
    bool DoSome() override { return m_roDram.PrepareSparePage(); }

private:
    CQelSimDram& m_roDram;
};
}  // namespace

void CQelSim::Delay(MUINT32 uiMicroSeconds)
{
    CloseOpenAccess();
    if (m_poTrace != nullptr)
    {
        m_poTrace->Delay(m_oClock.NowUs(), uiMicroSeconds);
    }
    CQelSimBoard* poBoard = WaitBoard();
    if (poBoard == nullptr)
    {
        m_oClock.Delay(uiMicroSeconds);
        return;
    }
    poBoard->Stats().uiDelayUs += uiMicroSeconds;
    CPrepareSparePages oSparePages(poBoard->Dram());
    m_oClock.Delay(uiMicroSeconds, &oSparePages);
}

int CQelSim::Sleep(MUINT32 uiMicroSeconds)
{
    CloseOpenAccess();
    if (m_poTrace != nullptr)
    {
        m_poTrace->Sleep(m_oClock.NowUs(), uiMicroSeconds);
    }
    if (CQelSimBoard* poBoard = WaitBoard())
    {
        poBoard->Stats().uiSleepUs += uiMicroSeconds;
    }
    return m_oClock.Sleep(uiMicroSeconds) ? 1 : 0;
}

// ---- The process-wide simulator.

namespace
{
CQelSim* s_poCurrent = nullptr;
bool s_bPrintStats    = false;  // QELVXD_SIM_STATS=1, read when a rig is loaded

// The state is saved on every change already; at exit the flash images and the trace still
// need writing, and the statistics printing. The simulator itself stays alive: other exit-time
// code may still reach it.
void FlushAtExit()
{
    if (s_poCurrent != nullptr && s_bPrintStats)
    {
        s_poCurrent->PrintStats(stderr);
    }
    std::string sError;
    if (s_poCurrent != nullptr && !s_poCurrent->Flush(sError))
    {
        fprintf(stderr, "%s%s: %s\n", ERROR_PREFIX, s_poCurrent->RigName().c_str(), sError.c_str());
    }
}

std::string TracePath()
{
    const char* pszTrace = getenv("QELVXD_SIM_TRACE");
    return pszTrace != nullptr ? pszTrace : "";
}

const SQelVxdBackend* Install(SQelSimRigDesc&& roRig, bool bLoaded, std::string& rsError)
{
    const std::string sName        = roRig.sName;
    std::unique_ptr<CQelSim> poSim = bLoaded ? CQelSim::Create(std::move(roRig), TracePath(), rsError) : nullptr;
    if (poSim == nullptr)
    {
        rsError = ERROR_PREFIX + sName + ": " + rsError;
        return nullptr;
    }
    static bool s_bAtExit = false;
    if (!s_bAtExit)
    {
        atexit(FlushAtExit);
        s_bAtExit = true;
    }
    QelVxdSim_Unload();
    s_poCurrent          = poSim.release();
    const char* pszStats = getenv("QELVXD_SIM_STATS");
    s_bPrintStats        = pszStats != nullptr && strcmp(pszStats, "1") == 0;
    rsError.clear();
    return QelVxdSim_Backend();
}
}  // namespace

const SQelVxdBackend* QelVxdSim_LoadRigFile(const std::string& rsPath, std::string& rsError)
{
    SQelSimRigDesc oRig;
    oRig.sName         = rsPath;
    const bool bLoaded = CQelSimRigLoader::FromFile(rsPath, oRig, rsError);
    return Install(std::move(oRig), bLoaded, rsError);
}

const SQelVxdBackend* QelVxdSim_LoadRigText(const std::string& rsJson, const std::string& rsBaseDirectory,
                                            std::string& rsError)
{
    SQelSimRigDesc oRig;
    const bool bLoaded = CQelSimRigLoader::FromText(rsJson, rsBaseDirectory, oRig, rsError);
    oRig.sName         = "inline rig";
    return Install(std::move(oRig), bLoaded, rsError);
}

const SQelVxdBackend* QelVxdSim_LoadDefaultRig(std::string& rsError)
{
    SQelSimRigDesc oRig;
    const bool bLoaded = CQelSimRigLoader::Default(oRig, rsError);
    oRig.sName         = "default";
    return Install(std::move(oRig), bLoaded, rsError);
}

void QelVxdSim_Unload()
{
    delete s_poCurrent;
    s_poCurrent = nullptr;
}

CQelSim* QelVxdSim_Current()
{
    return s_poCurrent;
}

CQelSimBoard* QelVxdSim_Board(MUINT32 uiBus, MUINT32 uiDevice, MUINT32 uiFunction)
{
    return s_poCurrent != nullptr ? s_poCurrent->FindBoard((PCIHANDLE)(((uiBus & 0xFF) << 8) |
                                                                       ((uiDevice & 0x1F) << 3) | (uiFunction & 7)))
                                  : nullptr;
}

MUINT64 QelVxdSim_NowUs()
{
    return s_poCurrent != nullptr ? s_poCurrent->Clock().NowUs() : 0;
}

bool QelVxdSim_Flush(std::string& rsError)
{
    return s_poCurrent == nullptr || s_poCurrent->Flush(rsError);
}
