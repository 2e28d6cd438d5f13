// Textures from and to BMP files.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "gl/BmpFile.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "gl/Log.h"
#include "gl/RendererKind.h"
#include "platform/DevicePath.h"

namespace {

LogTag gLog("GLTexture");

GLint MaxTextureSize() {
    GLint size = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &size);
    return size;
}

// Red and blue change places, alpha becomes opaque: the order in which BMP files store them.
void SwapToFileOrder(unsigned char* pixels, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i, pixels += 4) {
        std::swap(pixels[0], pixels[2]);
        pixels[3] = 255;
    }
}

// Pixels that software renderers sample one at a time, whole ones together.
struct Spread {
    unsigned format;
    unsigned type;
    std::size_t bytes;
    // Red, green and blue, of the value that GL gives the pixel when it samples it.
    void (*pixel)(const unsigned char* from, unsigned char* to);
};

void SpreadGrey(const unsigned char* from, unsigned char* to) {
    std::fill_n(to, 3, *from);
}

void SpreadPacked(const unsigned char* from, unsigned char* to) {
    std::uint16_t packed = 0;
    std::memcpy(&packed, from, sizeof packed);
    const unsigned red = packed >> 11U;
    const unsigned green = packed >> 5U & 63U;
    const unsigned blue = packed & 31U;
    to[0] = static_cast<unsigned char>(red << 3U | red >> 2U);
    to[1] = static_cast<unsigned char>(green << 2U | green >> 4U);
    to[2] = static_cast<unsigned char>(blue << 3U | blue >> 2U);
}

constexpr Spread kSpreads[] = {
    {GL_LUMINANCE, GL_UNSIGNED_BYTE, 1, SpreadGrey},
    {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 2, SpreadPacked},
};

// Null for pixels that are best left alone.
const Spread* FindSpread(unsigned format, unsigned type) {
    for (const Spread& row : kSpreads) {
        if (row.format == format && row.type == type) return &row;
    }
    return nullptr;
}

// Gives the bound texture its pixels as RGBA. Row by row: a whole picture would scatter the heap.
void UploadSpread(const Spread& spread, const unsigned char* pixels, GLsizei width,
                  GLsizei height) {
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, nullptr);
    std::vector<unsigned char> row(static_cast<std::size_t>(width) * 4, 255);
    for (GLsizei y = 0; y < height; ++y) {
        for (std::size_t i = 0; i < row.size(); i += 4, pixels += spread.bytes) {
            spread.pixel(pixels, &row[i]);
        }
        glTexSubImage2D(GL_TEXTURE_2D, 0, 0, y, width, 1, GL_RGBA, GL_UNSIGNED_BYTE, row.data());
    }
}

}  // namespace

bool GLTexture::LoadBMP(const char* path, unsigned format, unsigned type, unsigned char ST) {
    constexpr const char* kName = "LoadBMP";
    LOG_INFO(gLog, "[%s] enter", kName);
    bmp::File file(platform::OpenDeviceFile(path, "rb"));
    LOG_INFO(gLog, "[%s] BMP file %s\n", kName, path);
    if (file == nullptr) {
        LOG_ERROR(gLog, "[%s] Can't open BMP %s\n", kName, path);
        return false;
    }
    bmp::Header header;
    if (!header.Read(file.get(), bmp::kHeaderBytes)) {
        LOG_ERROR(gLog, "[%s] Can't open bmp: Header fail\n", kName);
        return false;
    }
    const unsigned depth = header.bitsPerPixel();
    if (!bmp::FormatFits(depth, format, type)) {
        LOG_ERROR(gLog, "[%s] %d bpp, format 0x%04X and type 0x%04X mismatch", kName,
                  static_cast<int>(depth), format, type);
        return false;
    }
    const int32_t width = header.width();
    const int32_t height = header.height();
    LOG_INFO(gLog, "[%s] alloc buf for file reading\n", kName);
    LOG_INFO(gLog, "[%s] reading %dx%d, %d BPP\n", kName, width, height, static_cast<int>(depth));
    if (!bmp::IsReadableDepth(depth)) return false;

    // The header is believed as far as the file bears it out.
    const GLint most = MaxTextureSize();
    const bool sane = width >= 1 && height >= 1 && width <= most && height <= most;
    const uint64_t pixels = sane ? static_cast<uint64_t>(width) * static_cast<uint64_t>(height) : 0;
    const uint64_t bytes = pixels * depth / 8;
    if (!sane || bmp::SizeOf(file.get()) < header.dataOffset() + bytes) {
        LOG_ERROR(gLog, "[%s] error reading file\n", kName);
        return false;
    }
    // GL may read more for the format asked for than the file's depth holds.
    const uint64_t capacity = std::max(bytes, pixels * bmp::BytesThatGLReads(format, type));
    const std::unique_ptr<unsigned char[]> data(new (std::nothrow) unsigned char[capacity]());
    if (data == nullptr ||
        std::fseek(file.get(), static_cast<long>(header.dataOffset()), SEEK_SET) != 0 ||
        std::fread(data.get(), 1, bytes, file.get()) != bytes) {
        LOG_ERROR(gLog, "[%s] error reading file\n", kName);
        return false;
    }
    file.reset();
    LOG_INFO(gLog, "[%s] file reading done\n", kName);

    const auto w = static_cast<unsigned>(width);
    const auto h = static_cast<unsigned>(height);
    if (!Init(format, type, w, h, ST)) {
        LOG_ERROR(gLog, "[%s] Can't init texture\n", kName);
        return false;
    }
    LOG_INFO(gLog, "[%s] update data into texture\n", kName);
    Bind();
    if (ST != 0) {
        // Rows are taken to be as long as the width: true of multiples of 32.
        std::memcpy(m_pData, data.get(), pixels * m_nBpp);
        clean_buffer();
    } else if (!UpdateNormalTexture(data.get(), w, h)) {
        return false;
    }
    const Spread* spread = FindSpread(format, type);
    if (ST == 0 && spread != nullptr && DrawsForSoftware()) {
        UploadSpread(*spread, data.get(), width, height);
        if (!CheckGLError("GLTexture::LoadBMP", "glTexImage2D")) return false;
    }
    SetParameters(GL_LINEAR, GL_REPEAT);
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}

