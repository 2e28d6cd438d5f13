// Memory for pixels that the CPU sees: anonymous shared memory, zeroed, rows as long as asked for.
#pragma once

#include <gralloc_priv.h>
#include <system/window.h>
#include <utils/RefBase.h>

#include <cstdint>

namespace android {

class GraphicBuffer : public RefBase {
  public:
    // `format` is a HAL_PIXEL_FORMAT. Ask initCheck for the outcome.
    GraphicBuffer(uint32_t width, uint32_t height, int format, uint32_t usage);

    // 0, or a negative errno: sizes of 0 or beyond 32768 a side, unknown formats, no memory.
    int initCheck() const { return m_status; }
    // Lives as long as this buffer.
    ANativeWindowBuffer* getNativeBuffer() { return &m_native.buffer; }

    uint32_t getWidth() const { return static_cast<uint32_t>(m_native.buffer.width); }
    uint32_t getHeight() const { return static_cast<uint32_t>(m_native.buffer.height); }
    uint32_t getStride() const { return static_cast<uint32_t>(m_native.buffer.stride); }
    int getPixelFormat() const { return m_native.buffer.format; }

  protected:
    ~GraphicBuffer() override;

  private:
    // The native buffer first, so that its address leads back to its owner.
    struct Native {
        ANativeWindowBuffer buffer;
        GraphicBuffer* owner;
    };
    static GraphicBuffer* OwnerOf(android_native_base_t* base);

    int m_status;
    private_handle_t m_handle;
    Native m_native;
};

}  // namespace android
