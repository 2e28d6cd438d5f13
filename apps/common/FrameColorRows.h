// Row kernels of the change from one kind of YUV to another: vectorised, dispatched to the best
// instruction set of the machine at run time. Integers throughout, so every set gives the same
// bytes. Rows may lie at any address and are read and written only as far as they go.
//
// Thread: any.
#pragma once

#include <cstddef>
#include <cstdint>

namespace posteffect {

// A sample of the target, as a sum of the source's: 16.16 fixed point, the offset with the half
// that rounds. Results are clamped to 0..255.
struct ColorSum {
    static constexpr int kFraction = 16;

    std::int32_t y, u, v, offset;
};

// Chroma samples of a row: U and V in rows of their own (step 1), or in turns (step 2).
template <typename Byte>
struct ChromaRow {
    Byte* u;
    Byte* v;
    int step;
};

// `width` luma samples; each two of them lie over one pair of `chroma`.
void ConvertLumaRow(std::uint8_t* to, const std::uint8_t* from,
                    const ChromaRow<const std::uint8_t>& chroma, std::size_t width,
                    const ColorSum& sum);

// `pairs` pairs.
void ConvertChromaRow(const ChromaRow<std::uint8_t>& to, const ChromaRow<const std::uint8_t>& from,
                      std::size_t pairs, const ColorSum& sumU, const ColorSum& sumV);

}  // namespace posteffect
