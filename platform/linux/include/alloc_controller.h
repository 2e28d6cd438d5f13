// Cache maintenance of memory that the CPU and the GPU share.
#pragma once

#include <utils/RefBase.h>

#include <cstddef>

namespace gralloc {

class IMemAlloc : public android::RefBase {
  public:
    // Operation 3 cleans and invalidates `size` bytes at `base`, which lie `offset` bytes into the
    // memory behind `fd`. Negative on failure.
    virtual int clean_buffer(void* base, std::size_t size, int offset, int fd, int op) = 0;
};

class IAllocController : public android::RefBase {
  public:
    static IAllocController* getInstance();

    // The allocator that serves buffers with these flags.
    virtual android::sp<IMemAlloc> getAllocator(int flags) = 0;
};

}  // namespace gralloc
