#include "effects/Dots.h"

#include <gralloc_priv.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"
#include "gl/CacheMaintenance.h"
#include "gl/RendererKind.h"

namespace {

LogTag gLog("GEShaderDot");

constexpr char kVertex[] = PASS_THROUGH_VERTEX("v_texCoord");

constexpr char kMaskVertex[] = R"glsl(
  attribute vec4 a_vertexCoord;
  attribute vec2 a_textureCoord;
  attribute vec2 a_maskTexCoord;
  varying vec2 v_texCoord;
  varying vec2 v_maskTexCoord;

  void main() {
    gl_Position = a_vertexCoord;
    v_texCoord = a_textureCoord;
    v_maskTexCoord = a_maskTexCoord;
  }
)glsl";

constexpr char kReduceFragment[] = R"glsl(
  precision highp float;
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;
  uniform vec4 u_crop;  // x, y, width, height: fractions
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec2 place = v_texCoord * u_crop.zw + u_crop.xy;
    gl_FragColor = u_mat_yuv2rgb * texture2D(s_texture0, place);
  }
)glsl";

constexpr char kEnlargeFragment[] = R"glsl(
  precision highp float;
  varying vec2 v_texCoord;
  varying vec2 v_maskTexCoord;
  uniform sampler2D s_texture0;
  uniform sampler2D s_dotMask;

  void main() {
    gl_FragColor = texture2D(s_texture0, v_texCoord) * texture2D(s_dotMask, v_maskTexCoord);
  }
)glsl";

constexpr char kReducePlanesFragment[] = R"glsl(
  precision highp float;
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;
  uniform sampler2D s_texture1;
  uniform mat4 u_mat_yuv2rgb;

  void main() {
    vec4 luma = texture2D(s_texture0, v_texCoord);
    vec4 chroma = texture2D(s_texture1, v_texCoord);
    gl_FragColor = u_mat_yuv2rgb * vec4(luma.r, chroma.r, chroma.a, 1.0);
  }
)glsl";

constexpr char kCopyFragment[] = R"glsl(
  precision highp float;
  varying vec2 v_texCoord;
  uniform sampler2D s_texture0;

  void main() {
    gl_FragColor = texture2D(s_texture0, v_texCoord);
  }
)glsl";

enum Sampler : unsigned { kInput, kSecond };
constexpr unsigned kCropSlot = 0;
constexpr unsigned kMaskCoordSlot = 0;

constexpr GLLocation kReduceLocations[] = {kVertexCoordRow, kTextureCoordRow, kInputRow,
                                           CropRow(kCropSlot), kColorMatrixRow};
constexpr GLLocation kEnlargeLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    {GLLocation::kAttribute, "a_maskTexCoord", kMaskCoordSlot, "ATTRIB_GLOBAL_TEX_COORD"},
    kInputRow,
    {GLLocation::kSampler, "s_dotMask", kSecond, "m_nSamplerLoc[SAMPLER_TEX_DOT_MASK]",
     "SAMPLER_TEX_DOT_MASK"},
};
constexpr GLLocation kReducePlanesLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputRow,
    {GLLocation::kSampler, "s_texture1", kSecond, "m_nSamplerLoc[SAMPLER_INPUT_TEX_UV]",
     "SAMPLER_INPUT_TEX_UV"},
    kColorMatrixRow,
};
constexpr GLLocation kCopyLocations[] = {kVertexCoordRow, kTextureCoordRow, kInputRow};

constexpr GLProgramTable kReduceTable = {kVertex, kReduceFragment, kReduceLocations,
                                         std::size(kReduceLocations), 1};
constexpr GLProgramTable kEnlargeTable = {kMaskVertex, kEnlargeFragment, kEnlargeLocations,
                                          std::size(kEnlargeLocations), 2};
constexpr GLProgramTable kReducePlanesTable = {
    kVertex, kReducePlanesFragment, kReducePlanesLocations, std::size(kReducePlanesLocations), 2};
