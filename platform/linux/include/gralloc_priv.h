// The allocator's handle of a graphics buffer.
#pragma once

#include <system/window.h>

struct private_handle_t {
    int fd;
    int flags;   // the usage it was allocated for
    int size;    // bytes
    int offset;  // bytes from the start of the memory behind fd
    void* base;  // where it is mapped

    static const private_handle_t* dynamicCast(buffer_handle_t handle) { return handle; }
};
