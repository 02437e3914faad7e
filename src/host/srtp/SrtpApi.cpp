// The functions of qrn/srtp.h.

#include <algorithm>
#include <string>

#include "host/Boundary.h"
#include "host/srtp/CSrtpTransport.h"
#include "host/srtp/SrtpSuite.h"
#include "qrn/srtp.h"

namespace {

std::string& LastError() {
    thread_local std::string text;
    return text;
}

/// Runs `call` at the boundary and keeps what its failure says.
template <class Call>
HRESULT Tell(Call&& call) {
    return qrn::AtBoundary([&]() -> HRESULT {
        LastError().clear();
        try {
            call();
            return S_OK;
        } catch (const qrn::SrtpFailure& failure) {
            LastError() = failure.sentence;
            return failure.code;
        } catch (const std::exception& failure) {
            LastError() = failure.what();
            throw;
        }
    });
}

}  // namespace

HRESULT QrnCreateSrtpTransport(const QrnSrtpParameters* parameters, IQRN_SrtpTransport** transport) {
    if (transport != nullptr) {
        *transport = nullptr;
    }
    if (parameters == nullptr || transport == nullptr) {
        return E_POINTER;
    }
    return Tell([&] {
        auto* created = new qrn::CSrtpTransport(*parameters);
        created->NonDelegatingAddRef();
        *transport = created;
    });
}

HRESULT QrnParseSrtpKey(const char* text, DWORD suite, BYTE* key, DWORD* bytes) {
    if (bytes != nullptr) {
        *bytes = 0;
    }
    if (text == nullptr || key == nullptr || bytes == nullptr) {
        return E_POINTER;
    }
    return Tell([&] {
        const qrn::SrtpKey parsed = qrn::ParseSrtpKey(text, qrn::FindSrtpSuite(suite));
        std::ranges::copy(parsed, key);
        *bytes = static_cast<DWORD>(parsed.size());
    });
}

const char* QrnLastSrtpError() {
    return LastError().c_str();
}
