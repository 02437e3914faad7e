#pragma once
/// Result codes, identifiers, IUnknown and its counted pointer: what every interface of the module is declared with.
/// The names and values are those of the component object model, so that code written against them elsewhere reads and
/// compiles here. Strings are `wchar_t` (32 bits on Linux) and end with a zero.

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

using BYTE = std::uint8_t;
using WORD = std::uint16_t;
using DWORD = std::uint32_t;
using UINT = std::uint32_t;
using ULONG = std::uint32_t;
using LONG = std::int32_t;
using BOOL = std::int32_t;
using LONGLONG = std::int64_t;
using ULONGLONG = std::uint64_t;
using LONG_PTR = std::intptr_t;
using DWORD_PTR = std::uintptr_t;
using HRESULT = std::int32_t;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;

/// A 128-bit identifier of a class, an interface, a media type or a property set.
struct GUID {
    std::uint32_t Data1;
    std::uint16_t Data2;
    std::uint16_t Data3;
    std::uint8_t Data4[8];

    friend constexpr bool operator==(const GUID&, const GUID&) = default;
};
using IID = GUID;
using CLSID = GUID;
using REFGUID = const GUID&;
using REFIID = const IID&;
using REFCLSID = const CLSID&;

inline constexpr GUID GUID_NULL{};

namespace qrn {

/// The value of one hexadecimal digit; used at compile time only.
consteval std::uint32_t HexDigit(char digit) {
    if (digit >= '0' && digit <= '9') {
        return static_cast<std::uint32_t>(digit - '0');
    }
    if (digit >= 'a' && digit <= 'f') {
        return static_cast<std::uint32_t>(digit - 'a') + 10;
    }
    if (digit >= 'A' && digit <= 'F') {
        return static_cast<std::uint32_t>(digit - 'A') + 10;
    }
    throw "not a hexadecimal digit";
}

/// An identifier from its text, "XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX"; a wrong text does not compile.
consteval GUID Guid(const char (&text)[37]) {
    std::uint8_t bytes[16]{};
    int at = 0;
    for (std::uint8_t& byte : bytes) {
        if (at == 8 || at == 13 || at == 18 || at == 23) {
            if (text[at++] != '-') {
                throw "a dash is missing";
            }
        }
        byte = static_cast<std::uint8_t>(HexDigit(text[at]) << 4 | HexDigit(text[at + 1]));
        at += 2;
    }
    GUID guid{static_cast<std::uint32_t>(bytes[0]) << 24 | static_cast<std::uint32_t>(bytes[1]) << 16 |
                  static_cast<std::uint32_t>(bytes[2]) << 8 | bytes[3],
              static_cast<std::uint16_t>(bytes[4] << 8 | bytes[5]),
              static_cast<std::uint16_t>(bytes[6] << 8 | bytes[7]),
              {}};
    for (int i = 0; i < 8; ++i) {
        guid.Data4[i] = bytes[8 + i];
    }
    return guid;
}

}  // namespace qrn

// Result codes. Negative means failure.
inline constexpr HRESULT S_OK = 0;
inline constexpr HRESULT NOERROR = 0;
inline constexpr HRESULT S_FALSE = 1;
inline constexpr HRESULT E_UNEXPECTED = static_cast<HRESULT>(0x8000FFFFu);
inline constexpr HRESULT E_NOTIMPL = static_cast<HRESULT>(0x80004001u);
inline constexpr HRESULT E_NOINTERFACE = static_cast<HRESULT>(0x80004002u);
inline constexpr HRESULT E_POINTER = static_cast<HRESULT>(0x80004003u);
inline constexpr HRESULT E_ABORT = static_cast<HRESULT>(0x80004004u);
inline constexpr HRESULT E_FAIL = static_cast<HRESULT>(0x80004005u);
inline constexpr HRESULT E_ACCESSDENIED = static_cast<HRESULT>(0x80070005u);
inline constexpr HRESULT E_OUTOFMEMORY = static_cast<HRESULT>(0x8007000Eu);
inline constexpr HRESULT E_INVALIDARG = static_cast<HRESULT>(0x80070057u);
inline constexpr HRESULT E_PROP_ID_UNSUPPORTED = static_cast<HRESULT>(0x80070490u);
inline constexpr HRESULT E_PROP_SET_UNSUPPORTED = static_cast<HRESULT>(0x80070492u);
inline constexpr HRESULT CLASS_E_NOAGGREGATION = static_cast<HRESULT>(0x80040110u);
inline constexpr HRESULT CLASS_E_CLASSNOTAVAILABLE = static_cast<HRESULT>(0x80040111u);
inline constexpr HRESULT REGDB_E_CLASSNOTREG = static_cast<HRESULT>(0x80040154u);
/// The module's file could not be loaded (HRESULT_FROM_WIN32(ERROR_MOD_NOT_FOUND)).
inline constexpr HRESULT E_MODULE_NOT_FOUND = static_cast<HRESULT>(0x8007007Eu);

