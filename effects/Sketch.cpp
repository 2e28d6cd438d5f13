#include "effects/Sketch.h"

#include "effects/SizeUpTexts.h"
#include "engine/CommonLocations.h"

namespace {

LogTag gSketchLog("GEShaderSketch");
LogTag gColorSketchLog("GEShaderColorSketch");

// A line where the luma lies more than 0.0219 below its surroundings; elsewhere the surroundings'
// luma in nine steps, the darkest of which is 0.2.
#define PENCIL                                              \
    "bool isLine(vec4 merge) {\n"                           \
    "  float edge = (merge.x - 0.484375) * 64.0;\n"         \
    "  return edge < 0.3;\n"                                \
    "}\n"                                                   \
    "\n"                                                    \
    "float paper(float luma) {\n"                           \
    "  return floor(luma * 8.0 + 0.5) / 8.0 * 0.8 + 0.2;\n" \
    "}\n"

// Grey is drawn as it is: the matrix has no part in it.
constexpr char kSketchFragment[] = SIZE_UP_INPUTS PENCIL
    R"glsl(
  void main() {
    vec4 blurred = texture2D(s_texBlur, v_blurTexCoord);
    vec4 clear = texture2D(s_texClear, v_textureCoord);
    vec4 merge = (1.0 - blurred + clear) / 2.0;
    float gray = isLine(merge) ? 0.0 : paper(blurred.x);
    gl_FragColor = vec4(gray, gray, gray, merge.w);
  }
)glsl";

constexpr char kColorSketchFragment[] = SIZE_UP_INPUTS PENCIL
    R"glsl(
  void main() {
    vec4 blurred = texture2D(s_texBlur, v_blurTexCoord);
    vec4 clear = texture2D(s_texClear, v_textureCoord);
    vec4 merge = (1.0 - blurred + clear) / 2.0;
    blurred.x = paper(blurred.x);
    gl_FragColor = isLine(merge) ? vec4(0.0, 0.0, 0.0, 1.0) : u_mat_yuv2rgb * blurred;
  }
)glsl";

constexpr GLLocation kLocations[] = {
    kVertexCoordRow, kTextureCoordRow, kBlurCoordRow,
    kBlurSamplerRow, kClearSamplerRow, kSizeUpMatrixRow,
};
// All but the matrix.
constexpr GLProgramTable kSketchTable = {kSizeUpVertex, kSketchFragment, kLocations,
                                         std::size(kLocations) - 1, 2};
constexpr GLProgramTable kColorSketchTable = {kSizeUpVertex, kColorSketchFragment, kLocations,
                                              std::size(kLocations), 2};

constexpr BlurTraits MakeTraits(LogTag& log) {
    return {log, 320, 960, 180, 544, 2.0F, 64, true, false};
}

constexpr BlurTraits kSketchTraits = MakeTraits(gSketchLog);
constexpr BlurTraits kColorSketchTraits = MakeTraits(gColorSketchLog);

}  // namespace

GLProgSketchBlur::GLProgSketchBlur() : GLProgBlur(gSketchLog) {}

GLProgSketchSizeUp::GLProgSketchSizeUp() : GLTableProgram(gSketchLog, kSketchTable) {}

GLProgColorSketchBlur::GLProgColorSketchBlur() : GLProgBlur(gColorSketchLog) {}

GLProgColorSketchSizeUp::GLProgColorSketchSizeUp()
    : GLTableProgram(gColorSketchLog, kColorSketchTable) {}

int SketchEffect::Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                       unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb) {
    return InitBlur(src, out, x, y, w, h, bCapture, cb) ? FinishInit() : 0;
}

int SketchEffect::SetParam(unsigned int, int, int, int, int) {
    return 0;
}

GEShaderSketch::GEShaderSketch() : SketchEffect(kSketchTraits) {}

GLProgBlur* GEShaderSketch::CreateBlurProgram() const {
    return new GLProgSketchBlur;
}

GLProgram* GEShaderSketch::CreateSizeUpProgram() const {
    return new GLProgSketchSizeUp;
}

QuadCoords& GEShaderSketch::previewQuad() const {
    thread_local QuadCoords quad = kQuadCoords;
    return quad;
}

GEShaderColorSketch::GEShaderColorSketch() : SketchEffect(kColorSketchTraits) {}

GLProgBlur* GEShaderColorSketch::CreateBlurProgram() const {
    return new GLProgColorSketchBlur;
}

GLProgram* GEShaderColorSketch::CreateSizeUpProgram() const {
    return new GLProgColorSketchSizeUp;
}

QuadCoords& GEShaderColorSketch::previewQuad() const {
    thread_local QuadCoords quad = kQuadCoords;
    return quad;
}
