// Rigs for the measurements: N copies of the default rig's board (same chip and flash content),
// each behind its own root port, without a state file so that every run starts from power-on
// and does a full bring-up.
#pragma once

#include <string>

// Writes the default board's flash image, without its erased tail, to rsPath. False with the
// reason in rsError.
bool QelBench_WriteBoardImage(const std::string& rsPath, std::string& rsError);

// Rig text of uiBoards boards in real or virtual time; the boards' flash image is rsImage
// (relative to the rig's directory).
std::string QelBench_RigText(unsigned uiBoards, bool bRealTime, const std::string& rsImage);
