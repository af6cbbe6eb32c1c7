// Linux configuration space through libpci.
//
// libpci reports a fatal problem (no working access method, an unreadable bus directory) by
// calling the access object's error handler, and expects that handler not to return: its
// default prints a message and exits the process. A tool that is half way through bringing up
// a board must not vanish that way, so every libpci call runs under a guard: our handler jumps
// back to the guard, and the call counts as a failed access (reads as zeros). Only libpci's
// own C frames are unwound by the jump.
//
// libpci (and the libraries it pulls in) is loaded when the bus is first read, not when the
// process starts: a run on the simulator, a usage error or the help text never reads the real
// bus, and loading three shared libraries is a measurable part of such a short run. When the
// library cannot be loaded the bus cannot be read, and the check says which library to install.
#include <dlfcn.h>

#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

extern "C" {
#include <pci/pci.h>
}

#include "QelVxdApi.h"
#include "QelVxdPrivateLinux.h"

namespace
{
// The libpci calls this layer makes, resolved once from the loaded library. The prototypes come
// from libpci's header, so a call through the table is checked like a direct call.
struct SPciLib
{
    decltype(&pci_alloc) pfnAlloc;
    decltype(&pci_init) pfnInit;
    decltype(&pci_cleanup) pfnCleanup;
    decltype(&pci_scan_bus) pfnScanBus;
    decltype(&pci_set_param) pfnSetParam;
    decltype(&pci_read_block) pfnReadBlock;
    decltype(&pci_write_block) pfnWriteBlock;
};

SPciLib s_oPciLib;
void* s_pvPciLibHandle = nullptr;   // set once the table is complete
// The library's name: libpci's shared-object name, or the one a test set.
std::string s_sPciLibName = QEL_LIBPCI_SONAME;
// Why the library could not be loaded (empty: it was, or it was not tried yet).
char s_szPciLibError[256] = "";

// Resolves one symbol into its slot; false with the reason in s_szPciLibError.
template <class TFunction> bool ResolvePciSymbol(void* pvLibrary, const char* pszName, TFunction& rpfnSlot)
{
    void* pvSymbol = dlsym(pvLibrary, pszName);
    if (pvSymbol == nullptr)
    {
        snprintf(s_szPciLibError, sizeof(s_szPciLibError), "%s has no %s", s_sPciLibName.c_str(), pszName);
        return false;
    }
    rpfnSlot = reinterpret_cast<TFunction>(pvSymbol);
    return true;
}

// The library's table, loaded on first use; null when it cannot be loaded (tried once: a library
// that is missing now is missing for the rest of the run). The library stays loaded for the
// life of the process: libpci keeps no state outside the access object.
const SPciLib* PciLib(void)
{
    if (s_pvPciLibHandle != nullptr)
    {
        return &s_oPciLib;
    }
    if (s_szPciLibError[0] != '\0')
    {
        return nullptr;
    }
    void* pvLibrary = dlopen(s_sPciLibName.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (pvLibrary == nullptr)
    {
        const char* pszReason = dlerror();
        snprintf(s_szPciLibError, sizeof(s_szPciLibError), "%s",
                 pszReason != nullptr ? pszReason : s_sPciLibName.c_str());
        return nullptr;
    }
    SPciLib oLib = {};
    if (!ResolvePciSymbol(pvLibrary, "pci_alloc", oLib.pfnAlloc) ||
        !ResolvePciSymbol(pvLibrary, "pci_init", oLib.pfnInit) ||
        !ResolvePciSymbol(pvLibrary, "pci_cleanup", oLib.pfnCleanup) ||
        !ResolvePciSymbol(pvLibrary, "pci_scan_bus", oLib.pfnScanBus) ||
        !ResolvePciSymbol(pvLibrary, "pci_set_param", oLib.pfnSetParam) ||
        !ResolvePciSymbol(pvLibrary, "pci_read_block", oLib.pfnReadBlock) ||
        !ResolvePciSymbol(pvLibrary, "pci_write_block", oLib.pfnWriteBlock))
    {
        dlclose(pvLibrary);
        return nullptr;
    }
    s_oPciLib = oLib;
    s_pvPciLibHandle = pvLibrary;
    return &s_oPciLib;
}

// The process-wide access object: created and scanned on the first access, forgotten by
// QelVxdLinuxReleasePci. When setting it up fails, the failure is remembered until release so
// that a bus scan does not retry libpci thousands of times; the bus then looks empty.
struct pci_access* s_poPciAccess = nullptr;
bool s_bPciAccessFailed = false;

sigjmp_buf s_oPciErrorJump;
bool s_bPciErrorJumpArmed = false;
// libpci's last fatal message, for QelVxdLinuxCheckPci.
char s_szPciError[256] = "";
// Test settings: where libpci looks for the bus (empty: its defaults).
std::string s_sSysfsPath;
std::string s_sProcPath;

// libpci's handler pointer carries the GNU noreturn attribute in its type; the standard
// attribute is not part of a function's type, and clang refuses the assignment without it.
__attribute__((noreturn)) void QelVxdPciLibError(char* pszFormat, ...)
{
    va_list oArgs;
    va_start(oArgs, pszFormat);
    vsnprintf(s_szPciError, sizeof(s_szPciError), pszFormat, oArgs);
    va_end(oArgs);
    if (s_bPciErrorJumpArmed)
    {
        s_bPciErrorJumpArmed = false;
        siglongjmp(s_oPciErrorJump, 1);
    }
    // Every libpci call is guarded, so this is a call we forgot to guard. Returning into libpci
    // after a fatal error would run it on a broken state.
    abort();
}

// Warnings (an unreadable configuration file, for example) already turn into a failed access;
// this layer prints nothing.
void QelVxdPciLibQuiet(char* /*pszFormat*/, ...)
{
}

// Runs one libpci call on the access object; 0 when libpci reported a fatal error.
// Kept out of line so that the jump target has a frame of its own with nothing live in it.
__attribute__((noinline)) int PciLibGuarded(void (*pfnCall)(struct pci_access*), struct pci_access* poAccess)
{
    if (sigsetjmp(s_oPciErrorJump, 0) != 0)
    {
        return 0;
    }
    s_bPciErrorJumpArmed = true;
    pfnCall(poAccess);
    s_bPciErrorJumpArmed = false;
    return 1;
}

// pci_read_block/pci_write_block under the guard; returns libpci's result, 0 on a fatal error.
// The signal mask is not saved (second argument 0): libpci changes none, and saving it would
// cost a system call on every access.
__attribute__((noinline)) int PciLibBlock(struct pci_dev* poDevice, int iOffset, MUINT8* puiBuffer, int iSize,
                                          bool bWrite)
{
    if (sigsetjmp(s_oPciErrorJump, 0) != 0)
    {
        return 0;
    }
    s_bPciErrorJumpArmed = true;
    // The access object exists, so the library is loaded.
    const int iResult = bWrite ? s_oPciLib.pfnWriteBlock(poDevice, iOffset, puiBuffer, iSize)
                               : s_oPciLib.pfnReadBlock(poDevice, iOffset, puiBuffer, iSize);
    s_bPciErrorJumpArmed = false;
    return iResult;
}

void ForgetPciAccess(void)
{
    if (s_poPciAccess != nullptr)
    {
        // If even the cleanup fails, the object is abandoned rather than used again.
        PciLibGuarded(s_oPciLib.pfnCleanup, s_poPciAccess);
        s_poPciAccess = nullptr;
    }
}

bool OpenPciAccess(void)
{
    if (s_poPciAccess != nullptr)
    {
        return true;
    }
    if (s_bPciAccessFailed)
    {
        return false;
    }

    const SPciLib* poLib = PciLib();
    if (poLib == nullptr)
    {
        s_bPciAccessFailed = true;
        return false;
    }
    struct pci_access* poAccess = poLib->pfnAlloc();
    if (poAccess == nullptr)
    {
        // Nothing is kept: the next access tries again.
        return false;
    }
    // The handlers must be in place before pci_init, the first call that can fail.
    poAccess->error = QelVxdPciLibError;
    poAccess->warning = QelVxdPciLibQuiet;
    poAccess->debug = QelVxdPciLibQuiet;
    s_poPciAccess = poAccess;
    if (!s_sSysfsPath.empty())
    {
        poLib->pfnSetParam(poAccess, const_cast<char*>("sysfs.path"), s_sSysfsPath.data());
        poLib->pfnSetParam(poAccess, const_cast<char*>("proc.path"), s_sProcPath.data());
    }

    if (!PciLibGuarded(poLib->pfnInit, poAccess) || !PciLibGuarded(poLib->pfnScanBus, poAccess))
    {
        ForgetPciAccess();
        s_bPciAccessFailed = true;
        return false;
    }
    return true;
}

// The libpci device of a handle; null when libpci does not list it. The device list is the one
// read when the access object was created: functions that appear later are not seen.
struct pci_dev* QelVxdPciLibConvertHandle(PCIHANDLE hDevice)
{
    if (!OpenPciAccess())
    {
        return nullptr;
    }
    const MUINT32 uiBus = QelVxdPciBus(hDevice);
    const MUINT32 uiDevice = QelVxdPciDevice(hDevice);
    const MUINT32 uiFunction = QelVxdPciFunction(hDevice);
    for (struct pci_dev* poDevice = s_poPciAccess->devices; poDevice != nullptr; poDevice = poDevice->next)
    {
        if ((poDevice->bus == uiBus) && (poDevice->dev == uiDevice) && (poDevice->func == uiFunction))
        {
            return poDevice;
        }
    }
    return nullptr;
}

int ConfigAccess(PCIHANDLE hDevice, MUINT32 uiOffset, MUINT8* puiBuffer, MUINT32 uiSize, bool bWrite)
{
    struct pci_dev* poDevice = QelVxdPciLibConvertHandle(hDevice);
    if (poDevice == nullptr)
    {
        return 0;
    }
    return (PciLibBlock(poDevice, (int)uiOffset, puiBuffer, (int)uiSize, bWrite) != 0) ? 1 : -1;
}
}

int QelVxdLinuxConfigRead(PCIHANDLE hDevice, MUINT32 uiOffset, void* pvBuffer, MUINT32 uiSize)
{
    return ConfigAccess(hDevice, uiOffset, static_cast<MUINT8*>(pvBuffer), uiSize, false);
}

int QelVxdLinuxConfigWrite(PCIHANDLE hDevice, MUINT32 uiOffset, const void* pvBuffer, MUINT32 uiSize)
{
    // libpci takes a non-const buffer for writes but only reads it.
    return ConfigAccess(hDevice, uiOffset, static_cast<MUINT8*>(const_cast<void*>(pvBuffer)), uiSize, true);
}

void QelVxdLinuxReleasePci(void)
{
    ForgetPciAccess();
    s_bPciAccessFailed = false;
}

int QelVxdLinuxCheckPci(char* pszError, MUINT32 uiErrorSize)
{
    if (OpenPciAccess())
    {
        return 1;
    }
    if (s_szPciLibError[0] != '\0')
    {
        snprintf(pszError, uiErrorSize,
                 "cannot read the PCI bus: cannot load libpci: %s (install the " QEL_LIBPCI_PACKAGE " package)",
                 s_szPciLibError);
        return 0;
    }
    snprintf(pszError, uiErrorSize,
             "cannot read the PCI bus: libpci: %s (run as root, on a system with /sys/bus/pci or /proc/bus/pci)",
             s_szPciError[0] != '\0' ? s_szPciError : "cannot set up its access");
    return 0;
}

void QelVxdLinuxSetPciLibraryForTest(const char* pszName)
{
    QelVxdLinuxReleasePci();
    if (s_pvPciLibHandle != nullptr)
    {
        dlclose(s_pvPciLibHandle);
        s_pvPciLibHandle = nullptr;
    }
    s_oPciLib = SPciLib();
    s_szPciLibError[0] = '\0';
    s_sPciLibName = pszName != nullptr ? pszName : QEL_LIBPCI_SONAME;
}

void QelVxdLinuxSetPciPathsForTest(const char* pszSysfsPath, const char* pszProcPath)
{
    s_sSysfsPath = pszSysfsPath != nullptr ? pszSysfsPath : "";
    s_sProcPath = pszProcPath != nullptr ? pszProcPath : "";
    QelVxdLinuxReleasePci();
}
