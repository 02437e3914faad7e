#pragma once

#include <algorithm>

#include "Signals.h"
#include "qrn/filters.h"

namespace qrn::test {

/// A stream in memory: written at its end, read from its start.
class CMemoryStream final : public IStream {
public:
    static ComPtr<CMemoryStream> Create() { return ComPtr<CMemoryStream>::Adopt(new CMemoryStream); }

    HRESULT QueryInterface(REFIID id, void** object) override {
        *object = nullptr;
        if (id != IID_IStream && id != IID_ISequentialStream && id != IID_IUnknown) {
            return E_NOINTERFACE;
        }
        *object = static_cast<IStream*>(this);
        AddRef();
        return S_OK;
    }
    ULONG AddRef() override { return ++m_references; }
    ULONG Release() override {
        const ULONG left = --m_references;
        if (left == 0) {
            delete this;
        }
        return left;
    }

    HRESULT Read(void* data, ULONG length, ULONG* read) override {
        *read = static_cast<ULONG>(std::min<std::size_t>(length, bytes.size() - m_position));
        std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(m_position), *read, static_cast<std::uint8_t*>(data));
        m_position += *read;
        return *read == length ? S_OK : S_FALSE;
    }
    HRESULT Write(const void* data, ULONG length, ULONG* written) override {
        const auto* from = static_cast<const std::uint8_t*>(data);
        bytes.insert(bytes.end(), from, from + length);
        if (written != nullptr) {
            *written = length;
        }
        return S_OK;
    }
    HRESULT Seek(LONGLONG, DWORD, ULONGLONG*) override { return E_NOTIMPL; }
    HRESULT SetSize(ULONGLONG) override { return E_NOTIMPL; }
    HRESULT CopyTo(IStream*, ULONGLONG, ULONGLONG*, ULONGLONG*) override { return E_NOTIMPL; }
    HRESULT Commit(DWORD) override { return E_NOTIMPL; }
    HRESULT Revert() override { return E_NOTIMPL; }
    HRESULT LockRegion(ULONGLONG, ULONGLONG, DWORD) override { return E_NOTIMPL; }
    HRESULT UnlockRegion(ULONGLONG, ULONGLONG, DWORD) override { return E_NOTIMPL; }
    HRESULT Stat(STATSTG*, DWORD) override { return E_NOTIMPL; }
    HRESULT Clone(IStream**) override { return E_NOTIMPL; }

    void Rewind() { m_position = 0; }

    Bytes bytes;

private:
    CMemoryStream() = default;
    ~CMemoryStream() = default;

    std::size_t m_position = 0;
    ULONG m_references = 1;
};

}  // namespace qrn::test