void* GLTexture::DumpablePixels(const char* operation) const {
    if (m_bStreaming && m_pData != nullptr) return m_pData;
    LOG_ERROR(gLog, "[%s] ERROR, only streaming texture use this method\n", operation);
    return nullptr;
}

bool GLTexture::SaveBMP(const char* templatePath, const char* name) {
    constexpr const char* kName = "SaveBMP";
    LOG_INFO(gLog, "[%s] enter", kName);
    auto* pixels = static_cast<unsigned char*>(DumpablePixels(kName));
    if (pixels == nullptr) return false;
    if (m_nFormat != GL_RGB && m_nFormat != GL_RGBA) {
        LOG_ERROR(gLog, "[%s] ERROR, only RGB or RGBA texture use this method\n", kName);
        return false;
    }
    bmp::Dump dump;
    if (!dump.Open(gLog, kName, templatePath, name)) return false;
    const unsigned depth = bmp::DepthOf(m_nFormat, m_nType);
    dump.header.setSize(m_nWidth, m_nHeight);
    dump.header.setBitsPerPixel(depth);
    std::fwrite(dump.header.bytes(), 1, bmp::kTemplateBytes, dump.out.get());

    const std::size_t count = std::size_t{m_nWidth} * m_nHeight;
    if (depth == 32) SwapToFileOrder(pixels, count);
    const uint32_t offset = std::min(dump.header.dataOffset(), bmp::kMaxDataOffset);
    const std::size_t size = count * depth / 8;
    LOG_INFO(gLog, "[%s] offset %d, w=%d, h=%d, bpp=%d, size=%d\n", kName, static_cast<int>(offset),
             static_cast<int>(m_nWidth), static_cast<int>(m_nHeight), static_cast<int>(depth),
             static_cast<int>(size));
    std::fseek(dump.out.get(), static_cast<long>(offset), SEEK_SET);
    std::fwrite(pixels, 1, size, dump.out.get());
    if (!dump.Close(gLog, kName)) return false;
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}

bool GLTexture::SaveBMP_yuvx(const char* templatePath, const char* name) {
    constexpr const char* kName = "SaveBMP_yuvx";
    constexpr unsigned kPixelBytes = 4;
    LOG_INFO(gLog, "[%s] enter", kName);
    const auto* pixels = static_cast<const unsigned char*>(DumpablePixels(kName));
    if (pixels == nullptr) return false;
    // The fourth byte of shorter pixels is another pixel's, or nobody's.
    if (m_nFormat != GL_RGBA) {
        LOG_ERROR(gLog, "[%s] ERROR, only RGB or RGBA texture use this method\n", kName);
        return false;
    }
    bmp::Dump dump;
    if (!dump.Open(gLog, kName, templatePath, name)) return false;
    dump.header.setSize(m_nWidth, m_nHeight);
    dump.header.setBitsPerPixel(8);
    std::fwrite(dump.header.bytes(), 1, bmp::kTemplateBytes, dump.out.get());
    std::fseek(dump.out.get(),
               static_cast<long>(std::min(dump.header.dataOffset(), bmp::kMaxDataOffset)),
               SEEK_SET);
    LOG_INFO(gLog, "[%s] m_pData=%p, %dx%d\n", kName, static_cast<const void*>(pixels),
             static_cast<int>(m_nWidth), static_cast<int>(m_nHeight));
    const std::size_t count = std::size_t{m_nWidth} * m_nHeight;
    for (std::size_t i = 0; i < count; ++i) {
        std::fputc(pixels[i * kPixelBytes + 3], dump.out.get());
    }
    if (!dump.Close(gLog, kName)) return false;
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}
