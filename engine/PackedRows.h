// Row kernels that turn RGBA pixels into rows of the YUV planes on the CPU: vectorised, dispatched
// to the best instruction set of the machine at run time.
//
// They compute in floats, in the order and with the roundings in which Mesa's renderers on the CPU
// run the packing programs (engine/YUVPrograms.cpp), so every set gives the same bytes, and those
// of the programs. Rows may lie at any address. Thread: any.
#pragma once

#include <cstddef>
#include <cstdint>

namespace posteffect {

// The luma of `count` pixels.
void PackLumaRow(uint8_t* luma, const uint8_t* rgba, std::size_t count);

// V, U of the mean of 2 x 2 pixels, for each of `pairs` pairs of columns of two rows.
void PackChromaRow(uint8_t* chroma, const uint8_t* upper, const uint8_t* lower, std::size_t pairs);

}  // namespace posteffect
