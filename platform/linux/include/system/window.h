// The native side of a graphics buffer, as EGL image creation takes it.
#pragma once

struct private_handle_t;
using buffer_handle_t = const private_handle_t*;

struct android_native_base_t {
    // References on the whole buffer.
    void (*incRef)(android_native_base_t* base);
    void (*decRef)(android_native_base_t* base);
};

struct ANativeWindowBuffer {
    android_native_base_t common;
    int width;   // pixels
    int height;  // pixels
    int stride;  // pixels
    int format;  // HAL_PIXEL_FORMAT_*
    int usage;   // GRALLOC_USAGE_*
    buffer_handle_t handle;
};
