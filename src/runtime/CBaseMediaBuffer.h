#pragma once

#include "qrn/filters.h"

/// The root of the module's media buffers.
class CBaseMediaBuffer : public IMediaBuffer {
protected:
    ~CBaseMediaBuffer() = default;
};
