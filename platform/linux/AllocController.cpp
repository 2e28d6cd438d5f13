#include <alloc_controller.h>

#include "platform/linux/SharedImage.h"

namespace gralloc {

namespace {

// Plain memory is coherent; what an operation has to do is move the pixels of emulated images.
class PlainMemory : public IMemAlloc {
  public:
    int clean_buffer(void* base, std::size_t, int, int fd, int) override {
        return platform::SynchronizeSharedImage(base, fd);
    }
};

class Controller : public IAllocController {
  public:
    android::sp<IMemAlloc> getAllocator(int) override { return m_memory; }

  private:
    android::sp<IMemAlloc> m_memory = new PlainMemory;
};

}  // namespace

IAllocController* IAllocController::getInstance() {
    // Never destroyed: workers use it while the process ends.
    static IAllocController* const instance = new Controller;
    return instance;
}

}  // namespace gralloc
