// File helpers of the simulator: whole-file reads and atomic replacement, so that a process
// killed at any moment leaves either the old or the new content, never a mixture.
#pragma once

#include <string>
#include <vector>

#include "QelBaseTypes.h"

// Reads the whole file; false with the reason in rsError.
bool QelVxdSim_ReadFile(const std::string& rsPath, std::vector<MUINT8>& raucData, std::string& rsError);

// Writes the data to "<path>.tmp.<pid>" in the same directory and renames it over the path.
// False with the reason in rsError; the temporary file is removed on failure.
bool QelVxdSim_WriteFileAtomic(const std::string& rsPath, const void* pvData, size_t uiSize, std::string& rsError);

// Directory part of a path ("." when there is none) and a path resolved against a directory
// (absolute paths are kept).
std::string QelVxdSim_DirectoryOf(const std::string& rsPath);
std::string QelVxdSim_ResolvePath(const std::string& rsDirectory, const std::string& rsPath);
