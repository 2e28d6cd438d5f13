#include <ui/GraphicBuffer.h>

#include <cerrno>
#include <limits>

#include "platform/linux/PixelBytes.h"
#include "platform/linux/SharedMemory.h"

namespace android {

namespace {

constexpr uint32_t kMaxSide = 32768;

}  // namespace

GraphicBuffer* GraphicBuffer::OwnerOf(android_native_base_t* base) {
    return reinterpret_cast<Native*>(base)->owner;
}

GraphicBuffer::GraphicBuffer(uint32_t width, uint32_t height, int format, uint32_t usage)
    : m_status(-EINVAL),
      m_handle{-1, static_cast<int>(usage), 0, 0, nullptr},
      m_native{{{[](android_native_base_t* base) { OwnerOf(base)->incStrong(base); },
                 [](android_native_base_t* base) { OwnerOf(base)->decStrong(base); }},
                0,
                0,
                0,
                format,
                static_cast<int>(usage),
                &m_handle},
               this} {
    const std::size_t size = std::size_t{width} * height * platform::BytesPerPixel(format);
    if (width > kMaxSide || height > kMaxSide || size == 0) return;
    if (size > static_cast<std::size_t>(std::numeric_limits<int>::max())) return;
    const platform::SharedMemory memory = platform::AllocateShared("GraphicBuffer", size);
    if (memory.fd < 0) {
        m_status = -ENOMEM;
        return;
    }
    m_handle.fd = memory.fd;
    m_handle.base = memory.base;
    m_handle.size = static_cast<int>(size);
    m_native.buffer.width = static_cast<int>(width);
    m_native.buffer.height = static_cast<int>(height);
    m_native.buffer.stride = static_cast<int>(width);
    m_status = 0;
}

GraphicBuffer::~GraphicBuffer() {
    platform::FreeShared({m_handle.fd, m_handle.base}, static_cast<std::size_t>(m_handle.size));
}

}  // namespace android
