#include "engines/MediaData.h"

#include <algorithm>
#include <climits>
#include <cstring>

namespace UMC {

Status MediaData::Alloc(std::size_t bytes) {
    MediaData::ReleaseImage();
    std::unique_ptr<std::uint8_t[], Freer> memory(bytes <= INT_MAX ? ippsMalloc_8u(static_cast<int>(bytes)) : nullptr);
    if (!memory) {
        return kNoMemory;
    }
    m_own = std::move(memory);
    m_buffer = m_own.get();
    m_data = m_buffer;
    m_bufferSize = bytes;
    return kOk;
}

Status MediaData::ReleaseImage() {
    m_own.reset();
    m_buffer = nullptr;
    m_data = nullptr;
    m_bufferSize = 0;
    m_dataSize = 0;
    return kOk;
}

Status MediaData::SetBufferPointer(std::uint8_t* buffer, std::size_t bytes) {
    if (buffer == nullptr) {
        return kBadArgument;
    }
    MediaData::ReleaseImage();
    m_buffer = buffer;
    m_data = buffer;
    m_bufferSize = bytes;
    return kOk;
}

Status MediaData::SetDataSize(std::size_t bytes) {
    const auto before = static_cast<std::size_t>(m_data - m_buffer);
    if (bytes > m_bufferSize - before) {
        return kOutOfRange;
    }
    m_dataSize = bytes;
    return kOk;
}

Status MediaData::MoveDataPointer(std::ptrdiff_t offset) {
    const std::ptrdiff_t before = m_data - m_buffer;
    if (offset < -before || offset > static_cast<std::ptrdiff_t>(m_bufferSize) - before) {
        return kOutOfRange;
    }
    const std::ptrdiff_t left = static_cast<std::ptrdiff_t>(m_dataSize) - offset;
    m_data = m_buffer == nullptr ? nullptr : m_data + offset;
    m_dataSize = static_cast<std::size_t>(std::max<std::ptrdiff_t>(left, 0));
    return kOk;
}

Status MediaData::GetTime(double& start, double& end) const {
    start = m_start;
    end = m_end;
    return kOk;
}

Status MediaData::SetTime(double start, double end) {
    m_start = start;
    m_end = end;
    return kOk;
}

Status MediaData::Reset() {
    m_start = -1.0;
    m_end = -1.0;
    m_data = m_buffer;
    m_dataSize = 0;
    m_frameType = kFrameNone;
    m_isInvalid = false;
    return kOk;
}

Status MediaData::MoveDataTo(MediaData& destination) {
    if (&destination == this) {
        return kBadArgument;
    }
    const std::size_t bytes = m_dataSize;
    const std::size_t already = destination.m_dataSize;
    if (const Status status = destination.SetDataSize(already + bytes); status != kOk) {
        return status;
    }
    if (bytes > 0) {
        // The two may be views of one buffer.
        std::memmove(destination.m_data + already, m_data, bytes);
    }
    destination.m_start = m_start;
    destination.m_end = m_end;
    destination.m_frameType = m_frameType;
    return MoveDataPointer(static_cast<std::ptrdiff_t>(bytes));
}

}  // namespace UMC
