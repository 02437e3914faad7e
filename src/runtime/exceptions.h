#pragma once
/// The exceptions of the module by their thrower. Each adds nothing to base_exception but its kind.

#include "runtime/base_exception.h"

namespace qrn {

template <class Exception>
class ExceptionOfKind : public base_exception {
public:
    ExceptionOfKind(std::wstring_view file, std::int32_t line, std::wstring_view words, std::uint32_t code)
        : base_exception(file, line, words, code) {
        SetKind(Exception::kKind);
    }
    ExceptionOfKind(std::wstring_view file, std::int32_t line, std::string_view words, std::uint32_t code)
        : base_exception(file, line, words, code) {
        SetKind(Exception::kKind);
    }
};

}  // namespace qrn

class exc_CAudioReceiver_Net_Init : public qrn::ExceptionOfKind<exc_CAudioReceiver_Net_Init> {
public:
    static constexpr const wchar_t* kKind = L"CAudioReceiver_Net_Init";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_CVideoReceiver_Net_Init : public qrn::ExceptionOfKind<exc_CVideoReceiver_Net_Init> {
public:
    static constexpr const wchar_t* kKind = L"CVideoReceiver_Net_Init";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_CQRN_CircularBuffer : public qrn::ExceptionOfKind<exc_CQRN_CircularBuffer> {
public:
    static constexpr const wchar_t* kKind = L"CQRN_CircularBuffer";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_CNetworkBuffer_ : public qrn::ExceptionOfKind<exc_CNetworkBuffer_> {
public:
    static constexpr const wchar_t* kKind = L"CNetworkBuffer_";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_CNetwork : public qrn::ExceptionOfKind<exc_CNetwork> {
public:
    static constexpr const wchar_t* kKind = L"CNetwork";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_create_shared_memory : public qrn::ExceptionOfKind<exc_create_shared_memory> {
public:
    static constexpr const wchar_t* kKind = L"create_shared_memory";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_set_shared_socket : public qrn::ExceptionOfKind<exc_set_shared_socket> {
public:
    static constexpr const wchar_t* kKind = L"set_shared_socket";
    using ExceptionOfKind::ExceptionOfKind;
};

class exc_get_shared_socket : public qrn::ExceptionOfKind<exc_get_shared_socket> {
public:
    static constexpr const wchar_t* kKind = L"get_shared_socket";
    using ExceptionOfKind::ExceptionOfKind;
};
