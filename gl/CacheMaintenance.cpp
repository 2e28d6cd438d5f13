#include "gl/CacheMaintenance.h"

#include <alloc_controller.h>
#include <gralloc_priv.h>
#include <ui/GraphicBuffer.h>

int CleanCache(LogTag& log, void* base, int flags, int offset, int fd, std::size_t size) {
    constexpr int kCleanAndInvalidate = 3;
    gralloc::IAllocController* controller = gralloc::IAllocController::getInstance();
    const android::sp<gralloc::IMemAlloc> allocator = controller->getAllocator(flags);
    if (allocator == nullptr ||
        allocator->clean_buffer(base, size, offset, fd, kCleanAndInvalidate) < 0) {
        LOG_DEBUG(log, "[%s] clean buffer error", "clean_buffer");
        return 0;
    }
    return 1;
}

int CleanCache(LogTag& log, android::GraphicBuffer* buffer) {
    if (buffer == nullptr) return 0;
    const private_handle_t* handle =
        private_handle_t::dynamicCast(buffer->getNativeBuffer()->handle);
    if (handle == nullptr) return 0;
    return CleanCache(log, handle->base, handle->flags, handle->offset, handle->fd,
                      static_cast<std::size_t>(handle->size));
}
