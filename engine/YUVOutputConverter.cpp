// Conversion of an effect's RGB result to YUV 4:2:0 on the GPU. The programs pack four bytes of a
// YUV row into each RGBA texel, so that the targets' rows are, byte for byte, rows of the planes,
// which the CPU then copies out of the streaming textures.
//
// Where the GPU is a CPU, that one reads the result and writes the streaming textures' rows itself:
// each pixel is fetched once instead of twice, and drawn not at all.
#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "engine/GEShader.h"
#include "engine/PackedRows.h"
#include "engine/ShaderLog.h"
#include "engine/YUVPrograms.h"
#include "gl/GECommon.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "gl/RendererKind.h"

namespace {

// A texel packs four pixels of a row; a row's last texel may be filled in part only.
constexpr unsigned kPixelsPerTexel = 4;

constexpr unsigned TexelsFor(unsigned pixels) {
    return (pixels + kPixelsPerTexel - 1) / kPixelsPerTexel;
}

// Texture coordinate of the right edge of a quad whose texels cover whole groups of four pixels:
// 1 exactly where the width is a multiple of four, else beyond the edge, where the texture clamps.
float WholeGroups(unsigned pixels, unsigned width) {
    return width == 0 ? 0.0F
                      : static_cast<float>(kPixelsPerTexel * TexelsFor(pixels)) /
                            static_cast<float>(width);
}

// 1 when the block fills the texture and 0 when it is smaller: effects pass whole textures only.
unsigned Filled(unsigned extent, unsigned whole) {
    return whole == 0 ? 0 : extent / whole;
}

template <typename T>
void DeleteAndNull(T*& pointer) {
    delete pointer;
    pointer = nullptr;
}

}  // namespace

