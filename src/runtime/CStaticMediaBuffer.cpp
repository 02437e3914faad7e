#include "runtime/CStaticMediaBuffer.h"

CStaticMediaBuffer::CStaticMediaBuffer(BYTE* data, DWORD maxLength, DWORD length)
    : m_data(data),
      m_maxLength(maxLength),
      m_length(length) {}

HRESULT CStaticMediaBuffer::QueryInterface(REFIID id, void** object) {
    if (object == nullptr) {
        return E_POINTER;
    }
    if (id != IID_IUnknown && id != IID_IMediaBuffer) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    *object = static_cast<IMediaBuffer*>(this);
    AddRef();
    return S_OK;
}

ULONG CStaticMediaBuffer::AddRef() {
    return 2;
}

ULONG CStaticMediaBuffer::Release() {
    return 1;
}

HRESULT CStaticMediaBuffer::SetLength(DWORD length) {
    m_length = length;
    return S_OK;
}

HRESULT CStaticMediaBuffer::GetMaxLength(DWORD* maxLength) {
    if (maxLength == nullptr) {
        return E_POINTER;
    }
    *maxLength = m_maxLength;
    return S_OK;
}

HRESULT CStaticMediaBuffer::GetBufferAndLength(BYTE** buffer, DWORD* length) {
    if (buffer != nullptr) {
        *buffer = m_data;
    }
    if (length != nullptr) {
        *length = m_length;
    }
    return S_OK;
}
