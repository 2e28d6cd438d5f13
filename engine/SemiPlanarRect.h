// Any rectangle of a semi-planar picture as "yuvx" pixels, for the textures that effects read.
#pragma once

#include <cstdint>

namespace posteffect {

// Fills all of `dst`, dstHeight rows of dstStride pixels, from a picture whose planes have rows of
// imageWidth bytes (chroma: imageHeight / 2 rows of V, U pairs). Pixel (i, j) of the rectangle is
// the picture's at (rx + i, ry + j), or the nearest one inside; what the rectangle leaves of `dst`
// repeats its last column and row. Rows share chroma in pairs that count from ry. Sizes below 1
// count as 1. Nothing outside the planes is read. A picture of less than 2 x 2 pixels leaves `dst`
// as it is.
void ConvertSemiPlanarRect(void* dst, int dstStride, int dstHeight, const uint8_t* luma,
                           const uint8_t* chroma, int imageWidth, int imageHeight, int rx, int ry,
                           int rw, int rh);

}  // namespace posteffect
