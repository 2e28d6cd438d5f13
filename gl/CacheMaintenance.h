// Cache maintenance of memory that the CPU and the GPU share.
#pragma once

#include <cstddef>

#include "gl/Log.h"

namespace android {
class GraphicBuffer;
}

// Cleans and invalidates the CPU cache over `size` bytes of the mapping at `base` that lie `offset`
// bytes into the memory behind `fd`; `flags` are the buffer's allocation flags. A refusal is logged
// under `log`. 1, or 0 on failure. Thread: the worker.
int CleanCache(LogTag& log, void* base, int flags, int offset, int fd, std::size_t size);

// The same over a graphics buffer's whole mapped range. A null buffer is a failure.
int CleanCache(LogTag& log, android::GraphicBuffer* buffer);
