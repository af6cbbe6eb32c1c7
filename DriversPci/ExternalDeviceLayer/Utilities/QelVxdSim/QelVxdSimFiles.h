// File helpers of the simulator: whole-file reads and atomic replacement, so that a process
// killed at any moment leaves either the old or the new content, never a mixture.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "QelBaseTypes.h"

// The most a rig or state file may hold. Both are a few kilobytes even for a large rig; the bound
// only keeps a path naming a device or a pipe that never ends (/dev/zero) from being read until
// the machine's memory runs out.
inline constexpr size_t QELVXD_SIM_MAX_TEXT_FILE = 16u << 20;

// Reads the whole file, of at most uiMaxBytes; false with the reason in rsError. A longer file is
// refused before it is read when its size is known, and as soon as the read passes the bound
// otherwise: "<path>" holds N bytes, more than <rsLimit> (<uiMaxBytes>).
bool QelVxdSim_ReadFile(const std::string& rsPath, size_t uiMaxBytes, const std::string& rsLimit,
                        std::vector<MUINT8>& raucData, std::string& rsError);
// The same read, handing the file to fnPiece piece by piece (offset in the file, bytes, count)
// instead of keeping it; the pieces before a refusal have been handed on already.
bool QelVxdSim_ReadFileInPieces(const std::string& rsPath, size_t uiMaxBytes, const std::string& rsLimit,
                                const std::function<void(size_t, const MUINT8*, size_t)>& fnPiece,
                                std::string& rsError);

// Writes the data to "<path>.tmp.<pid>" in the same directory and renames it over the path.
// False with the reason in rsError; the temporary file is removed on failure.
bool QelVxdSim_WriteFileAtomic(const std::string& rsPath, const void* pvData, size_t uiSize, std::string& rsError);

// Directory part of a path ("." when there is none) and a path resolved against a directory
// (absolute paths are kept).
std::string QelVxdSim_DirectoryOf(const std::string& rsPath);
std::string QelVxdSim_ResolvePath(const std::string& rsDirectory, const std::string& rsPath);
