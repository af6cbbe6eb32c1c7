// Base of every device of a board. A device knows its kind (EType) and the devices that must be
// reset before it; the context resets all its devices in that dependency order.
#pragma once

#include "QelBaseTypes.h"
#include "QelMFCTypes.h"
#include "XObject.h"

class XDev : public XObject
{
public:
    // Kind of a device. The numbers are stored in trace records and in saved trace files, so they
    // never change; 33-247 are unassigned on purpose.
    enum EType : MUINT32
    {
        TYPE_PIXCLOCK          = 0,
        TYPE_CRTC              = 1,
        TYPE_CRTC_REQUESTER    = 2,
        TYPE_OVERLAY           = 3,
        TYPE_ENCODER           = 4,
        TYPE_LUT               = 5,
        TYPE_CURSOR            = 6,
        TYPE_VIDEO_OUT_ENGINE  = 7,
        TYPE_IO_ACCESS         = 8,
        TYPE_DVO               = 9,
        TYPE_VIN               = 10,
        TYPE_DECODER           = 11,
        TYPE_REFERENCE_CNT     = 12,
        TYPE_FPGA              = 13,
        TYPE_CORE_INIT         = 14,
        TYPE_VID_COUNTERS      = 15,
        TYPE_EEPROM            = 16,
        TYPE_SELECTOR          = 17,
        TYPE_AIN               = 18,
        TYPE_TACHOMETER        = 19,
        TYPE_FPGA_BRG          = 20,
        TYPE_FPGA_BRGPORT      = 21,
        TYPE_FPGA_TABLE        = 22,
        TYPE_FPGA_IO_MNGT      = 23,
        TYPE_FPGA_CLIENT_CTRL  = 24,
        TYPE_HMC               = 25,
        TYPE_FPGA_ONTAKE       = 26,
        TYPE_AUDIO_REQUESTER   = 27,
        TYPE_EDID_MICRO_CTRL   = 28,
        TYPE_CLOCK_GEN         = 29,
        TYPE_SPLITTER          = 30,
        TYPE_PMC_MICRO_CTRL    = 31,
        TYPE_I2C_TACHOMETER    = 32,
        TYPE_USB_MICRO_CTRL    = 248,
        TYPE_OTP_MEMORY        = 249,
        TYPE_BLACK_BURST_GEN   = 250,
        TYPE_FPGALOCK_ENGINE   = 251,
        TYPE_FRAMELOCK_ENGINE  = 252,
        TYPE_GENERIC           = 253,
        TYPE_BLIT              = 254,
        TYPE_GENLOCK_ENGINE    = 255,
    };

    explicit XDev(EType eType) : m_eType(eType) {}
    ~XDev() override {}

    // Brings the device back to its power-on behaviour. iMode is the caller's reset mode (the
    // context passes 1 after a core initialisation). A device with nothing to reset succeeds.
    // Negative = failure.
    virtual LStatus Reset(int iMode)
    {
        (void)iMode;
        return 0;
    }

    EType m_eType;
    // Devices that must be reset before this one (not owned). The graph must be acyclic.
    CMArray<XDev*, XDev*> m_dapoResetBefore;
};
