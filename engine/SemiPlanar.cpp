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

// The part of `width` that is whole groups.
std::ptrdiff_t Whole(int width, int group) {
    return width - width % group;
}

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

void ConvertPairs(Walk walk, RowKernel kernel, std::ptrdiff_t pixels, int pairs) {
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
// next pair a row length after what was converted of the second: a packed plane is walked by one
// pointer that each row moves on. `dst` goes on by `dstPairStep` bytes from pair to pair.
void ConvertWhole(void* dst, std::ptrdiff_t dstStride, std::ptrdiff_t dstPairStep, const void* src,
                  int width, int height, RowKernel kernel) {
    if (width < kGroup || height < 2) return;
    const std::ptrdiff_t converted = Whole(width, kGroup);
    const std::ptrdiff_t rowBytes = width;
    const auto* luma = static_cast<const uint8_t*>(src);
    ConvertPairs({static_cast<uint8_t*>(dst), luma, luma + rowBytes * height, dstStride, rowBytes,
                  dstPairStep, rowBytes + converted, converted},
                 kernel, converted, height / 2);
}

// The same into a packed destination, walked in the same way.
void ConvertPacked(void* dst, const void* src, int width, int height, RowKernel kernel,
                   std::ptrdiff_t pixelBytes) {
    ConvertWhole(dst, width * pixelBytes, (width + Whole(width, kGroup)) * pixelBytes, src, width,
                 height, kernel);
}

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

// At least one group and one pair of rows, whatever the size.
int Groups(int width) {
    return std::max(width >> 4, 1);
}
int Pairs(int height) {
    return std::max(height / 2, 1);
}

void ConvertRectangle(void* dst, int dstStride, const Planes& src, int srcStride,
                      std::ptrdiff_t pixels, int pairs) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{dstStride} * 4;
    const std::ptrdiff_t stride = srcStride;
    ConvertPairs({static_cast<uint8_t*>(dst), src.luma, src.chroma, rowBytes, stride, 2 * rowBytes,
                  2 * stride, stride},
                 posteffect::ExpandRowYuvx, pixels, pairs);
}

// The rectangle with all groups and pairs of rows that the destination holds, and the rest of it
// from the last of them.
void ConvertPadded(uint8_t* dst, int dstStride, int dstHeight, const Planes& src, int srcStride,
                   int width, int height) {
    if (dstStride < 1 || dstHeight < 1) return;
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{dstStride} * 4;
    const std::ptrdiff_t pixels =
        std::min(std::ptrdiff_t{Groups(width)} * kGroup, std::ptrdiff_t{dstStride});
    const int pairs = std::min(Pairs(height), dstHeight / 2);
    ConvertRectangle(dst, dstStride, src, srcStride, pixels, pairs);
    int rows = 2 * pairs;
    if (pairs < Pairs(height) && dstHeight % 2 != 0) {  // half a pair is left
        const std::ptrdiff_t stride = srcStride;
        posteffect::ExpandRowYuvx(dst + rows * rowBytes, src.luma + rows * stride,
                                  src.chroma + pairs * stride, static_cast<std::size_t>(pixels));
        ++rows;
    }
    const std::ptrdiff_t padding = Whole(dstStride, kGroup) - pixels;
    for (int row = 0; padding > 0 && row < rows; ++row) {
        uint8_t* end = dst + row * rowBytes + pixels * 4;
        posteffect::RepeatPixel(end, end - 4, static_cast<std::size_t>(padding));
    }
    for (int row = rows; row < dstHeight; ++row) {
        uint8_t* target = dst + row * rowBytes;
        std::memcpy(target, target - rowBytes, static_cast<std::size_t>(rowBytes));
    }
}

const uint8_t* ChromaAfter(const void* src, int srcStride, int srcHeight) {
    return static_cast<const uint8_t*>(src) + static_cast<std::ptrdiff_t>(srcStride) * srcHeight;
}

}  // namespace

void sp2yuv(void* dst, const void* src, int width, int height) {
    ConvertPacked(dst, src, width, height, posteffect::ExpandRowYuv, 3);
}

void sp2yuvx(void* dst, const void* src, int width, int height) {
    ConvertPacked(dst, src, width, height, posteffect::ExpandRowYuvx, 4);
}

void sp2yuvx(void* dst, int dstStride, const void* src, int width, int height) {
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{dstStride} * 4;
    ConvertWhole(dst, rowBytes, 2 * rowBytes, src, width, height, posteffect::ExpandRowYuvx);
}

void sp2yuvx(void* dst, const void* src, int srcStride, int srcHeight, int x, int y, int width,
             int height) {
    if (width < kWideGroup || height < 2) return;
    const Planes planes = PlanesAt(src, ChromaAfter(src, srcStride, srcHeight), srcStride, x, y);
    const std::ptrdiff_t rowBytes = std::ptrdiff_t{width} * 4;
    const std::ptrdiff_t stride = srcStride;
    ConvertPairs({static_cast<uint8_t*>(dst), planes.luma, planes.chroma, rowBytes, stride,
                  rowBytes * 2, stride * 2, stride},
                 posteffect::ExpandRowYuvx, Whole(width, kWideGroup), height / 2);
}

void sp2yuvxs(void* dst, int dstStride, const void* src, int srcStride, int srcHeight, int x, int y,
              int width, int height) {
    ConvertRectangle(dst, dstStride,
                     PlanesAt(src, ChromaAfter(src, srcStride, srcHeight), srcStride, x, y),
                     srcStride, std::ptrdiff_t{Groups(width)} * kGroup, Pairs(height));
}

void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* src, int srcStride,
              int srcHeight, int x, int y, int width, int height) {
    sp2yuvxs(dst, dstStride, dstHeight, src, ChromaAfter(src, srcStride, srcHeight), srcStride,
             srcHeight, x, y, width, height);
}

void sp2yuvxs(void* dst, int dstStride, int dstHeight, const void* srcY, const void* srcUV,
              int srcStride, int, int x, int y, int width, int height) {
    ConvertPadded(static_cast<uint8_t*>(dst), dstStride, dstHeight,
                  PlanesAt(srcY, srcUV, srcStride, x, y), srcStride, width, height);
}