bool GEShader::InitYUVConverter(int srcWidth, int srcHeight, int outWidth, int outHeight) {
    constexpr const char* kName = "InitYUVConverter";
    LOG_INFO(gShaderLog, "[%s] enter", kName);
    DeinitYUVConverter();
    m_nSrcWidth = static_cast<unsigned>(srcWidth);
    m_nSrcHeight = static_cast<unsigned>(srcHeight);
    m_nOutWidth = static_cast<unsigned>(outWidth);
    m_nOutHeight = static_cast<unsigned>(outHeight);
    m_nLumaRowBytes = RoundUp32(TexelsFor(m_nOutWidth)) * kPixelsPerTexel;
    m_nLumaHeight = m_nOutHeight;
    m_nChromaRowBytes = m_nLumaRowBytes;
    m_nChromaHeight = m_nOutHeight / 2;

    m_pTexRGB = new GLTexture;
    if (!m_pTexRGB->Init(GL_RGBA, GL_UNSIGNED_BYTE, m_nSrcWidth, m_nSrcHeight, 0)) return false;
    m_pTexRGB->SetParameteri(GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    m_pTexRGB->SetParameteri(GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    m_pFboRGB = new GLFbo;
    if (!m_pFboRGB->Init() || !m_pFboRGB->SetColorAttachment(m_pTexRGB)) return false;

    // Rows without a partner are left to the linear filter, pictures of another size than the
    // image to GL, which draws nothing beyond a target.
    m_bPacksOnCPU = DrawsForSoftware() && m_nSrcHeight % 2 == 0 && srcWidth == outWidth &&
                    srcHeight == outHeight;
    LOG_INFO(gShaderLog, "[%s] Creating tex/FBO for Y plane", kName);
    if (!InitPackedTarget(m_pTexY, m_pFboY, m_nLumaRowBytes, m_nLumaHeight)) return false;
    LOG_INFO(gShaderLog, "[%s] Creating tex/FBO for UV plane", kName);
    if (!InitPackedTarget(m_pTexUV, m_pFboUV, m_nChromaRowBytes, m_nChromaHeight)) return false;

    if (m_bPacksOnCPU) {
        LOG_INFO(gShaderLog, "[%s] leave", kName);
        return true;
    }
    const float pixel = 1.0F / static_cast<float>(srcWidth);
    m_pProgRGBtoY = new GLProgRGBtoY;
    m_pProgRGBtoY->m_shift = {-1.5F * pixel, 0.0F, -0.5F * pixel, 0.0F,
                              0.5F * pixel,  0.0F, 1.5F * pixel,  0.0F};
    if (!m_pProgRGBtoY->Load()) {
        LOG_ERROR(gShaderLog, "[%s] can't load program RGBtoY", kName);
        return false;
    }
    m_pProgRGBtoY->SetTextures(0, m_pTexRGB);

    m_pProgRGBtoUV = new GLProgRGBtoUV;
    m_pProgRGBtoUV->m_shift = {-pixel, 0.0F, pixel, 0.0F};
    if (!m_pProgRGBtoUV->Load()) {
        LOG_ERROR(gShaderLog, "[%s] can't load program RGBtoUV", kName);
        return false;
    }
    m_pProgRGBtoUV->SetTextures(0, m_pTexRGB);
    LOG_INFO(gShaderLog, "[%s] leave", kName);
    return true;
}

bool GEShader::InitPackedTarget(GLTexture*& texture, GLFbo*& fbo, unsigned rowBytes,
                                unsigned height) {
    texture = new GLTexture;
    if (m_bPacksOnCPU) texture->LeaveToCPU();
    if (!texture->Init(GL_RGBA, GL_UNSIGNED_BYTE, rowBytes / kPixelsPerTexel, height, 1)) {
        return false;
    }
    texture->SetParameteri(GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    texture->SetParameteri(GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
    texture->SetParameteri(GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    texture->SetParameteri(GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    if (m_bPacksOnCPU) return true;
    fbo = new GLFbo;
    return fbo->Init() != 0 && fbo->SetColorAttachment(texture);
}

bool GEShader::DeinitYUVConverter() {
    LOG_INFO(gShaderLog, "[%s] enter", "DeinitYUVConverter");
    DeleteAndNull(m_pTexY);
    DeleteAndNull(m_pTexUV);
    DeleteAndNull(m_pTexRGB);
    DeleteAndNull(m_pFboY);
    DeleteAndNull(m_pFboUV);
    DeleteAndNull(m_pFboRGB);
    DeleteAndNull(m_pProgRGBtoY);
    DeleteAndNull(m_pProgRGBtoUV);
    LOG_INFO(gShaderLog, "[%s] leave", "DeinitYUVConverter");
    return true;
}

// Draws the RGB texture through one of the programs into the bound framebuffer. Luma needs the
// exact pixels, chroma the mean of four.
void GEShader::DrawPacked(bool luma, const QuadCoords& coords) {
    const GLint filter = luma ? GL_NEAREST : GL_LINEAR;
    GLProgram* program = m_pProgRGBtoY;
    if (!luma) program = m_pProgRGBtoUV;
    glActiveTexture(GL_TEXTURE0);
    m_pTexRGB->Bind();
    m_pTexRGB->SetParameteri(GL_TEXTURE_MIN_FILTER, filter);
    m_pTexRGB->SetParameteri(GL_TEXTURE_MAG_FILTER, filter);
    program->Use();
    program->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    program->SetTextureCoord(kQuadCoordSize, coords.data());
    program->Draw();
}

// In bands that stay in the processor's cache between the two.
void GEShader::PackOnCPU() {
    constexpr std::size_t kBandBytes = std::size_t{256} * 1024;
    const std::size_t width = m_nSrcWidth;
    const std::size_t rowBytes = width * 4;
    const std::size_t bandRows = std::max<std::size_t>(kBandBytes / rowBytes / 2, 1) * 2;
    // Kept by the thread: a new one for each effect would scatter the heap.
    thread_local std::vector<unsigned char> pixels;
    pixels.resize(
        std::max(pixels.size(), std::min<std::size_t>(bandRows, m_nSrcHeight) * rowBytes));
    auto* luma = static_cast<unsigned char*>(m_pTexY->GetSTDataBuf());
    auto* chroma = static_cast<unsigned char*>(m_pTexUV->GetSTDataBuf());
    const std::size_t lumaPitch = std::size_t{m_pTexY->GetStride()} * kPixelsPerTexel;
    const std::size_t chromaPitch = std::size_t{m_pTexUV->GetStride()} * kPixelsPerTexel;
    m_pFboRGB->Bind();
    for (std::size_t band = 0; band < m_nSrcHeight; band += bandRows) {
        const std::size_t rows = std::min(bandRows, m_nSrcHeight - band);
        glReadPixels(0, static_cast<GLint>(band), static_cast<GLsizei>(width),
                     static_cast<GLsizei>(rows), GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
        for (std::size_t row = 0; row < rows; row += 2) {
            const unsigned char* upper = pixels.data() + row * rowBytes;
            const unsigned char* lower = upper + rowBytes;
            unsigned char* lumaRow = luma + (band + row) * lumaPitch;
            unsigned char* chromaRow = chroma + (band + row) / 2 * chromaPitch;
            posteffect::PackLumaRow(lumaRow, upper, width);
            posteffect::PackLumaRow(lumaRow + lumaPitch, lower, width);
            posteffect::PackChromaRow(chromaRow, upper, lower, width / 2);
            if (width % 2 == 0) continue;
            // The last column is its own partner.
            std::array<unsigned char, 8> ends[2];
            const std::size_t last = rowBytes - 4;
            for (std::size_t i = 0; i < 8; ++i) {
                ends[0][i] = upper[last + i % 4];
                ends[1][i] = lower[last + i % 4];
            }
            posteffect::PackChromaRow(chromaRow + width - 1, ends[0].data(), ends[1].data(), 1);
        }
    }
}

bool GEShader::ConvertYUV(int x, int y) {
    if (m_bPacksOnCPU) {
        PackOnCPU();
        return true;
    }
    const auto texels = static_cast<GLsizei>(TexelsFor(m_nSrcWidth));
    const auto height = static_cast<GLsizei>(m_nSrcHeight);
    const QuadCoords whole =
        MakeQuadCoords(0.0F, 0.0F, WholeGroups(m_nSrcWidth, m_nSrcWidth), 1.0F);
    m_pFboY->Bind();
    glViewport(x, y, texels, height);
    DrawPacked(true, whole);
    m_pFboUV->Bind();
    glViewport(x, y, texels, height / 2);
    DrawPacked(false, whole);
    return true;
}

bool GEShader::ConvertYUV(int x, int y, int w, int h) {
    if (m_bPacksOnCPU) return ConvertYUV(x, y);
    const auto texels = static_cast<GLsizei>(TexelsFor(static_cast<unsigned>(w)));
    const unsigned filledX = Filled(static_cast<unsigned>(x + w), m_nSrcWidth);
    const unsigned filledY = Filled(static_cast<unsigned>(y + h), m_nSrcHeight);
    const float s = static_cast<float>(filledX) * WholeGroups(m_nSrcWidth, m_nSrcWidth);
    const auto t = static_cast<float>(filledY);

    m_pFboY->Bind();
    glViewport(x / 4, y, texels, h);
    m_lumaCoord = MakeQuadCoords(0.0F, 0.0F, s, t);
    DrawPacked(true, m_lumaCoord);

    m_pFboUV->Bind();
    glViewport(x, y, texels, h / 2);  // the origin is not scaled here; effects pass (0, 0)
    m_chromaCoord = MakeQuadCoords(0.0F, 0.0F, s, t);
    DrawPacked(false, m_chromaCoord);
    return true;
}

void GEShader::FinishPicture() {
    ConvertYUV(0, 0, static_cast<int>(m_nSrcWidth), static_cast<int>(m_nSrcHeight));
    glFlush();
    glFinish();
}

bool GEShader::BlockCopyYUV(unsigned char* dstY, unsigned char* dstUV, unsigned imgWidth,
                            unsigned imgHeight, unsigned x, int y, int w, int h) {
    if (m_pTexY == nullptr || m_pTexUV == nullptr) return false;
    if (!m_bPacksOnCPU) {
        m_pTexY->clean_buffer();
        m_pTexUV->clean_buffer();
    }
    if (dstY == nullptr || dstUV == nullptr) {
        LOG_ERROR(gShaderLog, "[%s] pDstYStart (%u) or pDstUVStart (%u) is NULL\n", "BlockCopyYUV",
                  AddressForLog(dstY), AddressForLog(dstUV));
        return false;
    }
    const auto* luma = static_cast<const unsigned char*>(m_pTexY->GetSTDataBuf());
    const auto* chroma = static_cast<const unsigned char*>(m_pTexUV->GetSTDataBuf());
    const int skipX = x != 0 ? m_nOverlapX / 2 : 0;
    const int skipY = y != 0 ? m_nOverlapY / 2 : 0;
    const int firstColumn = static_cast<int>(x) + skipX;
    const int firstRow = y + skipY;
    // A block may reach past the image, and its width past the rows of the targets.
    const int columns = std::min({w, static_cast<int>(m_nLumaRowBytes),
                                  static_cast<int>(imgWidth) - static_cast<int>(x)}) -
                        skipX;
    const int endRow =
        std::min({y + h, y + static_cast<int>(m_nLumaHeight), static_cast<int>(imgHeight)});
    if (columns <= 0 || firstColumn < 0 || firstRow < 0) return true;

    const std::size_t lumaPitch = std::size_t{m_pTexY->GetStride()} * kPixelsPerTexel;
    const std::size_t chromaPitch = std::size_t{m_pTexUV->GetStride()} * kPixelsPerTexel;
    const auto length = static_cast<std::size_t>(columns);
    for (int row = firstRow; row < endRow; ++row) {
        const auto blockRow = static_cast<std::size_t>(row - y);
        const std::size_t target =
            static_cast<std::size_t>(row) * imgWidth + static_cast<std::size_t>(firstColumn);
        std::memcpy(dstY + target, luma + static_cast<std::size_t>(skipX) + blockRow * lumaPitch,
                    length);
        // The parity of the image's row counts, not of the block's.
        const unsigned chromaRow = static_cast<unsigned>(row) / 2;
        if (row % 2 != 0 || chromaRow >= imgHeight / 2 || blockRow / 2 >= m_nChromaHeight) continue;
        std::memcpy(
            dstUV + std::size_t{chromaRow} * imgWidth + static_cast<std::size_t>(firstColumn),
            chroma + static_cast<std::size_t>(skipX) + blockRow / 2 * chromaPitch, length);
    }
    return true;
}

bool GEShader::MemcpyYUV(void* dstY, void* dstUV) {
    BlockCopyYUV(static_cast<unsigned char*>(dstY), static_cast<unsigned char*>(dstUV), m_nOutWidth,
                 m_nOutHeight, 0, 0, static_cast<int>(m_nOutWidth), static_cast<int>(m_nOutHeight));
    return true;
}
