#include "QelVxdSimFiles.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

bool QelVxdSim_ReadFileInPieces(const std::string& rsPath, size_t uiMaxBytes, const std::string& rsLimit,
                                const std::function<void(size_t, const MUINT8*, size_t)>& fnPiece,
                                std::string& rsError)
{
    FILE* pFile = fopen(rsPath.c_str(), "rb");
    if (pFile == nullptr)
    {
        rsError = "cannot open \"" + rsPath + "\": " + strerror(errno);
        return false;
    }
    const auto TooLong = [&](const std::string& rsHolds) {
        fclose(pFile);
        rsError = "\"" + rsPath + "\" holds " + rsHolds + "more than " + rsLimit + " (" + std::to_string(uiMaxBytes) + ")";
        return false;
    };
    // A regular file says its size: refuse it unread when it is too long. The loop still stops at
    // the bound, whatever the size said (a device or a pipe says nothing, a file may grow).
    struct stat oStat;
    if (fstat(fileno(pFile), &oStat) == 0 && S_ISREG(oStat.st_mode) && (MUINT64)oStat.st_size > uiMaxBytes)
    {
        return TooLong(std::to_string(oStat.st_size) + " bytes, ");
    }
    // A piece is a few pages of the stack that stay in use: the file's bytes land only where the
    // caller keeps them, and a flash image (read at every start) is mostly erased pages that the
    // caller does not keep at all.
    MUINT8 aucPiece[16384];
    size_t uiDone = 0;
    size_t uiRead = 0;
    while ((uiRead = fread(aucPiece, 1, sizeof(aucPiece), pFile)) > 0)
    {
        if (uiRead > uiMaxBytes - uiDone)
        {
            return TooLong("");
        }
        fnPiece(uiDone, aucPiece, uiRead);
        uiDone += uiRead;
    }
    const bool bFailed = ferror(pFile) != 0;
    fclose(pFile);
    if (bFailed)
    {
        rsError = "cannot read \"" + rsPath + "\"";
        return false;
    }
    return true;
}

bool QelVxdSim_ReadFile(const std::string& rsPath, size_t uiMaxBytes, const std::string& rsLimit,
                        std::vector<MUINT8>& raucData, std::string& rsError)
{
    raucData.clear();
    const bool bRead = QelVxdSim_ReadFileInPieces(
        rsPath, uiMaxBytes, rsLimit,
        [&](size_t, const MUINT8* pucPiece, size_t uiSize) { raucData.insert(raucData.end(), pucPiece, pucPiece + uiSize); },
        rsError);
    if (!bRead)
    {
        raucData.clear();
    }
    return bRead;
}

bool QelVxdSim_WriteFileAtomic(const std::string& rsPath, const void* pvData, size_t uiSize, std::string& rsError)
{
    const std::string sTemporary = rsPath + ".tmp." + std::to_string(getpid());
    const int iFd                = open(sTemporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (iFd < 0)
    {
        rsError = "cannot create \"" + sTemporary + "\": " + strerror(errno);
        return false;
    }
    const MUINT8* pucData = static_cast<const MUINT8*>(pvData);
    size_t uiDone         = 0;
    while (uiDone < uiSize)
    {
        const ssize_t iWritten = write(iFd, pucData + uiDone, uiSize - uiDone);
        if (iWritten < 0 && errno == EINTR)
        {
            continue;
        }
        if (iWritten <= 0)
        {
            rsError = "cannot write \"" + sTemporary + "\": " + strerror(errno);
            close(iFd);
            unlink(sTemporary.c_str());
            return false;
        }
        uiDone += (size_t)iWritten;
    }
    if (close(iFd) != 0 || rename(sTemporary.c_str(), rsPath.c_str()) != 0)
    {
        rsError = "cannot replace \"" + rsPath + "\": " + strerror(errno);
        unlink(sTemporary.c_str());
        return false;
    }
    return true;
}

std::string QelVxdSim_DirectoryOf(const std::string& rsPath)
{
    const size_t uiSlash = rsPath.rfind('/');
    if (uiSlash == std::string::npos)
    {
        return ".";
    }
    return uiSlash == 0 ? "/" : rsPath.substr(0, uiSlash);
}

std::string QelVxdSim_ResolvePath(const std::string& rsDirectory, const std::string& rsPath)
{
    if (rsPath.empty() || rsPath[0] == '/' || rsDirectory.empty() || rsDirectory == ".")
    {
        return rsPath;
    }
    return rsDirectory + (rsDirectory.back() == '/' ? "" : "/") + rsPath;
}
