#include "engine/GEShader.h"

#include <algorithm>
#include <cstring>

#include "engine/ShaderLog.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "platform/Extensions.h"

LogTag gShaderLog("GEShader");

namespace {

constexpr GLuint kNoFence = ~0U;

// The address of a pixel of a streaming texture whose rows are `pitch` pixels apart.
unsigned char* PixelAt(void* base, unsigned pitch, unsigned bytesPerPixel, int x, int y) {
    const std::size_t index = static_cast<std::size_t>(y) * pitch + static_cast<std::size_t>(x);
    return static_cast<unsigned char*>(base) + index * bytesPerPixel;
}

void* GetDataBuf(GLTexture* texture) {
    if (!texture->isStreaming()) {
        LOG_ERROR(gShaderLog, "[%s] not ST", "GetDataBuf");
        return nullptr;
    }
    return texture->GetSTDataBuf();
}

void LogPlace(LogTag& log, const CaptureBlock& block, int imgW, int imgH) {
    LOG_INFO(log,
             "[%s] m_uStartX=%u, m_uStartY=%u, m_uRgnW=%u, m_uRgnH=%u, nImgWidth=%.1f, "
             "nImgHeight=%.1f",
             "ProcFrame", static_cast<unsigned>(block.output.x),
             static_cast<unsigned>(block.output.y), static_cast<unsigned>(block.output.w),
             static_cast<unsigned>(block.output.h), static_cast<double>(imgW),
             static_cast<double>(imgH));
    const QuadCoords& place = block.globalQuad;
    LOG_INFO(log, "[%s] [%.4f:%.4f] to [%.4f:%.4f]", "ProcFrame", static_cast<double>(place[2]),
             static_cast<double>(place[3]), static_cast<double>(place[6]),
             static_cast<double>(place[7]));
}

// Shrinks a span that starts at `a` in one range and `b` in another to what both hold.
void ClipSpan(int& a, int& b, int& length, int limitA, int limitB) {
    const int before = std::max({0, -a, -b});
    a += before;
    b += before;
    length = std::min({length - before, limitA - a, limitB - b});
}

// The row pitch of each texture is its width in pixels.
int CopyPixels(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx, int sy,
               unsigned bytesPerPixel) {
    void* to = GetDataBuf(dst);
    void* from = GetDataBuf(src);
    if (to == nullptr || from == nullptr) return 0;
    ClipSpan(x, sx, w, static_cast<int>(dst->m_nWidth), static_cast<int>(src->m_nWidth));
    ClipSpan(y, sy, h, static_cast<int>(dst->m_nHeight), static_cast<int>(src->m_nHeight));
    if (w <= 0) return 1;
    for (int row = 0; row < h; ++row) {
        std::memmove(PixelAt(to, dst->m_nWidth, bytesPerPixel, x, y + row),
                     PixelAt(from, src->m_nWidth, bytesPerPixel, sx, sy + row),
                     static_cast<std::size_t>(w) * bytesPerPixel);
    }
    return 1;
}

}  // namespace

void GEShader::StoreInitArguments(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                                  unsigned int w, unsigned int h, unsigned char bCapture,
                                  int hintWidth, int hintHeight) {
    m_pSrcTexture = src;
    m_nOutput = out;
    m_nX = static_cast<int>(x);
    m_nY = static_cast<int>(y);
    m_nW = static_cast<int>(w);
    m_nH = static_cast<int>(h);
    m_nHintW = hintWidth;
    m_nHintH = hintHeight;
    m_bCapture = bCapture != 0;
}

int GEShader::Init(GLTexture* src, unsigned int, unsigned int, unsigned int, unsigned int w,
                   unsigned int h, unsigned char, IYUVConverter* cb) {
    LOG_INFO(gShaderLog, "[%s] enter", "Init");
    m_pCallback = cb;
    if (!InitYUVConverter(static_cast<int>(w), static_cast<int>(h), static_cast<int>(w),
                          static_cast<int>(h))) {
        return 0;
    }
    if (m_bCapture) {
        GenerateFence();
        LOG_INFO(gShaderLog, "[%s] fence %u generated", "Init", m_nFence);
    }
    m_crop = {0.0F, 0.0F, static_cast<float>(src->m_nWidth) / static_cast<float>(src->m_nStride),
              1.0F};
    LOG_INFO(gShaderLog, "[%s] leave", "Init");
    return 1;
}