constexpr GLProgramTable kCopyTable = {kVertex, kCopyFragment, kCopyLocations,
                                       std::size(kCopyLocations), 1};

constexpr int kHintWidth = 960;
constexpr int kHintHeight = 544;
constexpr int kFirstStrength = 50;

constexpr unsigned kSourceUsage = 304;  // written by the CPU, read by the GPU
constexpr int kSourceFormat = 1;        // RGBA 8888

constexpr const char* kRuleUp = ">>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>>";
constexpr const char* kRuleDown = "<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<<";

// The side of a capture's reduced texture where unused texels cost memory. No more texels than the
// cells of a block are drawn; a side that is smaller than the block's by a power of two keeps
// coordinates the same to the bit.
unsigned ReducedSide(unsigned side) {
    while (side % 2 == 0 && side / 2 >= 2 * CellPlan::kCells) side /= 2;
    return side;
}

// Texels up to the coordinate `end`.
GLsizei Shown(float end, GLsizei texels) {
    return static_cast<GLsizei>(std::clamp(end, 0.0F, 1.0F) * static_cast<float>(texels)) + 2;
}

}  // namespace

GLProgDotPass1::GLProgDotPass1() : GLTableProgram(gLog, kReduceTable) {}

GLProgDotPass2::GLProgDotPass2() : GLProgDotPass2(kEnlargeTable) {}

GLProgDotPass2::GLProgDotPass2(const GLProgramTable& table) : GLTableProgram(gLog, table) {}

GLProgDotPass2Large::GLProgDotPass2Large() : GLProgDotPass2(kEnlargeTable) {}

GLProgDotPass1Large::GLProgDotPass1Large() : GLTableProgram(gLog, kReducePlanesTable) {}

GLProgDotPass3Large::GLProgDotPass3Large() : GLTableProgram(gLog, kCopyTable) {}

GEShaderDot::~GEShaderDot() {
    if (m_bHoldsObjects) GEShaderDot::Deinit();
}

bool GEShaderDot::InitMasks() {
    for (unsigned i = 0; i < kMasks; ++i) {
        std::array<char, 128> path{};
        std::snprintf(path.data(), path.size(), "%sdot_mask_%d.bmp", "/system/media/GPU/",
                      static_cast<int>(i));
        m_apDotMask[i] = std::make_unique<GLTexture>();
        if (!m_apDotMask[i]->LoadBMP(path.data(), GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 0)) {
            LOG_ERROR(gLog, "[%s] can't load dot mask tex %s", "Init", path.data());
            return false;
        }
    }
    return true;
}

bool GEShaderDot::InitSizeDown(unsigned width, unsigned height, GLint wrap) {
    LOG_INFO(gLog, "[%s] Creating tex for pass size down", "Init");
    m_pSizeDownFbo.reset();
    m_pSizeDownTex = std::make_unique<GLTexture>();
    if (!m_pSizeDownTex->Init(GL_RGBA, GL_UNSIGNED_BYTE, width, height, 0)) return false;
    m_pSizeDownTex->SetSampling(wrap, GL_NEAREST);
    return true;
}

// The framebuffer of the reduction, and both programs.
bool GEShaderDot::InitPrograms(GLTexture* src) {
    LOG_INFO(gLog, "[%s] Creating fbo pass size down", "Init");
    m_pSizeDownFbo = std::make_unique<GLFbo>();
    if (!m_pSizeDownFbo->Init() || !m_pSizeDownFbo->SetColorAttachment(m_pSizeDownTex.get())) {
        return false;
    }
    LOG_INFO(gLog, "[%s] Creating dot shader pass1", "Init");
    m_pDotPass1 = std::make_unique<GLProgDotPass1>();
    m_pDotPass1->SetTextures(kInput, src);
    LOG_INFO(gLog, "[%s] Creating dot shader pass2", "Init");
    m_pDotPass2.reset(m_bCapture ? new GLProgDotPass2Large : new GLProgDotPass2);
    m_pDotPass2->SetTextures(kInput, m_pSizeDownTex.get());
    m_pDotPass2->SetTextures(kSecond, m_apDotMask[m_nMaskIdx].get());
    for (GLProgram* program : {m_pDotPass1.get(), m_pDotPass2.get()}) {
        if (program->Load()) continue;
        LOG_ERROR(gLog, "[%s] can't load program", m_bCapture ? "ProcFrame" : "Init");
        return false;
    }
    return true;
}

