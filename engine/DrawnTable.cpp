#include "engine/DrawnTable.h"

#include <iterator>

#include "engine/CommonLocations.h"
#include "engine/ShaderTexts.h"
#include "gl/GLFbo.h"
#include "gl/StandardQuad.h"

namespace {

constexpr unsigned kCurveTableSide = 256;

constexpr char kFragment[] = R"glsl(
  // The curve at each of the table's places.
  precision highp float;
  varying vec2 v_textureCoord;
  uniform sampler2D s_texture0;
  uniform float u_row;

  void main() {
    vec2 place = floor(v_textureCoord * 256.0);
    float at = (place.y * 256.0 + place.x) / 65536.0;
    gl_FragColor = texture2D(s_texture0, vec2(at, u_row));
  }
)glsl";

constexpr unsigned kRow = 0;
constexpr GLLocation kLocations[] = {
    kVertexCoordRow,
    kTextureCoordRow,
    kInputRow,
    {GLLocation::kUniform, "u_row", kRow, "m_nUniformLoc[UNIFORM_ROW]"},
};
constexpr GLProgramTable kTable = {PASS_THROUGH_VERTEX("v_textureCoord"), kFragment, kLocations,
                                   std::size(kLocations), 1};

class CurveTableProgram : public GLTableProgram {
  public:
    CurveTableProgram(LogTag& log, float row) : GLTableProgram(log, kTable), m_row(row) {}
    bool Use() override { return GLTableProgram::Use() && Uniform1f(kRow, m_row); }

  private:
    float m_row;
};

}  // namespace

std::unique_ptr<GLTexture> DrawTable(GLTableProgram& program, GLTexture* input, unsigned width,
                                     unsigned height) {
    auto table = std::make_unique<GLTexture>();
    GLFbo framebuffer;
    if (!program.Load() || !table->Init(GL_RGBA, GL_UNSIGNED_BYTE, width, height, 0) ||
        !framebuffer.Init() || !framebuffer.SetColorAttachment(table.get())) {
        return nullptr;
    }
    table->SetSampling(GL_CLAMP_TO_EDGE, GL_NEAREST);
    framebuffer.Bind();
    glViewport(0, 0, static_cast<GLsizei>(width), static_cast<GLsizei>(height));
    program.SetTextures(0, input);
    if (!program.Use()) return nullptr;
    program.SetVertexCoord(kQuadPositionSize, kQuadPositions.data());
    program.SetTextureCoord(kQuadCoordSize, kQuadCoords.data());
    program.Draw();
    return table;
}

std::unique_ptr<GLTexture> DrawCurveTable(LogTag& log, GLTexture* curve, float row) {
    CurveTableProgram program(log, row);
    return DrawTable(program, curve, kCurveTableSide, kCurveTableSide);
}
