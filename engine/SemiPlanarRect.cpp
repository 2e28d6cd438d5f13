#include "engine/SemiPlanarRect.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "engine/SemiPlanarRows.h"

namespace posteffect {

namespace {

constexpr std::size_t kPixelBytes = 4;

// Pixels [from, to) of a row repeat the pixel at `source`.
void Repeat(uint8_t* row, int64_t from, int64_t to, int64_t source) {
    uint8_t pixel[kPixelBytes];
    std::memcpy(pixel, row + source * 4, kPixelBytes);
    for (int64_t i = from; i < to; ++i) std::memcpy(row + i * 4, pixel, kPixelBytes);
}

// A row of the picture, and the chroma row that goes with it.
struct Row {
    const uint8_t* luma;
    const uint8_t* chroma;
    int64_t width;
};

// Column x of the picture, wherever its chroma pair lies whole.
void StorePixel(uint8_t* pixel, const Row& row, int64_t x) {
    const uint8_t* pair = row.chroma + 2 * std::min(x / 2, row.width / 2 - 1);
    pixel[0] = row.luma[x];
    pixel[1] = pair[0];
    pixel[2] = pair[1];
    pixel[3] = 255;
}

// `count` columns from x on, all inside the picture.
void StoreInside(uint8_t* dst, const Row& row, int64_t x, int64_t count) {
    // The kernel starts at a whole pair and ends before a column without one.
    while (count > 0 && x % 2 != 0) {
        StorePixel(dst, row, x);
        dst += kPixelBytes;
        ++x;
        --count;
    }
    const int64_t whole = std::min(count, std::max<int64_t>(row.width / 2 * 2 - x, 0));
    if (whole > 0) {
        ExpandRowYuvx(dst, row.luma + x, row.chroma + x, static_cast<std::size_t>(whole));
    }
    for (int64_t i = std::max<int64_t>(whole, 0); i < count; ++i) {
        StorePixel(dst + i * 4, row, x + i);
    }
}

}  // namespace

void ConvertSemiPlanarRect(void* dst, int dstStride, int dstHeight, const uint8_t* luma,
                           const uint8_t* chroma, int imageWidth, int imageHeight, int rx, int ry,
                           int rw, int rh) {
    if (dstStride <= 0 || dstHeight <= 0 || imageWidth < 2 || imageHeight < 2) return;
    const int64_t columns = std::clamp(rw, 1, dstStride);
    const int64_t rows = std::clamp(rh, 1, dstHeight);
    const int64_t width = imageWidth;
    // Columns of the rectangle that lie inside the picture: [first, end). At least one stands for
    // those outside.
    const int64_t first = std::clamp<int64_t>(-int64_t{rx}, 0, columns - 1);
    const int64_t end = std::clamp<int64_t>(width - rx, first + 1, columns);
    const int64_t sourceX = std::clamp<int64_t>(rx + first, 0, width - 1);
    const int64_t lastChromaRow = imageHeight / 2 - 1;

    auto* out = static_cast<uint8_t*>(dst);
    const std::size_t rowBytes = static_cast<std::size_t>(dstStride) * kPixelBytes;
    for (int64_t j = 0; j < rows; ++j) {
        const int64_t y = std::clamp<int64_t>(ry + j, 0, imageHeight - 1);
        const int64_t chromaRow = std::clamp<int64_t>((ry >> 1) + (j >> 1), 0, lastChromaRow);
        uint8_t* target = out + static_cast<std::size_t>(j) * rowBytes;
        const Row row = {luma + y * width, chroma + chromaRow * width, width};
        StoreInside(target + first * 4, row, sourceX, std::min(end - first, width - sourceX));
        Repeat(target, 0, first, first);
        Repeat(target, end, dstStride, end - 1);
    }
    const uint8_t* last = out + static_cast<std::size_t>(rows - 1) * rowBytes;
    for (int64_t j = rows; j < dstHeight; ++j) {
        std::memcpy(out + static_cast<std::size_t>(j) * rowBytes, last, rowBytes);
    }
}

}  // namespace posteffect
