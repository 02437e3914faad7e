#include "framework/CPersistStream.h"

#include <array>
#include <cstdio>
#include <optional>

namespace {

constexpr std::size_t kVersionChars = 12;
constexpr std::size_t kVersionBytes = kVersionChars * 2;
using VersionText = std::array<BYTE, kVersionBytes>;

VersionText PrintVersion(DWORD version) {
    std::array<char, kVersionChars + 1> text{};
    std::snprintf(text.data(), text.size(), "%011d ", static_cast<std::int32_t>(version));
    VersionText bytes{};
    for (std::size_t i = 0; i < kVersionChars; ++i) {
        bytes[2 * i] = static_cast<BYTE>(text[i]);
    }
    return bytes;
}

/// Digits with an optional sign up to the first blank; nothing for any other text.
std::optional<DWORD> ReadVersion(const VersionText& bytes) {
    std::int64_t value = 0;
    bool isNegative = false;
    std::size_t digits = 0;
    for (std::size_t i = 0; i < kVersionChars; ++i) {
        const unsigned c = bytes[2 * i] | static_cast<unsigned>(bytes[2 * i + 1]) << 8;
        if (c == '-' && i == 0) {
            isNegative = true;
        } else if (c >= '0' && c <= '9') {
            value = value * 10 + (c - '0');
            ++digits;
        } else if (c == ' ' && digits > 0) {
            break;
        } else {
            return std::nullopt;
        }
    }
    return static_cast<DWORD>(isNegative ? -value : value);
}

}  // namespace

CPersistStream::CPersistStream(IUnknown* /*outer*/, HRESULT* /*result*/) {}

HRESULT CPersistStream::IsDirty() {
    return mPS_fDirty != FALSE ? S_OK : S_FALSE;
}

HRESULT CPersistStream::Load(IStream* stream) {
    if (stream == nullptr) {
        return E_POINTER;
    }
    VersionText text{};
    ULONG read = 0;
    const HRESULT result = stream->Read(text.data(), static_cast<ULONG>(text.size()), &read);
    if (FAILED(result)) {
        return result;
    }
    const std::optional<DWORD> version = read == text.size() ? ReadVersion(text) : std::nullopt;
    if (!version) {
        return E_FAIL;
    }
    mPS_dwFileVersion = *version;
    return ReadFromStream(stream);
}

HRESULT CPersistStream::Save(IStream* stream, BOOL clearDirty) {
    if (stream == nullptr) {
        return E_POINTER;
    }
    const VersionText text = PrintVersion(GetSoftwareVersion());
    ULONG written = 0;
    HRESULT result = stream->Write(text.data(), static_cast<ULONG>(text.size()), &written);
    if (SUCCEEDED(result) && written != text.size()) {
        result = E_FAIL;
    }
    if (SUCCEEDED(result)) {
        result = WriteToStream(stream);
    }
    if (SUCCEEDED(result) && clearDirty != FALSE) {
        mPS_fDirty = FALSE;
    }
    return result;
}

HRESULT CPersistStream::GetSizeMax(ULONGLONG* bytes) {
    if (bytes == nullptr) {
        return E_POINTER;
    }
    *bytes = kVersionBytes + static_cast<ULONGLONG>(SizeMax());
    return S_OK;
}

HRESULT CPersistStream::SetDirty(BOOL dirty) {
    mPS_fDirty = dirty;
    return S_OK;
}

DWORD CPersistStream::GetSoftwareVersion() {
    return 0;
}

int CPersistStream::SizeMax() {
    return 0;
}

HRESULT CPersistStream::WriteToStream(IStream* /*stream*/) {
    return S_OK;
}

HRESULT CPersistStream::ReadFromStream(IStream* /*stream*/) {
    return S_OK;
}
