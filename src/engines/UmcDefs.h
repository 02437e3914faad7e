#pragma once
/// The small integers that the engines and their callers agree on.

#include <cstdint>

namespace UMC {

using Status = std::int32_t;

inline constexpr Status kOk = 0;
/// A primitive or a library refused, or sizes do not go together.
inline constexpr Status kFailed = -876;
/// Not implemented, or a conversion that nobody can do.
inline constexpr Status kNotImplemented = -878;
/// A decoder with nothing (more) to give; also a parameter file whose text is wrong.
inline constexpr Status kNoMoreData = -881;
inline constexpr Status kBadText = -881;
inline constexpr Status kNoMemory = -883;
inline constexpr Status kCannotOpen = -894;
/// A null argument or one of the wrong type.
inline constexpr Status kBadArgument = -995;
/// A picture without its first plane.
inline constexpr Status kNoPlane = -996;
inline constexpr Status kNotInitialised = -998;
/// Would lie outside of the buffer.
inline constexpr Status kOutOfRange = -999;

using ColorFormat = std::int32_t;

inline constexpr ColorFormat kColorNone = -1;
inline constexpr ColorFormat kColorYV12 = 0;     ///< planes Y, V, U, 4:2:0
inline constexpr ColorFormat kColorNV12 = 1;     ///< planes Y and UV, 4:2:0
inline constexpr ColorFormat kColorYUY2 = 2;     ///< packed Y, Cb, Y, Cr
inline constexpr ColorFormat kColorUYVY = 3;     ///< packed Cb, Y, Cr, Y
inline constexpr ColorFormat kColorYUV411 = 4;   ///< planes Y, U, V, chroma a quarter of the width
inline constexpr ColorFormat kColorYUV420 = 5;   ///< planes Y, U, V, 4:2:0
inline constexpr ColorFormat kColorYUV422 = 6;   ///< planes Y, U, V, chroma half the width
inline constexpr ColorFormat kColorYUV410 = 10;  ///< planes Y, U, V, chroma a quarter of width and height
inline constexpr ColorFormat kColorRGB32 = 11;   ///< B, G, R, one byte more
inline constexpr ColorFormat kColorRGB24 = 12;   ///< B, G, R
inline constexpr ColorFormat kColorRGB565 = 13;
inline constexpr ColorFormat kColorRGB555 = 14;
inline constexpr ColorFormat kColorRGB444 = 15;

using FrameType = std::int32_t;

inline constexpr FrameType kFrameNone = 0;
inline constexpr FrameType kFrameI = 1;
inline constexpr FrameType kFrameP = 2;
inline constexpr FrameType kFrameB = 3;

using PictureStructure = std::int32_t;

inline constexpr PictureStructure kTopField = 1;
inline constexpr PictureStructure kBottomField = 2;
inline constexpr PictureStructure kProgressive = 3;
inline constexpr PictureStructure kInterlacedTopFirst = 7;
inline constexpr PictureStructure kInterlacedBottomFirst = 11;

}  // namespace UMC
