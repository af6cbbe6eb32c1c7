// The bus topology the scan walks; the configuration header itself is in QelPciCfgRegs.h.
#pragma once

#include "QelPciCfgRegs.h"

namespace QelVxdPciCfg
{
using namespace PciCfg;

inline constexpr MUINT32 BUS_COUNT       = 256;
inline constexpr MUINT32 DEVICES_PER_BUS = 32;
inline constexpr MUINT32 LAST_FUNCTION   = 7;
}
