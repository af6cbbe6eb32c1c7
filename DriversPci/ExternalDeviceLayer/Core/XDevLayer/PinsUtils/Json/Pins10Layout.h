// Field-by-field layout of every Pins10 record, as data: which fields a block kind has, where
// they sit, how wide they are and how a person reads them. The JSON description format and the
// text dump are both driven by these tables.
#pragma once

#include "QelBaseTypes.h"

enum EPins10FieldType
{
    PINS10_FIELD_U8,
    PINS10_FIELD_U16,
    PINS10_FIELD_U32,
    PINS10_FIELD_TEXT,       // fixed-size character array, not necessarily terminated
    PINS10_FIELD_DATE,       // 32-bit: year bits 16-31, month bits 8-15, day bits 0-7
    PINS10_FIELD_PCB_INFO,   // 32-bit: PCB number bits 16-31, revision bits 8-15, sub-revision bits 0-7
};

// How a number is shown (text dump) and written (JSON).
enum EPins10FieldShow
{
    PINS10_SHOW_DEC,
    PINS10_SHOW_HEX,
    PINS10_SHOW_KHZ,             // a frequency in kHz
    PINS10_SHOW_CLOCK_CONTROL,   // a clock-control register image; bits 1-3 select the source
    PINS10_SHOW_MEMORY_CODES,    // four memory size codes, one per channel
};

struct SPins10Field
{
    const char*      pszName;
    MUINT32          uiOffset;
    EPins10FieldType eType;
    MUINT32          uiCount;   // array elements; for text, the number of characters
    EPins10FieldShow eShow;
};

struct SPins10Kind
{
    MUINT16             uiSignature;   // the raw signature that blocks of this kind carry
    const char*         pszKey;        // name in JSON descriptions
    const char*         pszTitle;      // name in the text dump
    MUINT32             uiRecordSize;  // data size (single block) or element size (list)
    const SPins10Field* paoFields;
    MUINT32             uiFieldCount;
};

// The kind whose masked signature matches, or null.
const SPins10Kind* Pins10FindKindBySignature(MUINT16 uiSignature);
// The kind of that JSON name, or null.
const SPins10Kind* Pins10FindKindByKey(const char* pszKey);

// Width in bytes of one element of a field.
MUINT32 Pins10FieldElementSize(EPins10FieldType eType);

// Name of a clock source selected by bits 1-3 of a clock-control word ("OSC", "FSSYS0", ...).
const char* Pins10ClockSourceName(MUINT32 uiClockControl);
