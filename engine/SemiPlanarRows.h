// Row kernels of the semi-planar conversion: vectorised, dispatched to the best instruction set of
// the machine at run time. No byte is computed, so every set gives the same bytes. Rows may lie at
// any address; a source and a destination that overlap are not supported. Thread: any.
#pragma once

#include <cstddef>
#include <cstdint>

namespace posteffect {

// `count` pixels of one row to "yuvx" (luma, first chroma byte, second, 255). `chroma` holds
// (count + 1) / 2 byte pairs; pixel i takes pair i / 2. Reads and writes nothing beyond.
void ExpandRowYuvx(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count);

// The same to "yuv", three bytes a pixel.
void ExpandRowYuv(uint8_t* dst, const uint8_t* luma, const uint8_t* chroma, std::size_t count);

// `count` "yuvx" pixels like the one at `pixel`.
void RepeatPixel(uint8_t* dst, const uint8_t* pixel, std::size_t count);

}  // namespace posteffect
