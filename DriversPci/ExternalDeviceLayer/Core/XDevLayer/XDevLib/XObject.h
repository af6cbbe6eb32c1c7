// Root of every library object. A constructor that fails leaves m_bInitialized false instead of
// throwing; owners test it where they care.
#pragma once

#include "QelBaseTypes.h"

class XObject
{
public:
    XObject() : m_bInitialized(1) {}
    virtual ~XObject() {}

    MBOOL32 IsInitialized() const { return m_bInitialized; }

    MBOOL32 m_bInitialized;
};
