// How much memory a pixel of a graphics buffer takes.
#pragma once

#include <system/graphics.h>

#include <cstddef>

namespace platform {

// Bytes; 0 for formats that graphics buffers cannot have here.
constexpr std::size_t BytesPerPixel(int halFormat) {
    switch (halFormat) {
        case HAL_PIXEL_FORMAT_RGBA_8888:
            return 4;
        case HAL_PIXEL_FORMAT_RGB_888:
            return 3;
        case HAL_PIXEL_FORMAT_RGB_565:
            return 2;
        default:
            return 0;
    }
}

}  // namespace platform
