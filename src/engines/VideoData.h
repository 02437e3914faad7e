#pragma once

#include <array>

#include "engines/MediaData.h"

namespace UMC {

/// A picture: the planes that its colour format has, in a buffer of its own (Alloc), in one contiguous buffer of
/// somebody else's (SetBufferPointer) or wherever they lie (SetPlane, ViewOf).
class VideoData : public Typed<VideoData, MediaData> {
public:
    static const char* ClassName() { return "VideoData"; }
    static constexpr int kMaxPlanes = 3;

    struct Plane {
        std::uint8_t* pointer = nullptr;  ///< null as long as the picture has no memory
        int pitch = 0;                    ///< bytes from one row to the next
        int width = 0;                    ///< in pixels of this plane
        int height = 0;
        int samples = 0;     ///< of each pixel
        int sampleSize = 0;  ///< in bytes
        int RowBytes() const { return width * samples * sampleSize; }
    };

    /// Describes the picture and lets go of the memory. The chroma of an odd size is rounded up.
    /// @param bitDepth  of a sample; 0 stands for 8, and there is no other
    /// @return kBadArgument for a size outside of 1 to 32767, kNotImplemented for a format or depth that is not known;
    /// the object is closed then.
    Status Init(int width, int height, ColorFormat format, int bitDepth = 0);
    /// At least the memory that Init's picture takes, and its planes in it. kNotInitialised before Init.
    Status Alloc(std::size_t bytes) override;
    Status Alloc() { return Alloc(0); }
    Status ReleaseImage() override;
    /// Distributes a contiguous picture, plane behind plane, over the planes. kNotInitialised before Init, kOutOfRange
    /// when the picture takes more bytes; both change nothing.
    Status SetBufferPointer(std::uint8_t* buffer, std::size_t bytes) override;
    /// Frees what Alloc has made and forgets the rest, the alignment too.
    void Close();
    /// Rows begin at multiples of this many bytes, from the next Init on. kBadArgument below 1 or above 4096.
    Status SetAlignment(int bytes);

    int GetNumPlanes() const { return m_planeCount; }
    int GetWidth() const { return m_width; }
    int GetHeight() const { return m_height; }
    ColorFormat GetColorFormat() const { return m_format; }
    PictureStructure GetPictureStructure() const { return m_structure; }
    void SetPictureStructure(PictureStructure structure) { m_structure = structure; }
    int GetAlignment() const { return m_alignment; }

    /// A plane that the picture lacks is all zero.
    Plane GetPlane(int index) const;
    std::uint8_t* GetPlanePointer(int index) const { return GetPlane(index).pointer; }
    int GetPlanePitch(int index) const { return GetPlane(index).pitch; }
    /// Puts one plane somewhere else, not owned. kBadArgument for a plane that the picture lacks.
    Status SetPlane(int index, std::uint8_t* pointer, int pitch);
    /// What a contiguous picture of this description takes; 0 before Init.
    std::size_t GetPictureSize() const;
    /// Becomes a view of the same pixels, with times, frame type and all. Valid as long as the other's memory is.
    void ViewOf(const VideoData& other);

private:
    void PlacePlanes(std::uint8_t* start);

    std::array<Plane, kMaxPlanes> m_planes{};
    int m_planeCount = 0;
    int m_width = 0;
    int m_height = 0;
    ColorFormat m_format = kColorNone;
    PictureStructure m_structure = kProgressive;
    int m_alignment = 1;
};

}  // namespace UMC
