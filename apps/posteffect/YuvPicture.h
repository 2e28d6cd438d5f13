// A picture in memory: planar YUV 4:2:0 as JPEG has it, and the semi-planar frame that the library
// takes. Full-range BT.601 throughout.
#pragma once

#include <cstddef>
#include <cstdint>

#include "apps/posteffect/Geometry.h"
#include "apps/posteffect/PixelBytes.h"

namespace posteffect {

// One byte a sample. `stride` is the distance of two rows in bytes, at least `width`.
struct Plane {
    Plane() = default;
    Plane(int columns, int rows) : Plane(columns, rows, columns) {}
    Plane(int columns, int rows, int rowBytes)
        : width(columns),
          height(rows),
          stride(rowBytes),
          bytes(static_cast<std::size_t>(rowBytes) * static_cast<std::size_t>(rows)) {}

    std::uint8_t* row(int y) { return bytes.data() + offset(y); }
    const std::uint8_t* row(int y) const { return bytes.data() + offset(y); }

    int width = 0;
    int height = 0;
    int stride = 0;
    PixelBytes bytes;

  private:
    std::size_t offset(int y) const {
        return static_cast<std::size_t>(stride) * static_cast<std::size_t>(y);
    }
};

// Chroma planes have half the luma plane's size, rounded up.
struct YuvPicture {
    Plane y;
    Plane u;
    Plane v;

    Size size() const { return {y.width, y.height}; }
};

// Even size, tightly packed: the luma plane, then rows of V, U pairs.
struct SemiPlanarFrame {
    Size size;
    PixelBytes bytes;

    std::size_t lumaBytes() const {
        return static_cast<std::size_t>(size.width) * static_cast<std::size_t>(size.height);
    }
};

// Columns more on each side, which repeat the outermost; even numbers.
struct SidePadding {
    int left = 0;
    int right = 0;
};

// Odd sizes are padded with one replicated column or row. Moves the pixels: large pictures are not
// held twice, and the picture has only its sizes until it is filled again.
SemiPlanarFrame TakeSemiPlanar(YuvPicture* picture, SidePadding padding = {});

// Fills the picture that the frame was made from, without the padding.
void FromSemiPlanar(const SemiPlanarFrame& frame, YuvPicture* picture, SidePadding padding = {});

}  // namespace posteffect
