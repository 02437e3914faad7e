#include "host/ConnectPins.h"

#include <memory>

#include "framework/CMediaType.h"

namespace qrn {

namespace {

// For a pin whose list of types has no end.
constexpr int kMostTypes = 256;

struct MediaTypeDeleter {
    void operator()(AM_MEDIA_TYPE* type) const { DeleteMediaType(type); }
};
using MediaTypePtr = std::unique_ptr<AM_MEDIA_TYPE, MediaTypeDeleter>;

bool TryTypesOf(IPin& offering, IPin& output, IPin& input) {
    ComPtr<IEnumMediaTypes> types;
    if (FAILED(offering.EnumMediaTypes(types.Put())) || !types) {
        return false;
    }
    for (int tried = 0; tried < kMostTypes; ++tried) {
        AM_MEDIA_TYPE* next = nullptr;
        if (types->Next(1, &next, nullptr) != S_OK || next == nullptr) {
            return false;
        }
        const MediaTypePtr type(next);
        if (SUCCEEDED(output.Connect(&input, type.get()))) {
            return true;
        }
    }
    return false;
}

}  // namespace

HRESULT ConnectPins(IPin& output, IPin& input) {
    const HRESULT first = output.Connect(&input, nullptr);
    if (SUCCEEDED(first) || TryTypesOf(output, output, input) || TryTypesOf(input, output, input)) {
        return SUCCEEDED(first) ? first : S_OK;
    }
    return first;
}

}  // namespace qrn
