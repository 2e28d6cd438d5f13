// Semi-planar pictures for tests, in memory that ends at an unmapped page.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/GuardedBuffer.h"

namespace testing_support {

// A picture of width x height: luma, then chroma rows of `width` bytes holding V, U pairs, and not
// a byte more.
class CaptureImage {
  public:
    CaptureImage(int width, int height);

    // Smooth gradients with fine noise, every value in gamut: what a photograph is like.
    void FillNatural(unsigned seed);
    // The same with fields of two brightnesses, for edges.
    void FillScene(unsigned seed);
    void FillFlat(uint8_t luma, uint8_t v, uint8_t u);
    // New ones, filled.
    static CaptureImage Natural(int width, int height, unsigned seed);
    static CaptureImage Scene(int width, int height, unsigned seed);
    static CaptureImage Flat(int width, int height, uint8_t luma, uint8_t v, uint8_t u);

    int width() const { return m_width; }
    int height() const { return m_height; }
    int chromaOffset() const { return m_width * m_height; }
    std::size_t size() const { return m_size; }
    uint8_t* data() { return m_buffer.data(); }
    const uint8_t* data() const { return m_buffer.data(); }
    uint8_t luma(int x, int y) const;
    // 0: V, 1: U; of the 2 x 2 square (x, y) lies in.
    uint8_t chroma(int x, int y, int which) const;
    std::vector<uint8_t> bytes() const { return {data(), data() + size()}; }

  private:
    int m_width;
    int m_height;
    std::size_t m_size;
    GuardedBuffer m_buffer;
};

}  // namespace testing_support