int GEShaderDot::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                      unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    LOG_INFO(gLog, "%s", kRuleUp);
    LOG_INFO(gLog, "[GEShaderDot::Init]");
    LOG_INFO(gLog, "%s", kRuleUp);
    LOG_INFO(gLog, "[%s] enter", "Init");
    StoreInitArguments(src, out, x, y, w, h, bCapture, kHintWidth, kHintHeight);
    m_bHoldsObjects = true;
    if (m_bCapture) {
        // The rest is made for the cells of the image, when it comes.
        m_pCallback = cb;
        m_crop = CropRect();
    } else if (!GEShader::Init(src, out, x, y, w, h, bCapture, cb) ||
               !InitSizeDown(w, h, GL_CLAMP_TO_EDGE)) {
        return 0;
    }
    if (!InitMasks()) return 0;
    m_nMaskIdx = 2;
    if (!m_bCapture && !InitPrograms(src)) return 0;
    m_fScreenRatio = static_cast<float>(src->m_nWidth) / static_cast<float>(src->m_nHeight);
    LOG_INFO(gLog, "[%s] screen ratio = %u/%u = %f", "Init", src->m_nWidth, src->m_nHeight,
             static_cast<double>(m_fScreenRatio));
    m_bInit = true;
    SetParam(0, kFirstStrength, 0, 0, 0);
    LOG_INFO(gLog, "[%s] leave", "Init");
    LOG_INFO(gLog, "[GEShaderDot::Init] leave");
    LOG_INFO(gLog, "%s", kRuleUp);
    return 1;
}

int GEShaderDot::Deinit() {
    LOG_INFO(gLog, "%s", kRuleDown);
    LOG_INFO(gLog, "[GEShaderDot::Deinit]");
    m_bInit = false;
    m_pDotPass1.reset();
    m_pDotPass2.reset();
    m_pSizeDownFbo.reset();
    m_pSizeDownTex.reset();
    for (auto& mask : m_apDotMask) mask.reset();
    GEShader::Deinit();
    m_pBlockTexture.reset();
    m_spSrcBuffer.clear();
    m_bHoldsObjects = false;
    LOG_INFO(gLog, "[GEShaderDot::Deinit] leave");
    LOG_INFO(gLog, "%s", kRuleDown);
    return 1;
}

int GEShaderDot::SetParam(unsigned int type, int p0, int, int, int) {
    if (!m_bInit) {
        LOG_ERROR(gLog, "[%s] effect not initialized", "SetParam");
        return 0;
    }
    if (type != 0) return 1;
    const auto height = static_cast<float>(m_nH);
    const float smallest = height / 68.0F;
    const float largest = height / 30.0F;
    const float step = (largest - smallest) / 100.0F;
    if (m_fDotSizeMid == 0.0F) m_fDotSizeMid = (largest + smallest) * 0.5F;
    m_nMaskIdx = p0 >= 51 ? 2 : 1;
    m_fDotSize = smallest + static_cast<float>(p0) * step;
    return 1;
}

int GEShaderDot::SetCrop(int, int, int, int) {
    return 1;
}

