#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "engines/TypedObject.h"
#include "engines/UmcDefs.h"
#include "platform/imaging/IppMemory.h"

namespace UMC {

/// A piece of a medium: bytes in a buffer of its own or of somebody else's, with times in seconds and a frame type.
/// The data are a part of the buffer: from the data pointer on, as long as the data size says. One thread at a time.
class MediaData : public Typed<MediaData, TypedObject> {
public:
    static const char* ClassName() { return "MediaData"; }

    MediaData() = default;
    MediaData(const MediaData&) = delete;
    MediaData& operator=(const MediaData&) = delete;

    /// A buffer of its own, not initialised, in place of the one before. kNoMemory leaves the object without any.
    virtual Status Alloc(std::size_t bytes);
    /// Lets go of the buffer: its own is freed, another's forgotten.
    virtual Status ReleaseImage();
    virtual std::uint8_t* GetBufferPointer() const { return m_buffer; }
    virtual std::uint8_t* GetDataPointer() const { return m_data; }
    virtual std::size_t GetBufferSize() const { return m_bufferSize; }
    virtual std::size_t GetDataSize() const { return m_dataSize; }
    /// Wraps memory that must outlive its use here; the data size is 0 then. kBadArgument for null.
    virtual Status SetBufferPointer(std::uint8_t* buffer, std::size_t bytes);
    /// kOutOfRange when the data would end behind the buffer.
    virtual Status SetDataSize(std::size_t bytes);
    /// Moves the beginning of the data; their end stays, as long as the beginning does not pass it. kOutOfRange when it
    /// would leave the buffer.
    virtual Status MoveDataPointer(std::ptrdiff_t offset);
    virtual Status GetTime(double& start, double& end) const;
    virtual FrameType GetFrameType() const { return m_frameType; }
    virtual Status SetTime(double start, double end);
    /// Times to -1.0, data pointer to the buffer, data size, frame type and invalid flag to 0. The buffer stays.
    virtual Status Reset();
    /// Appends the data to those of another object, with times and frame type, and has none itself then. kOutOfRange
    /// when there is no room, which changes nothing.
    virtual Status MoveDataTo(MediaData& destination);

    void SetFrameType(FrameType type) { m_frameType = type; }
    bool IsInvalid() const { return m_isInvalid; }
    void SetInvalid(bool isInvalid) { m_isInvalid = isInvalid; }

private:
    struct Freer {
        void operator()(std::uint8_t* memory) const { ippsFree(memory); }
    };

    double m_start = -1.0;
    double m_end = -1.0;
    std::size_t m_bufferSize = 0;
    std::size_t m_dataSize = 0;
    std::uint8_t* m_buffer = nullptr;
    std::uint8_t* m_data = nullptr;
    FrameType m_frameType = kFrameNone;
    bool m_isInvalid = false;
    std::unique_ptr<std::uint8_t[], Freer> m_own;
};

}  // namespace UMC