constexpr bool SUCCEEDED(HRESULT result) {
    return result >= 0;
}
constexpr bool FAILED(HRESULT result) {
    return result < 0;
}

/// The identifier of an interface; specialised beside each interface, so that asking for one without an id does not
/// compile.
template <class T>
inline constexpr IID IID_Of = [] {
    static_assert(sizeof(T) == 0, "this interface has no id");
    return GUID_NULL;
}();

/// The root of all interfaces. AddRef and Release may be called from any thread; their results are for tests only.
struct IUnknown {
    virtual HRESULT QueryInterface(REFIID id, void** object) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;

protected:
    ~IUnknown() = default;
};
inline constexpr IID IID_IUnknown = qrn::Guid("00000000-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IUnknown> = IID_IUnknown;

struct IClassFactory : IUnknown {
    virtual HRESULT CreateInstance(IUnknown* outer, REFIID id, void** object) = 0;
    virtual HRESULT LockServer(BOOL lock) = 0;

protected:
    ~IClassFactory() = default;
};
inline constexpr IID IID_IClassFactory = qrn::Guid("00000001-0000-0000-C000-000000000046");
template <>
inline constexpr IID IID_Of<IClassFactory> = IID_IClassFactory;

namespace qrn {

/// Holds one reference to a counted object. A raw interface pointer that is to be kept goes in through one of two named
/// ways: Adopt takes over the reference that the caller holds, Share adds one.
template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(const ComPtr& other) : m_object(other.m_object) { AddRefIfSet(); }
    ComPtr(ComPtr&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    ~ComPtr() { Reset(); }

    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(m_object, other.m_object);
        return *this;
    }

    [[nodiscard]] static ComPtr Adopt(T* object) {
        ComPtr pointer;
        pointer.m_object = object;
        return pointer;
    }
    [[nodiscard]] static ComPtr Share(T* object) {
        ComPtr pointer = Adopt(object);
        pointer.AddRefIfSet();
        return pointer;
    }

    T* Get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    /// For an out parameter: lets go of what is held first.
    T** Put() {
        Reset();
        return &m_object;
    }
    void** PutVoid() { return reinterpret_cast<void**>(Put()); }

    /// Gives the reference to the caller, who must release it.
    [[nodiscard]] T* Detach() { return std::exchange(m_object, nullptr); }

    void Reset() {
        if (T* object = std::exchange(m_object, nullptr)) {
            object->Release();
        }
    }

    /// The same object through another interface; null when it has none of that id.
    template <class U>
    [[nodiscard]] ComPtr<U> As() const {
        ComPtr<U> other;
        if (m_object != nullptr) {
            m_object->QueryInterface(IID_Of<U>, other.PutVoid());
        }
        return other;
    }

    /// Gives a further reference into an out parameter.
    void CopyTo(T** out) const {
        *out = m_object;
        AddRefIfSet();
    }

    friend bool operator==(const ComPtr& a, const ComPtr& b) { return a.m_object == b.m_object; }
    friend bool operator==(const ComPtr& a, const T* b) { return a.m_object == b; }

private:
    void AddRefIfSet() const {
        if (m_object != nullptr) {
            m_object->AddRef();
        }
    }

    T* m_object = nullptr;
};

}  // namespace qrn
