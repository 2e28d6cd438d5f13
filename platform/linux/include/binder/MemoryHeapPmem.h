// Physically contiguous memory on devices that have it; here a heap like any other.
#pragma once

#include <binder/MemoryHeapBase.h>

namespace android {

class MemoryHeapPmem : public MemoryHeapBase {
  public:
    using MemoryHeapBase::MemoryHeapBase;
};

}  // namespace android
