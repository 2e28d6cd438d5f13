// BMP files, and what tests write over their fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/SystemRoot.h"

namespace testing_support {

struct BmpField {
    std::size_t at;
    std::int64_t value;
    int bytes = 4;
};

inline void Put(Bytes& file, const BmpField& field) {
    for (int i = 0; i < field.bytes; ++i) {
        file[field.at + static_cast<std::size_t>(i)] =
            static_cast<unsigned char>(field.value >> (8 * i));
    }
}

// A header of 54 bytes, filled up to the data offset, and counted-up pixel bytes.
inline Bytes BmpFile(int width, int height, int depth, uint32_t offset, std::size_t pixelBytes) {
    Bytes file(offset + pixelBytes);
    for (const BmpField& field : std::vector<BmpField>{
             {0, 0x4D42, 2}, {10, offset}, {18, width}, {22, height}, {28, depth, 2}}) {
        Put(file, field);
    }
    for (std::size_t i = 0; i < pixelBytes; ++i) {
        file[offset + i] = static_cast<unsigned char>(i * 7 + 1);
    }
    return file;
}

}  // namespace testing_support