// Where a texture over the buffer would be a copy: into the target's own texture. Once the block is
// reduced, the result is drawn over it.
void GEShaderDot::UploadBlock() {
    m_pTexRGB->SetSampling(GL_REPEAT, GL_LINEAR);
    const private_handle_t* pixels =
        private_handle_t::dynamicCast(m_spSrcBuffer->getNativeBuffer()->handle);
    glTexSubImage2D(GL_TEXTURE_2D, 0, 0, 0, static_cast<GLsizei>(m_pTexRGB->m_nWidth),
                    static_cast<GLsizei>(m_pTexRGB->m_nHeight), GL_RGBA, GL_UNSIGNED_BYTE,
                    pixels->base);
}

int GEShaderDot::ProcBlock(unsigned int, unsigned int, int, int) {
    if (!ReadyToDraw(gLog)) return 0;
    if (m_bCapture) clean_buffer(m_spSrcBuffer);  // the block was written by the CPU
    if (m_bCapture && m_bSoftware) UploadBlock();
    m_pSizeDownFbo->Bind();
    const auto width = static_cast<GLsizei>(m_pSizeDownTex->m_nWidth);
    const auto height = static_cast<GLsizei>(m_pSizeDownTex->m_nHeight);
    // A capture's may be larger than the texture, which holds the corner that is drawn.
    glViewport(0, 0, width * m_reducedBy, height * m_reducedBy);
    if (!m_pDotPass1->Use()) return 0;
    // No more of the cells than are shown, and one for what roundings reach.
    glEnable(GL_SCISSOR_TEST);
    glScissor(0, 0, Shown(m_enlargeCoord[4], width), Shown(m_enlargeCoord[1], height));
    m_pDotPass1->Uniform4f(kCropSlot, m_drawnCrop.x, m_drawnCrop.y, m_drawnCrop.w, m_drawnCrop.h);
    m_pDotPass1->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    m_pDotPass1->SetTextureCoord(kQuadCoordSize, m_reduceCoord.data());
    m_pDotPass1->Draw();
    glDisable(GL_SCISSOR_TEST);
    if (m_bCapture && m_bSoftware) m_pTexRGB->SetSampling(GL_CLAMP_TO_EDGE, GL_LINEAR);

    m_pFboRGB->Bind();
    glViewport(m_nX, m_nY, m_nW, m_nH);
    // Anew each time, so that a change of mask takes effect at once.
    m_pDotPass2->SetTextures(kSecond, m_apDotMask[m_nMaskIdx].get());
    if (!m_pDotPass2->Use()) return 0;
    m_pDotPass2->SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    m_pDotPass2->SetTextureCoord(kQuadCoordSize, m_enlargeCoord.data());
    m_pDotPass2->VertexAttribPointer(kMaskCoordSlot, kQuadCoordSize, m_maskCoord.data());
    m_pDotPass2->Draw();
    FinishPicture();
    return 1;
}

int GEShaderDot::ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) {
    const char* fault = nullptr;
    if (!m_bInit) {
        fault = "effect not initialized";
    } else if (m_bCapture) {
        fault = "Preview mode only";
    }
    if (fault != nullptr) {
        LOG_ERROR(gLog, "[%s] %s", "ProcFrame", fault);
        return 0;
    }
    // Parameters far below their range would make cells of no size.
    const float cell = m_fDotSize > 0.0F ? m_fDotSize : 1.0F;
    const auto width = static_cast<float>(m_pSrcTexture->m_nWidth);
    const auto height = static_cast<float>(m_pSrcTexture->m_nHeight);
    const float shown = static_cast<float>(m_nW) / static_cast<float>(m_pSrcTexture->m_nStride);
    // The picture goes into the first 1 / cell of the reduced one, a texel for each cell.
    m_reduceCoord = MakeQuadCoords(0.0F, 0.0F, shown * cell, cell);
    m_enlargeCoord = MakeQuadCoords(0.0F, 0.0F, 1.0F / cell, 1.0F / cell);
    m_maskCoord = MakeQuadCoords(0.0F, 0.0F, width / cell, height / cell);
    m_drawnCrop = m_crop;
    return ProcBlock(srcTex, dstTex, w, h);
}

