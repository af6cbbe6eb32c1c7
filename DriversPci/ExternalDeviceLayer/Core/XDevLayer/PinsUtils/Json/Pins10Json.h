// JSON descriptions of Pins10 parameter blocks, both ways.
//
// A description is an object {"blocks": [...], "trailer": "hex"} with one entry per block in
// chain order. A block of a known kind whose signature and length are the usual ones is written
// field by field ({"kind": "clock", "uiFreqRef": 27000, ...}; lists as {"kind": "miscIo",
// "items": [{...}, ...]}); any other block keeps its exact bytes ({"signature": "0x34AD",
// "data": "hex"}). Fields left out are 0, "comment" keys are ignored, anything else unknown is an
// error. A description written from a block gives that block back byte for byte.
//
// No exception leaves these functions; failures come back as 0 with a one-line reason.
#pragma once

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "QelBaseTypes.h"

typedef nlohmann::ordered_json CPins10Json;

// 1 when the block is what the board's validation accepts (header first, at least 56 bytes, an
// end block reached through well-formed blocks inside uiSize); otherwise the reason, naming the
// offending offset. The block is not modified (an older header is not converted).
MBOOL32 Pins10Diagnose(const MUINT8* puiBlock, MUINT32 uiSize, std::string& rszReason);

// Parses JSON text; 0 with the parser's message on a syntax error.
MBOOL32 Pins10ParseJson(const std::string& rszText, CPins10Json& roJson, std::string& rszError);

// Builds the block bytes of a description and checks them with Pins10Diagnose.
MBOOL32 Pins10DescriptionToBinary(const CPins10Json& roDescription, std::vector<MUINT8>& rauiBlock,
                                  std::string& rszError);

// Describes a chain that reaches its end block inside uiSize bytes (bytes after it become the
// trailer).
MBOOL32 Pins10BinaryToDescription(const MUINT8* puiBlock, MUINT32 uiSize, CPins10Json& roDescription,
                                  std::string& rszError);

// Text helpers shared with the dump: "0x%0*X" of a number of the given byte width, and the
// YYYY-MM-DD form of a release-date word.
std::string Pins10HexNumber(MUINT64 uiValue, MUINT32 uiWidthInBytes);
std::string Pins10DateText(MUINT32 uiDate);
