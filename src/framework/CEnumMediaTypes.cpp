#include "framework/CEnumMediaTypes.h"

#include "framework/CBasePin.h"

LONG MediaTypeWalk::Version(const CBasePin& pin) {
    return pin.GetMediaTypeVersion();
}

HRESULT MediaTypeWalk::Get(CBasePin& pin, int position, AM_MEDIA_TYPE** type) {
    CMediaType offered;
    const HRESULT result = pin.GetMediaType(position, &offered);
    if (result != S_OK) {
        return result == E_OUTOFMEMORY ? result : S_FALSE;
    }
    *type = CreateMediaType(&offered);
    return *type != nullptr ? S_OK : E_OUTOFMEMORY;
}

void MediaTypeWalk::LetGo(AM_MEDIA_TYPE* type) {
    DeleteMediaType(type);
}