int GEShaderDot::ProcFrame(unsigned char*, unsigned char*, int, int) {
    LOG_INFO(gLog, "[%s] enter", "ProcFrame");
    LOG_INFO(gLog, "[%s] Deprecated function for processing snapshot of Dot effect", "ProcFrame");
    LOG_INFO(gLog, "[%s] leave", "ProcFrame");
    return 0;
}

int GEShaderDot::clean_buffer(const android::sp<android::GraphicBuffer>& buffer) {
    return CleanCache(gLog, buffer.get());
}

// The square texture of a capture's blocks, and the targets and programs that go with it.
bool GEShaderDot::InitCaptureSource(int side, IYUVConverter* cb) {
    const auto length = static_cast<unsigned>(side);
    m_pBlockTexture.reset();
    m_spSrcBuffer = new android::GraphicBuffer(length, length, kSourceFormat, kSourceUsage);
    m_pBlockTexture = std::make_unique<GLTexture>();
    m_bSoftware = DrawsForSoftware();
    if (m_bSoftware) m_pBlockTexture->LeaveToCPU();
    if (m_spSrcBuffer->initCheck() != 0 ||
        !m_pBlockTexture->Init(m_spSrcBuffer->getNativeBuffer(), GL_RGBA, GL_UNSIGNED_BYTE, length,
                               length)) {
        LOG_ERROR(gLog, "[%s] can't init m_pSrcTexture", "ProcFrame");
        return false;
    }
    if (!m_bSoftware) m_pBlockTexture->SetSampling(GL_REPEAT, GL_LINEAR);
    const CropRect crop = m_crop;
    const bool made = GEShader::Init(m_pBlockTexture.get(), 0, 0, 0, length, length, 1, cb) != 0;
    m_crop = crop;
    const unsigned reduced = m_bSoftware ? ReducedSide(length) : length;
    m_reducedBy = static_cast<int>(length / reduced);
    return made && InitSizeDown(reduced, reduced, GL_REPEAT) &&
           InitPrograms(m_bSoftware ? m_pTexRGB : m_pBlockTexture.get());
}

void GEShaderDot::BeginBlock(const CaptureBlock& block) {
    const Rect& place = block.output;
    const auto cells = [&](int pixels) { return static_cast<float>(pixels) / m_captureCell; };
    m_maskCoord = MakeQuadCoords(cells(place.x), cells(place.y), cells(place.x + place.w),
                                 cells(place.y + place.h));
    m_reduceCoord = block.reduceQuad;
    m_enlargeCoord = block.reducedQuad;
    for (float& coord : m_enlargeCoord) coord *= static_cast<float>(m_reducedBy);
}

int GEShaderDot::ProcCells(unsigned char* out, int imgW, int imgH, float cellSize) {
    const int side = CellPlan::textureSide(cellSize);
    GLint largest = 0;
    glGetIntegerv(GL_MAX_TEXTURE_SIZE, &largest);
    if (side == 0 || side > largest || !InitCaptureSource(side, m_pCallback)) return 0;
    m_captureCell = cellSize;
    m_drawnCrop = CropRect();
    const CellPlan plan({imgW, imgH, side, side, side}, m_crop, cellSize);
    GLTexture* const preview = m_pSrcTexture;
    m_pSrcTexture = m_pBlockTexture.get();
    const int result = RunBlocks(gLog, plan, out, imgW, imgH, kTraceNothing,
                                 [this](const CaptureBlock& block) { BeginBlock(block); });
    m_pSrcTexture = preview;
    return result;
}

int GEShaderDot::ProcFrame(unsigned char*, unsigned char*, unsigned char* out, int imgW, int imgH) {
    if (!ReadyForCapture(gLog)) return 0;
    // Of the image's height what a cell of the preview is of its own.
    const float cellSize =
        static_cast<float>(imgH) / static_cast<float>(m_pSrcTexture->m_nHeight) * m_fDotSize;
    return ProcCells(out, imgW, imgH, cellSize);
}
