#include "effects/TiltShift.h"

#include <posteffect/TiltShift.h>

#include <algorithm>
#include <atomic>
#include <cmath>

#include "effects/SizeUpTexts.h"
#include "engine/CommonLocations.h"

namespace {

LogTag gLog("GEShaderTS");

constexpr char kFragment[] = SIZE_UP_INPUTS
    R"glsl(
  // From the line of slope u_fM through u_finger.
  uniform float u_fM;
  uniform vec2 u_finger;

  float distanceFromFocus() {
    float b = -(u_fM * u_finger.x + u_finger.y);
    return abs(u_fM * v_textureCoord.x + v_textureCoord.y + b) / sqrt(u_fM * u_fM + 1.0);
  }
)glsl" SIZE_UP_BY_DISTANCE;

constexpr char kLargeFragment[] = SIZE_UP_INPUTS
    R"glsl(
  // From the level or upright line through u_center.
  varying vec2 v_globalTexCoord;
  uniform vec2 u_center;
  uniform float u_fIsPortrait;  // 1 for an upright band; never set, so bands are level

  float distanceFromFocus() {
    vec2 shift = v_globalTexCoord - u_center;
    return abs(u_fIsPortrait * shift.x + (1.0 - u_fIsPortrait) * shift.y);
  }
)glsl" SIZE_UP_BY_DISTANCE;

constexpr GLLocation kLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kBlurCoordRow,
    kBlurSamplerRow,
    kClearSamplerRow,
    {GLLocation::kUniform, "u_finger", kFocusCenter, "m_nUniformLoc[UNIFORM_FINGER]",
     "UNIFORM_FINGER"},
    kFocusDistanceRow,
    kFocusMixWeightRow,
    {GLLocation::kUniform, "u_fM", kFocusShape, "m_nUniformLoc[UNIFORM_M]", "UNIFORM_M"},
    kSizeUpMatrixRow,
};
constexpr GLProgramTable kTable = {kSizeUpVertex, kFragment, kLocations, std::size(kLocations), 2};

constexpr GLLocation kLargeLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kBlurCoordRow,
    kBlurSamplerRow,
    kClearSamplerRow,
    kFocusCenterRow,
    kFocusDistanceRow,
    kFocusMixWeightRow,
    // Looked up in a slot of its own: the slope's is set and must not reach it.
    {GLLocation::kUniform, "u_fIsPortrait", kFocusMixWeight + 1,
     "m_nUniformLoc[UNIFORM_IS_PORTRAIT]", "UNIFORM_IS_PORTRAIT"},
    kSizeUpMatrixRow,
    kSizeUpGlobalCoordRow,
};
constexpr GLProgramTable kLargeTable = {kSizeUpLargeVertex, kLargeFragment, kLargeLocations,
                                        std::size(kLargeLocations), 2};

constexpr BlurTraits kTraits = {gLog, 320, 800, 192, 480, 1.0F, 0, false, true};

// Steps of the kernel that a capture's overlap covers on each side.
constexpr float kOverlapSteps = 5.0F;

// Whole pixels that hold so many; twice them is an int, whatever the picture.
int HalfOverlap(float pixels) {
    return static_cast<int>(std::ceil(std::min(pixels, 1.0e9F)));
}

std::atomic<float> gAngle{0.0F};  // degrees

// The angle to draw with; those whose tangent is no use are moved, for good.
float UsableAngle() {
    float angle = gAngle.load();
    const float nudged = angle == 90.0F ? 89.99F : angle == 180.0F ? 179.99F : angle;
    // Another angle that arrives meanwhile is left alone.
    if (nudged != angle) gAngle.compare_exchange_strong(angle, nudged);
    return nudged;
}

}  // namespace

void setTiltShiftAngle(float degrees) {
    if (std::isfinite(degrees)) gAngle = degrees;
}

float tiltShiftAngle() {
    return gAngle;
}

GLProgTSPassBlur::GLProgTSPassBlur() : GLProgBlur(gLog) {}

GLProgTSPassSizeUp::GLProgTSPassSizeUp() : GLTableProgram(gLog, kTable) {}

GLProgTSPassSizeUpLarge::GLProgTSPassSizeUpLarge() : GLTableProgram(gLog, kLargeTable) {}

GEShaderTS::GEShaderTS() : FocusEffect(kTraits) {}

GLProgBlur* GEShaderTS::CreateBlurProgram() const {
    return new GLProgTSPassBlur;
}

