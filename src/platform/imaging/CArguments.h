#pragma once

#include <cstddef>

#include "platform/imaging/IppTypes.h"

namespace qrn {

constexpr int HalfUp(int side) {
    return (side + 1) / 2;
}

constexpr int QuarterUp(int side) {
    return (side + 3) / 4;
}

/// The first row of a band, for rows counted from 0.
template <class Byte>
Byte* RowAt(Byte* plane, int step, int row) {
    return plane + static_cast<std::ptrdiff_t>(step) * row;
}

/// The checks that every primitive makes of its arguments before it touches a byte (see IppTypes.h).
class CArguments {
public:
    explicit CArguments(IppiSize size) : m_size(size) {}

    CArguments& Plane(const void* bytes, int step, int rowBytes) {
        m_null = m_null || bytes == nullptr;
        m_short = m_short || step < rowBytes;
        return *this;
    }
    CArguments& Packed422(const void* bytes, int step) { return Plane(bytes, step, 4 * HalfUp(m_size.width)); }
    CArguments& Pixels(const void* bytes, int step, int bytesPerPixel) {
        return Plane(bytes, step, bytesPerPixel * m_size.width);
    }
    /// Luma and two planes of half its width (4:2:0 or 4:2:2).
    CArguments& Planes(const Ipp8u* const* planes, const int* steps) {
        return PlaneArray(planes, steps, 3, HalfUp(m_size.width));
    }
    CArguments& Planes411(const Ipp8u* const* planes, const int* steps) {
        return PlaneArray(planes, steps, 3, QuarterUp(m_size.width));
    }
    /// Luma and one plane of interleaved chroma.
    CArguments& TwoPlanes(const Ipp8u* const* planes, const int* steps) {
        return PlaneArray(planes, steps, 2, 2 * HalfUp(m_size.width));
    }

    [[nodiscard]] IppStatus Status() const {
        if (m_null) {
            return ippStsNullPtrErr;
        }
        if (m_size.width < 1 || m_size.height < 1 || m_size.width > kIppMaxSide || m_size.height > kIppMaxSide) {
            return ippStsSizeErr;
        }
        return m_short ? ippStsStepErr : ippStsNoErr;
    }

private:
    CArguments& PlaneArray(const Ipp8u* const* planes, const int* steps, int count, int chromaRowBytes) {
        if (planes == nullptr || steps == nullptr) {
            m_null = true;
            return *this;
        }
        for (int index = 0; index < count; ++index) {
            Plane(planes[index], steps[index], index == 0 ? m_size.width : chromaRowBytes);
        }
        return *this;
    }

    IppiSize m_size;
    bool m_null = false;
    bool m_short = false;
};

}  // namespace qrn
