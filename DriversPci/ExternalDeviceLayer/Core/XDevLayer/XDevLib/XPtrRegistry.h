// Registries of objects kept by pointer in a CMArray (devices, buses, pins, handlers, events): the
// add, remove and look-up rules that every such registry of the library follows.
#pragma once

#include "QelBaseTypes.h"
#include "QelMFCTypes.h"

// Appends poElement: 0; -2 for null, -1 when it is already registered.
template <class TYPE>
LStatus XPtrRegistryAdd(CMArray<TYPE*, TYPE*>& rdapoRegistry, TYPE* poElement)
{
    if (poElement == nullptr)
        return -2;
    if (rdapoRegistry.Contains(poElement))
        return -1;
    rdapoRegistry.Add(poElement);
    return 0;
}

// Removes poElement: 0; -2 for null, -1 when it is not registered.
template <class TYPE>
LStatus XPtrRegistryRemove(CMArray<TYPE*, TYPE*>& rdapoRegistry, TYPE* poElement)
{
    if (poElement == nullptr)
        return -2;
    const MINT32 iIndex = rdapoRegistry.Find(poElement);
    if (iIndex < 0)
        return -1;
    rdapoRegistry.RemoveAt(iIndex);
    return 0;
}

// The element at uiIndex, or null past the end.
template <class TYPE>
TYPE* XPtrRegistryAt(const CMArray<TYPE*, TYPE*>& rdapoRegistry, MUINT32 uiIndex)
{
    return (uiIndex < static_cast<MUINT32>(rdapoRegistry.GetSize())) ? rdapoRegistry[static_cast<MINT32>(uiIndex)]
                                                                      : nullptr;
}
