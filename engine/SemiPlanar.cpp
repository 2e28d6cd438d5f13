// The exported conversion routines. Rows go in pairs that share a chroma row, pixels in groups.
#include <posteffect/SemiPlanar.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "engine/SemiPlanarRows.h"

namespace {

constexpr int kGroup = 16;      // pixels
constexpr int kWideGroup = 32;  // pixels, in the rectangle form of sp2yuvx

using RowKernel = void (*)(uint8_t*, const uint8_t*, const uint8_t*, std::size_t);

// What one conversion walks through. Strides in bytes.
struct Walk {
    uint8_t* dst;
    const uint8_t* luma;
    const uint8_t* chroma;
    std::ptrdiff_t dstStride;
    std::ptrdiff_t lumaStride;
    std::ptrdiff_t dstPairStep;
    std::ptrdiff_t lumaPairStep;
    std::ptrdiff_t chromaStep;
};

void ConvertPairs(Walk walk, RowKernel kernel, int pixels, int pairs) {
    const auto count = static_cast<std::size_t>(pixels);
    for (int pair = 0; pair < pairs; ++pair) {
        kernel(walk.dst, walk.luma, walk.chroma, count);
        kernel(walk.dst + walk.dstStride, walk.luma + walk.lumaStride, walk.chroma, count);
        walk.dst += walk.dstPairStep;
        walk.luma += walk.lumaPairStep;
        walk.chroma += walk.chromaStep;
    }
}

// Whole frame, packed source. The second row of a pair begins a row length after the first, the
// next pair a row length after what was converted of the second.
void ConvertWhole(void* dst, int dstStride, const void* src, int width, int height,
                  RowKernel kernel, int pixelBytes) {
    const int converted = width / kGroup * kGroup;
    if (width < kGroup || height < 2) return;
    const auto* luma = static_cast<const uint8_t*>(src);
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{dstStride} * pixelBytes;
    const bool packed = dstStride == width;
    ConvertPairs(
        {static_cast<uint8_t*>(dst), luma, luma + static_cast<std::ptrdiff_t>(width) * height,
         rowBytes, width, packed ? rowBytes + std::ptrdiff_t{converted} * pixelBytes : 2 * rowBytes,
         std::ptrdiff_t{width} + converted, converted},
        kernel, converted, height / 2);
}

struct Pad {
    int dstStride;  // pixels
    int dstHeight;  // rows
};

// The planes at the rectangle's origin.
struct Planes {
    const uint8_t* luma;
    const uint8_t* chroma;
};

Planes PlanesAt(const void* srcY, const void* srcUV, int srcStride, int x, int y) {
    const std::ptrdiff_t stride = srcStride;
    return {static_cast<const uint8_t*>(srcY) + stride * y + x,
            static_cast<const uint8_t*>(srcUV) + stride * (y >> 1) + x};
}

// Repeats the last of `from` pixels to `to` pixels.
void PadRow(uint8_t* row, int from, int to) {
    for (int i = from; i < to; ++i) std::memcpy(row + i * 4, row + (from - 1) * 4, 4);
}

void ConvertRectangle(uint8_t* dst, int dstStride, const Planes& src, int srcStride, int width,
                      int height, const Pad* pad) {
    const int groups = std::max(width >> 4, 1);
    int pairs = std::max(height / 2, 1);
    int pixels = groups * kGroup;
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{dstStride} * 4;
    if (pad != nullptr) {
        pixels = std::min(pixels, pad->dstStride);
        pairs = std::min(pairs, (pad->dstHeight + 1) / 2);
        if (pixels <= 0 || pairs <= 0) return;
    }
    const std::ptrdiff_t stride = srcStride;
    const bool lastPairHalf = pad != nullptr && pairs * 2 > pad->dstHeight;
    ConvertPairs({dst, src.luma, src.chroma, rowBytes, stride, 2 * rowBytes, 2 * stride, stride},
                 posteffect::ExpandRowYuvx, pixels, lastPairHalf ? pairs - 1 : pairs);
    if (lastPairHalf) {
        const std::ptrdiff_t last = pairs - 1;
        posteffect::ExpandRowYuvx(dst + last * 2 * rowBytes, src.luma + last * 2 * stride,
                                  src.chroma + last * stride, static_cast<std::size_t>(pixels));
    }
    if (pad == nullptr) return;

    const int padded = pixels + std::max(pad->dstStride / kGroup - groups, 0) * kGroup;
    const int rows = std::min(pairs * 2, pad->dstHeight);
    for (int row = 0; row < rows; ++row) PadRow(dst + row * rowBytes, pixels, padded);
    for (int row = rows; row < pad->dstHeight; ++row) {
        std::memcpy(dst + row * rowBytes, dst + (row - 1) * rowBytes,
                    static_cast<std::size_t>(rowBytes));
    }
}

const uint8_t* ChromaAfter(const void* src, int srcStride, int srcHeight) {
    return static_cast<const uint8_t*>(src) + static_cast<std::ptrdiff_t>(srcStride) * srcHeight;
}

}  // namespace

void sp2yuv(void* dst, const void* src, int width, int height) {
    ConvertWhole(dst, width, src, width, height, posteffect::ExpandRowYuv, 3);
}

void sp2yuvx(void* dst, const void* src, int width, int height) {
    ConvertWhole(dst, width, src, width, height, posteffect::ExpandRowYuvx, 4);
}

void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height) {
    ConvertWhole(dst, dstStride, src, width, height, posteffect::ExpandRowYuvx, 4);
}

void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int width,
             int height) {
    if (width < kWideGroup || height < 2) return;
    const Planes planes = PlanesAt(src, ChromaAfter(src, srcStride, srcHeight), srcStride, x, y);
    const int converted = width / kWideGroup * kWideGroup;
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{width} * 4;
    const std::ptrdiff_t stride = srcStride;
    ConvertPairs({static_cast<uint8_t*>(dst), planes.luma, planes.chroma, rowBytes, stride,
                  rowBytes * 2, stride * 2, stride},
                 posteffect::ExpandRowYuvx, converted, height / 2);
}

void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight, int x, int y,
              int width, int height) {
    ConvertRectangle(static_cast<uint8_t*>(dst), dstStride,
                     PlanesAt(src, ChromaAfter(src, srcStride, srcHeight), srcStride, x, y),
                     srcStride, width, height, nullptr);
}

void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* src, int srcStride,
              int srcHeight, int x, int y, int width, int height) {
    sp2yuvxs(dst, dstStride, dstHeight, src, ChromaAfter(src, srcStride, srcHeight), srcStride,
             srcHeight, x, y, width, height);
}

void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* srcY, const void* srcUV,
              int srcStride, int, int x, int y, int width, int height) {
    const Pad pad = {dstStride, dstHeight};
    ConvertRectangle(static_cast<uint8_t*>(dst), dstStride, PlanesAt(srcY, srcUV, srcStride, x, y),
                     srcStride, width, height, &pad);
}
