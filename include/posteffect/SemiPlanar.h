// Semi-planar YUV 4:2:0 to the 32-bit pixels that the shaders read.
//
// Source: a luma plane of one byte a pixel, and a chroma plane of half the height with the same row
// length whose rows hold byte pairs, one pair for each 2 x 2 block of pixels. Where no chroma plane
// is passed it begins `srcHeight` (or `height`) rows after the luma plane.
// Destination: "yuvx", four bytes a pixel: luma, first and second byte of the chroma pair, 255; or
// "yuv", the first three of them. Chroma is repeated, never interpolated; no byte is computed.
// Destination strides are in pixels, source strides in bytes. Buffers are the caller's.
//
// Pixels are converted in groups of 16 (32 in the rectangle form of sp2yuvx) and rows in pairs; a
// width that is no multiple leaves the rest of each row unconverted. x and y must be even.
// Thread: any.
#pragma once

#include <posteffect/Export.h>

// Whole frame, tightly packed on both sides, three bytes a pixel. Nothing is written when width is
// below 16 or height below 2. With a width that is no multiple of 16, later rows are misaligned:
// from one pair of rows to the next, positions in the luma plane and in `dst` advance by a row
// length and the pixels converted, those in the chroma plane by the pixels converted.
POSTEFFECT_API void sp2yuv(void* dst, const void* src, int width, int height);

// The same with four bytes a pixel.
POSTEFFECT_API void sp2yuvx(void* dst, const void* src, int width, int height);

// Tightly packed source, read as above, into rows of dstStride pixels, whatever the width; the rest
// of each row is left as it was.
POSTEFFECT_API void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height);

// The rectangle (x, y, width, height) of a strided source into rows of `width` pixels, in groups of
// 32 pixels. Nothing is written when width is below 32 or height below 2.
POSTEFFECT_API void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y,
                            int width, int height);

// The rectangle into rows of dstStride pixels. At least one group of 16 pixels and one pair of rows
// are converted, whatever width and height say.
POSTEFFECT_API void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride,
                             int srcHeight, int x, int y, int width, int height);

// The same, then the destination is padded to dstStride x dstHeight pixels: columns in groups of 16
// with each row's last converted pixel, rows with the last converted row (the odd last row of an
// odd height is not converted). Nothing is written beyond dstStride x dstHeight pixels; a larger
// rectangle is cut.
POSTEFFECT_API void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* src,
                             int srcStride, int srcHeight, int x, int y, int width, int height);

// The same from separate planes, both of row length srcStride. srcHeight is not used.
POSTEFFECT_API void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* srcY,
                             const void* srcUV, int srcStride, int srcHeight, int x, int y,
                             int width, int height);
