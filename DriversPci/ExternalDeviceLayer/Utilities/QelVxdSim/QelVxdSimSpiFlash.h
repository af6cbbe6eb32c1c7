// The board's SPI flash EEPROM, driven pin by pin: chip select, clock, data in, data out.
//
// The part works in SPI mode 0 (and 3): it samples the data line on each rising clock edge while
// selected, most significant bit first, and shifts its own output out on the falling edges. Whole
// bytes are decoded into instructions as a real part does:
//   0x03 read (3-byte address, then data for as long as the host clocks, wrapping at the end of
//   the chip), 0x05 read status (repeated), the chip's second status register, the
//   identification instructions of the chip table, write enable and 0x04 write disable,
//   0x01 write status, page program (3-byte address, then data; wraps within its 256-byte page;
//   programming only clears bits), erase of 4 KiB (0x20), 32 KiB (0x52), 64 KiB (0xD8) or the
//   whole chip (0xC7, 0x60).
// Write enable, write disable, write status, program and erase take effect when chip select
// rises on a byte boundary; a part ignores an instruction cut off in the middle of a byte. An
// instruction that the part does not know is ignored and its output stays high (reads as ones).
//
// Status register: bit 0 busy, bit 1 write-enable latch, bits 2-4 block protection, bit 7
// status-register write disable. Any block-protection bit protects the whole array here (the
// values the board driver writes protect the whole array on every part of the table). With bit 7
// set, a status write is refused while the board holds the hardware write-protect line (register
// 0x358 bit 2). The latch clears when a program, erase or status write completes.
//
// Busy time is counted in status reads rather than microseconds: the host polls the status over a
// bit-banged bus, where one status read costs about 100 us of register accesses, so the counts
// below follow the parts' typical program and erase times. The "flash_stuck_busy" fault keeps the
// busy bit set after every program and erase.
//
// Protocol violations (program, erase or status write without the write-enable latch; any
// instruction but a status read while busy; chip select raised in the middle of a byte) are
// counted and, with tracing on, written to the trace as notes.
#pragma once

#include "QelBaseTypes.h"
#include "QelVxdSimFlashChips.h"

class CQelSimBoard;

struct SQelSimFlashCounters
{
    MUINT32 uiTransactions = 0;  // chip select low, then high again
    MUINT32 uiStatusReads  = 0;  // status bytes shifted out (first status register)
    MUINT32 uiPrograms     = 0;  // page programs carried out
    MUINT32 uiErases       = 0;  // erases carried out, any size
    MUINT32 uiStatusWrites = 0;  // status writes carried out
    MUINT32 uiRefused      = 0;  // program, erase or status write refused by the protection
    // Protocol violations.
    MUINT32 uiWithoutWriteEnable = 0;
    MUINT32 uiWhileBusy          = 0;
    MUINT32 uiChipSelectMidByte  = 0;

    MUINT32 Violations() const { return uiWithoutWriteEnable + uiWhileBusy + uiChipSelectMidByte; }
};

class CQelSimSpiFlash
{
public:
    static constexpr MUINT8 STATUS_BUSY          = 0x01;
    static constexpr MUINT8 STATUS_WRITE_ENABLED = 0x02;
    static constexpr MUINT8 STATUS_BLOCK_PROTECT = 0x1C;
    static constexpr MUINT8 STATUS_WRITE_DISABLE = 0x80;
    static constexpr MUINT8 STATUS_WRITABLE      = STATUS_BLOCK_PROTECT | STATUS_WRITE_DISABLE;
    // A board leaves its flash protected after every write, so the part comes up protected.
    static constexpr MUINT8 POWER_ON_STATUS = STATUS_BLOCK_PROTECT | STATUS_WRITE_DISABLE;
    static constexpr MUINT32 PAGE_SIZE      = 256;

    // Status reads for which the part stays busy.
    static constexpr MUINT32 BUSY_READS_PROGRAM      = 8;    // page program, about 0.7 ms
    static constexpr MUINT32 BUSY_READS_STATUS_WRITE = 100;  // about 10 ms
    static constexpr MUINT32 BUSY_READS_ERASE_4K     = 400;  // about 45 ms
    static constexpr MUINT32 BUSY_READS_ERASE_32K    = 1200;
    static constexpr MUINT32 BUSY_READS_ERASE_64K    = 1500;
    static constexpr MUINT32 BUSY_READS_ERASE_CHIP   = 5000;

    // The board holds the content (its flash image), the faults and the write-protect line.
    explicit CQelSimSpiFlash(CQelSimBoard& roBoard);

    // ---- Pins.
    void Select();
    void Deselect();
    void ClockRise(bool bDataIn);
    void ClockFall();
    // The data-out line: high while the part does not drive it.
    bool DataOut() const { return m_bDataOut; }
    bool IsSelected() const { return m_bSelected; }

    // ---- For tests.
    MUINT8 Status() const { return m_ucStatus; }
    const SQelSimFlashCounters& Counters() const { return m_oCounters; }
    const SQelSimFlashChip& Chip() const { return m_roChip; }

private:
    enum class EOp : MUINT8
    {
        Ignored,
        Read,
        ReadStatus,
        ReadStatus2,
        IdProduct,
        IdManufacturer,
        IdJedec,
        WriteEnable,
        WriteDisable,
        WriteStatus,
        Program,
        Erase4K,
        Erase32K,
        Erase64K,
        EraseChip,
    };

    EOp Decode(MUINT8 ucInstruction) const;
    // Once per byte or per transaction, so kept out of line: the clock edges that call them come
    // at every bit, through the EEPROM bus register, and stay short without them.
    [[gnu::noinline]] void OnByte(MUINT8 ucByte);
    [[gnu::noinline]] MUINT8 NextOutputByte();
    [[gnu::noinline]] void Execute();
    // True when the write may go ahead; otherwise counts and notes why not.
    bool MayModify(const char* pszWhat, MUINT32 uiAddress);
    void Program();
    void Erase(MUINT32 uiBlockSize, MUINT32 uiBusyReads);
    void StartBusy(MUINT32 uiStatusReads, bool bCanStick);
    // A trace note (nothing when not tracing).
    void Note(const char* pszFormat, ...) __attribute__((format(printf, 2, 3)));

    CQelSimBoard& m_roBoard;
    const SQelSimFlashChip& m_roChip;
    bool m_bStuckBusy;

    MUINT8 m_ucStatus;
    MUINT32 m_uiBusyReadsLeft;
    bool m_bBusyCanStick;

    // Current transaction.
    bool m_bSelected;
    bool m_bDataOut;
    MUINT32 m_uiBits;  // bits clocked in since select
    MUINT8 m_ucShiftIn;
    MUINT32 m_uiBytes;  // whole bytes clocked in since select
    EOp m_eOp;
    MUINT32 m_uiInputBytes;  // bytes the instruction takes before it answers
    MUINT32 m_uiAddress;
    MUINT32 m_uiOutputIndex;
    MUINT8 m_ucShiftOut;
    MUINT32 m_uiOutBits;  // bits of m_ucShiftOut still to go out
    MUINT8 m_ucNewStatus;
    // Page buffer of a program: the bytes loaded, by offset in the page.
    MUINT8 m_aucPage[PAGE_SIZE];
    MUINT64 m_auiPageLoaded[PAGE_SIZE / 64];

    SQelSimFlashCounters m_oCounters;
};
