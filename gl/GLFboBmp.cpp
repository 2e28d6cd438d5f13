// Framebuffers to BMP files.
#include <algorithm>
#include <vector>

#include "gl/BmpFile.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "gl/Log.h"

namespace {

LogTag gLog("GLFbo");

// One pixel as the file of this depth stores it; every target can be read as RGBA. The 32-bit form
// puts opacity first.
void StorePixel(const unsigned char* rgba, unsigned depth, unsigned char* out) {
    switch (depth) {
        case 32:
            out[0] = 255;
            out[1] = rgba[2];
            out[2] = rgba[1];
            out[3] = rgba[0];
            break;
        case 24:
            std::copy_n(rgba, 3, out);
            break;
        case 16: {
            const unsigned packed = (rgba[0] & 0xF8U) << 8U | (rgba[1] & 0xFCU) << 3U |
                                    static_cast<unsigned>(rgba[2]) >> 3U;
            out[0] = static_cast<unsigned char>(packed & 0xFFU);
            out[1] = static_cast<unsigned char>(packed >> 8U);
            break;
        }
        default:
            out[0] = rgba[0];
            break;
    }
}

}  // namespace

bool GLFbo::SaveBMP(const char* templatePath, const char* name) {
    constexpr const char* kName = "SaveBMP";
    LOG_INFO(gLog, "[%s] enter", kName);
    if (m_pTexture == nullptr) {
        LOG_ERROR(gLog, "[%s] no texture attached\n", kName);
        return false;
    }
    bmp::Dump dump;
    if (!dump.Open(gLog, kName, templatePath, name)) return false;
    const uint32_t offset = dump.header.dataOffset();
    if (offset < bmp::kHeaderBytes || offset > bmp::kMaxDataOffset) {
        LOG_ERROR(gLog, "[%s] not a BMP file\n", kName);
        return false;
    }
    const unsigned width = m_pTexture->m_nWidth;
    const unsigned height = m_pTexture->m_nHeight;
    // The depth field stays the template's.
    dump.header.setSize(width, height);
    std::vector<unsigned char> head(std::max<std::size_t>(offset, bmp::kTemplateBytes));
    std::fseek(dump.in.get(), 0, SEEK_SET);
    const std::size_t read = std::fread(head.data(), 1, offset, dump.in.get());
    std::copy_n(dump.header.bytes(), std::min<std::size_t>(bmp::kTemplateBytes, head.size()),
                head.data());
    static_cast<void>(read);  // what the template lacks stays zero
    std::fwrite(head.data(), 1, offset, dump.out.get());

    const unsigned depth = bmp::DepthOf(m_pTexture->m_nFormat, m_pTexture->m_nType);
    const std::size_t rowBytes = std::size_t{width} * depth / 8;
    LOG_INFO(gLog, "[%s] offset %d, w=%d, h=%d, bpp=%d, size=%d\n", kName, static_cast<int>(offset),
             static_cast<int>(width), static_cast<int>(height), static_cast<int>(depth),
             static_cast<int>(rowBytes * height));
    LOG_INFO(gLog, "[%s] saving data\n", kName);
    std::vector<unsigned char> rgba(std::size_t{width} * 4);
    std::vector<unsigned char> row(rowBytes);
    for (unsigned y = 0; y < height; ++y) {
        glReadPixels(0, static_cast<GLint>(y), static_cast<GLsizei>(width), 1, GL_RGBA,
                     GL_UNSIGNED_BYTE, rgba.data());
        for (std::size_t x = 0; x < width; ++x) {
            StorePixel(&rgba[x * 4], depth, &row[x * depth / 8]);
        }
        std::fwrite(row.data(), 1, row.size(), dump.out.get());
    }
    if (!dump.Close(gLog, kName)) return false;
    LOG_INFO(gLog, "[%s] done\n", kName);
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}
