// What a graphics buffer is used for.
#pragma once

enum {
    GRALLOC_USAGE_SW_WRITE_OFTEN = 0x30,
    GRALLOC_USAGE_HW_TEXTURE = 0x100,
};