GLProgram* GEShaderTS::CreateSizeUpProgram() const {
    if (m_bCapture) return new GLProgTSPassSizeUpLarge;
    return new GLProgTSPassSizeUp;
}

// Made anew by every Init.
QuadCoords& GEShaderTS::previewQuad() const {
    thread_local QuadCoords quad = kQuadCoords;
    return quad;
}

int GEShaderTS::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                     unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    ResetFocus();
    m_fSlope = 0.0F;
    if (!InitBlur(src, out, x, y, w, h, bCapture, cb)) return 0;
    previewQuad() = PartialTexCoord(gLog);
    return FinishInit();
}

void GEShaderTS::SetEdge(const FocusDistance& distance) {
    const double ratio = static_cast<double>(m_nW) / m_nH;
    const double radius =
        static_cast<double>(distance.length) - (1.0 - ratio) * static_cast<double>(distance.dx);
    const double inner = radius - kHalfEdge;
    const double outer = radius + kHalfEdge;
    // Squares, though plain distances are compared with them: bands come out narrow.
    m_inner = static_cast<float>(inner * inner);
    m_outer = static_cast<float>(outer * outer);
}

void GEShaderTS::SetSizeUpUniforms(GLProgram& program) {
    const float angle = UsableAngle();
    m_fSlope = static_cast<float>(std::tan(static_cast<double>(angle) * 3.1415926 / 180.0));
    LOG_INFO(gLog, "[%s] angle %f, slope %f", "ProcBlock", static_cast<double>(angle),
             static_cast<double>(m_fSlope));
    FocusEffect::SetSizeUpUniforms(program);
    program.Uniform1f(kFocusShape, m_fSlope);
}

void GEShaderTS::BeginBlock(const CaptureBlock& block) {
    LOG_INFO(gLog, "[%s] VP W=%d, H=%d, sW=%d, sH=%d", "ProcFrame", m_nW, m_nH,
             static_cast<int>(blurWidth()), static_cast<int>(blurHeight()));
    LOG_INFO(gLog, "[%s] m_uStartX=%d, m_uStartY=%d, m_uRgnW=%d, m_uRgnH=%d", "ProcFrame",
             block.output.x, block.output.y, block.output.w, block.output.h);
    const QuadCoords& place = block.globalQuad;
    LOG_INFO(gLog, "[%s] [%.4f:%.4f] to [%.4f:%.4f]", "ProcFrame", static_cast<double>(place[2]),
             static_cast<double>(place[3]), static_cast<double>(place[6]),
             static_cast<double>(place[7]));
    LOG_INFO(gLog, "[%s] Copy from large src tex", "ProcFrame");
    // The whole texture is blurred and the block's part of it shown, of both pictures alike.
    m_blurInputCoord = previewQuad();
    m_blurOutputCoord = kQuadCoords;
    m_blurredCoord = block.textureQuad;
}

int GEShaderTS::ProcFrame(unsigned char*, unsigned char* out, int imgW, int imgH) {
    if (!ReadyForCapture(gLog)) return 0;
    LOG_INFO(gLog, "[%s] enter", "ProcFrame");
    const CaptureGeometry geometry = captureGeometry(imgW, imgH);
    const auto width = static_cast<float>(geometry.blockWidth);
    const auto height = static_cast<float>(geometry.blockHeight);
    const float stepX = static_cast<float>(imgW) / width * (1.0F / width);
    const float stepY = static_cast<float>(imgH) / height * (1.0F / height);
    LOG_INFO(gLog, "[%s] capture, pixel step X=%.6f Y=%.6f", "ProcFrame",
             static_cast<double>(stepX), static_cast<double>(stepY));
    SetupPixelStep(stepX, stepY);
    const int halfX = (HalfOverlap(kOverlapSteps * stepX * width) + 1) & ~1;
    const int halfY = HalfOverlap(kOverlapSteps * stepY * height);
    m_nOverlapX = 2 * halfX;
    m_nOverlapY = 2 * halfY;
    const OverlapPlan plan(geometry, halfX, halfY);
    LOG_INFO(gLog,
             "[%s] nImgWidth=%d, nImgHeight=%d, fProcW=%f, fProcH=%f, nHalfOvX=%d nHalfOvY=%d, "
             "max run = %d",
             "ProcFrame", imgW, imgH, static_cast<double>(width), static_cast<double>(height),
             halfX, halfY, plan.blockCount());
    return RunBlocks(gLog, plan, out, imgW, imgH, kTraceRuns,
                     [this](const CaptureBlock& block) { BeginBlock(block); });
}
