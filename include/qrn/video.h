#pragma once
/// The format blocks of pictures.

#include "qrn/samples.h"
#include "qrn/window.h"

/// What a picture is made of, 40 bytes.
struct BITMAPINFOHEADER {
    DWORD biSize;
    LONG biWidth;
    /// Negative: the top row comes first.
    LONG biHeight;
    WORD biPlanes;
    WORD biBitCount;
    /// A four-character code, its first character in the low byte; 0 for RGB.
    DWORD biCompression;
    DWORD biSizeImage;
    LONG biXPelsPerMeter;
    LONG biYPelsPerMeter;
    DWORD biClrUsed;
    DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

/// The format block of video (FORMAT_VideoInfo), 88 bytes.
struct VIDEOINFOHEADER {
    RECT rcSource;
    RECT rcTarget;
    DWORD dwBitRate;
    DWORD dwBitErrorRate;
    REFERENCE_TIME AvgTimePerFrame;
    BITMAPINFOHEADER bmiHeader;
};
static_assert(sizeof(VIDEOINFOHEADER) == 88);
