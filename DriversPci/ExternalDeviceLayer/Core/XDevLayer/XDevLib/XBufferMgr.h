// Buffer managers: allocate the video and linear buffers that a board's engines read and write.
// XBufferMgrDummy allocates nothing; it serves boards that move no data, such as the ones the
// memory-initialisation tool brings up.
#pragma once

#include "QelBaseTypes.h"
#include "XObject.h"

class OsServices;
class XHwAccess;
class XBuffer;

class XBufferMgr : public XObject
{
public:
    XBufferMgr(OsServices* poOsServices, XHwAccess* poHwAccess)
        : m_poOsServices(poOsServices), m_poHwAccess(poHwAccess)
    {
    }
    ~XBufferMgr() override {}

    // Each create call returns the new buffer, or null.
    virtual XBuffer* CreateAsVideo(MUINT32 uiWidth, MUINT32 uiHeight, MUINT32 uiPixelFormat) = 0;
    virtual XBuffer* CreateAsLinear(MUINT32 uiSize) = 0;
    virtual XBuffer* CreateAsLinear(MUINT32 uiSize, MUINT32 uiAlignment) = 0;
    virtual XBuffer* CreateAsLinearVideo(MUINT32 uiWidth, MUINT32 uiHeight, MUINT32 uiPixelFormat,
                                         MUINT32 uiPitch) = 0;
    virtual XBuffer* CreateAsKernel(MUINT32 uiSize) = 0;
    // The buffer of that id, or null.
    virtual XBuffer* RetrieveBuffer(MUINT64 uiBufferId) = 0;
    virtual LStatus Destroy(XBuffer* poBuffer) = 0;
    // CPU access to a buffer: the whole buffer, or uiSize bytes from uiOffset.
    virtual LStatus BeginAccess(XBuffer* poBuffer, void*& rpvAddress) = 0;
    virtual LStatus BeginAccess(XBuffer* poBuffer, MUINT32 uiOffset, MUINT32 uiSize, void*& rpvAddress) = 0;
    virtual LStatus EndAccess(XBuffer* poBuffer) = 0;
    // Forgets every buffer placed in the board's memory; called after the memory was initialised,
    // which wipes it. The base manager places none.
    virtual void Reset() {}

    OsServices* m_poOsServices;
    XHwAccess*  m_poHwAccess;
};

class XBufferMgrDummy : public XBufferMgr
{
public:
    XBufferMgrDummy(OsServices* poOsServices, XHwAccess* poHwAccess) : XBufferMgr(poOsServices, poHwAccess) {}

    XBuffer* CreateAsVideo(MUINT32, MUINT32, MUINT32) override { return nullptr; }
    XBuffer* CreateAsLinear(MUINT32) override { return nullptr; }
    XBuffer* CreateAsLinear(MUINT32, MUINT32) override { return nullptr; }
    XBuffer* CreateAsLinearVideo(MUINT32, MUINT32, MUINT32, MUINT32) override { return nullptr; }
    XBuffer* CreateAsKernel(MUINT32) override { return nullptr; }
    XBuffer* RetrieveBuffer(MUINT64) override { return nullptr; }
    LStatus Destroy(XBuffer*) override { return -1; }
    LStatus BeginAccess(XBuffer*, void*&) override { return -1; }
    LStatus BeginAccess(XBuffer*, MUINT32, MUINT32, void*&) override { return -1; }
    LStatus EndAccess(XBuffer*) override { return -1; }
};
