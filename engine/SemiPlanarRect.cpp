#include "engine/SemiPlanarRect.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "engine/SemiPlanarRows.h"

namespace posteffect {

namespace {

constexpr int64_t kPixelBytes = 4;

// A row of the picture, and the chroma row that goes with it.
struct Row {
    const uint8_t* luma;
    const uint8_t* chroma;
    int64_t width;
};

// Column x of the picture. A last column without a whole pair of its own takes its neighbour's.
void StorePixel(uint8_t* pixel, const Row& row, int64_t x) {
    const uint8_t* pair = row.chroma + 2 * std::min(x / 2, row.width / 2 - 1);
    pixel[0] = row.luma[x];
    pixel[1] = pair[0];
    pixel[2] = pair[1];
    pixel[3] = 255;
}

// Columns [x, end) of the picture, at least one.
void StoreColumns(uint8_t* dst, const Row& row, int64_t x, int64_t end) {
    // What lies in whole pairs goes through the kernel, at most one column on each side does not.
    if (x % 2 != 0) {
        StorePixel(dst, row, x);
        dst += kPixelBytes;
        ++x;
    }
    const int64_t pairsEnd = std::min(end, row.width / 2 * 2);
    if (x < pairsEnd) {
        ExpandRowYuvx(dst, row.luma + x, row.chroma + x, static_cast<std::size_t>(pairsEnd - x));
    }
    if (x < end && pairsEnd < end) StorePixel(dst + (end - 1 - x) * kPixelBytes, row, end - 1);
}

}  // namespace

void ConvertSemiPlanarRect(void* dst, int dstStride, int dstHeight, const uint8_t* luma,
                           const uint8_t* chroma, int imageWidth, int imageHeight, int rx, int ry,
                           int rw, int rh) {
    if (dstStride <= 0 || dstHeight <= 0 || imageWidth < 2 || imageHeight < 2) return;
    const int64_t columns = std::clamp(rw, 1, dstStride);
    const int64_t rows = std::clamp(rh, 1, dstHeight);
    const int64_t width = imageWidth;
    // Columns of the rectangle that lie inside the picture: [first, end). When none does, the
    // picture's nearest column stands there as one.
    const int64_t first = std::clamp<int64_t>(-int64_t{rx}, 0, columns - 1);
    const int64_t end = std::clamp<int64_t>(width - rx, first + 1, columns);
    const int64_t sourceX = std::clamp<int64_t>(rx + first, 0, width - 1);

    const int64_t rowBytes = dstStride * kPixelBytes;
    auto* target = static_cast<uint8_t*>(dst);
    for (int64_t j = 0; j < rows; ++j, target += rowBytes) {
        const int64_t y = std::clamp<int64_t>(ry + j, 0, imageHeight - 1);
        const int64_t chromaRow = std::clamp<int64_t>((ry >> 1) + (j >> 1), 0, imageHeight / 2 - 1);
        const Row row = {luma + y * width, chroma + chromaRow * width, width};
        uint8_t* inside = target + first * kPixelBytes;
        uint8_t* behind = target + end * kPixelBytes;
        StoreColumns(inside, row, sourceX, sourceX + end - first);
        RepeatPixel(target, inside, static_cast<std::size_t>(first));
        RepeatPixel(behind, behind - kPixelBytes, static_cast<std::size_t>(dstStride - end));
    }
    for (int64_t j = rows; j < dstHeight; ++j, target += rowBytes) {
        std::memcpy(target, target - rowBytes, static_cast<std::size_t>(rowBytes));
    }
}

}  // namespace posteffect