// Nothing waits on it; without the extension there is none, and the name stays unset.
void GEShader::GenerateFence() {
    DeleteFence();
    if (const auto genFences = platform::ContextExtensions().glGenFencesNV) genFences(1, &m_nFence);
}

void GEShader::DeleteFence() {
    const platform::Extensions& extensions = platform::ContextExtensions();
    if (m_nFence == kNoFence || extensions.glIsFenceNV == nullptr ||
        !extensions.glIsFenceNV(m_nFence)) {
        return;
    }
    extensions.glDeleteFencesNV(1, &m_nFence);
    m_nFence = kNoFence;
}

int GEShader::Deinit() {
    LOG_INFO(gShaderLog, "[%s] enter", "Deinit");
    DeinitYUVConverter();
    if (m_bCapture) DeleteFence();
    LOG_INFO(gShaderLog, "[%s] leave", "Deinit");
    return 1;
}

int GEShader::ProcFrame(unsigned char* inY, unsigned char*, unsigned char* out, int imgW,
                        int imgH) {
    return ProcFrame(inY, out, imgW, imgH);
}

int GEShader::SetCrop(float x, float y, float w, float h) {
    const bool valid = x >= 0.0F && y >= 0.0F && w > 0.0F && h > 0.0F && x <= 1.0F && y <= 1.0F &&
                       w <= 1.0F && h <= 1.0F;
    m_crop = valid ? CropRect{x, y, w, h} : CropRect{};
    return 1;
}

void* GEShader::GetYDataBuf() {
    return m_pTexY != nullptr ? m_pTexY->GetSTDataBuf() : nullptr;
}

void* GEShader::GetUVDataBuf() {
    return m_pTexUV != nullptr ? m_pTexUV->GetSTDataBuf() : nullptr;
}

int GEShader::BindSrcTexture() {
    LOG_INFO(gShaderLog, "[%s] enter", "BindSrcTexture");
    if (m_pSrcTexture == nullptr) {
        LOG_ERROR(gShaderLog, "[%s] src texture is NULL\n", "BindSrcTexture");
        return 0;
    }
    m_pSrcTexture->Bind();
    LOG_INFO(gShaderLog, "[%s] leave", "BindSrcTexture");
    return CheckGLError("BindSrcTexture", "glBindTexture");
}

QuadCoords GEShader::PartialTexCoord(LogTag& log) const {
    LOG_INFO(log, "[%s] partial texcoord", "Init");
    const float shown = static_cast<float>(m_nW) / static_cast<float>(m_pSrcTexture->m_nStride);
    const QuadCoords coords = MakeQuadCoords(0.0F, 0.0F, shown, 1.0F);
    for (std::size_t i = 0; i < coords.size(); i += 2) {
        LOG_INFO(log, "[%s] %f:%f", "Init", static_cast<double>(coords[i]),
                 static_cast<double>(coords[i + 1]));
    }
    return coords;
}

bool GEShader::ReadyForCapture(LogTag& log) const {
    const char* fault = nullptr;
    if (!m_bInit) {
        fault = "effect not initialized";
    } else if (!m_bCapture) {
        fault = "Capture mode only";
    } else if (m_pCallback == nullptr) {
        fault = "callback not registered";
    }
    if (fault == nullptr) return true;
    LOG_ERROR(log, "[%s] %s", "ProcFrame", fault);
    return false;
}

bool GEShader::ReadyToDraw(LogTag& log) const {
    if (m_bInit && m_pFboRGB != nullptr) return true;
    LOG_ERROR(log, "[%s] effect not initialized", "ProcBlock");
    return false;
}

CaptureGeometry GEShader::captureGeometry(int imgW, int imgH) const {
    return {imgW, imgH, static_cast<int>(m_pSrcTexture->m_nWidth),
            static_cast<int>(m_pSrcTexture->m_nHeight), static_cast<int>(m_pSrcTexture->m_nStride)};
}

int GEShader::RunBlocks(LogTag& log, const BlockPlan& plan, unsigned char* out, int imgW, int imgH,
                        BlockTrace trace,
                        const std::function<void(const CaptureBlock&)>& beginBlock) {
    if (plan.blockCount() <= 0 || out == nullptr) return 0;
    void* pixels = GetDataBuf(m_pSrcTexture);
    if (pixels == nullptr) return 0;
    unsigned char* outUV = out + static_cast<std::size_t>(imgW) * static_cast<std::size_t>(imgH);
    m_nMaxRun = plan.blockCount();
    for (m_nRun = 0; m_nRun < m_nMaxRun; ++m_nRun) {
        if (trace != kTraceNothing) {
            LOG_INFO(log, ">> run %d ===================================================", m_nRun);
        }
        const CaptureBlock block = plan.block(m_nRun);
        m_nBlockX = block.output.x;
        m_nBlockY = block.output.y;
        m_nBlockW = m_nW = block.output.w;
        m_nBlockH = m_nH = block.output.h;
        m_texCoord = block.textureQuad;
        m_globalCoord = block.globalQuad;
        if (trace == kTraceRunsAndPlaces) LogPlace(log, block, imgW, imgH);
        if (beginBlock) beginBlock(block);
        m_pCallback->convertRect(pixels, static_cast<int>(m_pSrcTexture->GetStride()),
                                 static_cast<int>(m_pSrcTexture->m_nHeight), block.source.x,
                                 block.source.y, block.source.w, block.source.h);
        if (!ProcBlock(0, 0, imgW, imgH)) break;
        BlockCopyYUV(out, outUV, static_cast<unsigned>(imgW), static_cast<unsigned>(imgH),
                     static_cast<unsigned>(m_nBlockX), m_nBlockY, m_nBlockW, m_nBlockH);
    }
    const bool complete = m_nRun == m_nMaxRun;
    m_nRun = m_nMaxRun = m_nBlockX = m_nBlockY = 0;
    if (!complete) return 0;
    LOG_INFO(log, "[%s] leave", "ProcFrame");
    return 1;
}

int GEShader::BlockCopy(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx,
                        int sy) {
    constexpr const char* kName = "BlockCopy";
    if (src == nullptr || dst == nullptr) {
        LOG_ERROR(gShaderLog, "[%s] invalid src(%u) or dst(%u)\n", kName, AddressForLog(src),
                  AddressForLog(dst));
        return 0;
    }
    if (!src->isStreaming() || !dst->isStreaming()) {
        LOG_ERROR(gShaderLog, "[%s] only ST can use this method. src(%d) dst(%d)\n", kName,
                  src->isStreaming(), dst->isStreaming());
        return 0;
    }
    if (src->m_nFormat != dst->m_nFormat) {
        LOG_ERROR(gShaderLog, "[%s] inconsistent format. src(%u) dst(%u)\n", kName, src->m_nFormat,
                  dst->m_nFormat);
        return 0;
    }
    if (src->m_nType != dst->m_nType) {
        LOG_ERROR(gShaderLog, "[%s] inconsistent type. src(%u) dst(%u)\n", kName, src->m_nType,
                  dst->m_nType);
        return 0;
    }
    const unsigned format = src->m_nFormat;
    const unsigned type = src->m_nType;
    if (format == GL_RGB && type == GL_UNSIGNED_SHORT_5_6_5) {
        return BlkCpyRGB565(dst, x, y, w, h, src, sx, sy);
    }
    if (format == GL_RGBA && type == GL_UNSIGNED_BYTE) {
        return BlkCpyRGBA8888(dst, x, y, w, h, src, sx, sy);
    }
    if (format == GL_RGB) {
        LOG_ERROR(gShaderLog, "[%s] format %u type %u not support\n", kName, format, type);
    } else {
        LOG_ERROR(gShaderLog, "[%s] format %u not support\n", kName, format);
    }
    return 0;
}

int GEShader::BlkCpyRGB565(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx,
                           int sy) {
    return CopyPixels(dst, x, y, w, h, src, sx, sy, 2);
}

int GEShader::BlkCpyRGBA8888(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx,
                             int sy) {
    return CopyPixels(dst, x, y, w, h, src, sx, sy, 4);
}
