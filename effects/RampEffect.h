// What the graded looks share: luma is stretched, bent by two rows of the contrast ramp and turned
// to colours, with a second look-up texture to colour or darken them. Sampler slots: 0 source, 1
// the look's own texture, 2 contrast ramp.
#pragma once

#include <array>
#include <memory>

#include "engine/CommonLocations.h"
#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

inline constexpr unsigned kLookSlot = 1;
inline constexpr unsigned kContrastSlot = 2;

// Defines bent(luma): luma mapped from [clip.x, clip.y] to [clip.z, clip.w], then through the
// contrast ramp's rows control.x (stored red) and control.y (green).
#define BENT_LUMA                                                                            \
    "uniform sampler2D g_sContrastTexture;\n"                                                \
    "uniform vec4 g_fvClipping;\n"                                                           \
    "uniform vec4 g_fvController;\n"                                                         \
    "float bent(float luma) {\n"                                                             \
    "  float inside = clamp(luma - g_fvClipping.x, 0.0, g_fvClipping.y - g_fvClipping.x);\n" \
    "  luma = inside * (g_fvClipping.w - g_fvClipping.z) /\n"                                \
    "      (g_fvClipping.y - g_fvClipping.x) + g_fvClipping.z;\n"                            \
    "  luma = texture2D(g_sContrastTexture, vec2(luma, g_fvController.x)).z;\n"              \
    "  return texture2D(g_sContrastTexture, vec2(luma, g_fvController.y)).y;\n"              \
    "}\n"

// Defines gradedLuma(luma), for levels of the source: bent, or what a table of all levels has of
// it.
#define GRADED_LUMA                                                 \
    "#ifdef FOR_SOFTWARE\n"                                         \
    "uniform sampler2D g_sContrastTexture;\n"                       \
    "uniform vec4 g_fvController;\n"                                \
    "float gradedLuma(float luma) {\n"                              \
    "  float texel = (luma * 255.0 + 0.5) / 256.0;\n"               \
    "  return texture2D(g_sContrastTexture, vec2(texel, 0.5)).x;\n" \
    "}\n"                                                           \
    "#else\n" BENT_LUMA                                             \
    "float gradedLuma(float luma) { return bent(luma); }\n"         \
    "#endif\n"

// Vertex stages of these looks.
#define RAMP_VERTEX                     \
    "attribute vec4 g_vVertex;\n"       \
    "attribute vec2 a_textureCoord;\n"  \
    "varying vec2 g_vTexCoord;\n"       \
    "void main() {\n"                   \
    "  gl_Position = g_vVertex;\n"      \
    "  g_vTexCoord = a_textureCoord;\n" \
    "}\n"
#define RAMP_LARGE_VERTEX                      \
    "attribute vec4 g_vVertex;\n"              \
    "attribute vec2 a_textureCoord;\n"         \
    "attribute vec2 a_globalTexCoord;\n"       \
    "varying vec2 g_vTexCoord;\n"              \
    "varying vec2 v_globalTexCoord;\n"         \
    "void main() {\n"                          \
    "  gl_Position = g_vVertex;\n"             \
    "  g_vTexCoord = a_textureCoord;\n"        \
    "  v_globalTexCoord = a_globalTexCoord;\n" \
    "}\n"

enum RampUniform : unsigned { kClip, kControl };

inline constexpr GLLocation kRampVertexRow = {GLLocation::kVertexCoord, "g_vVertex", 0,
                                              "m_nVerCoordLoc"};
inline constexpr GLLocation kRampInputRow = {GLLocation::kSampler, "g_sImageTexture", 0,
                                             "m_nSamplerLoc[SAMPLER_INPUT_TEX]",
                                             "SAMPLER_INPUT_TEX"};
inline constexpr GLLocation kRampMaskRow = {GLLocation::kSampler, "g_sMaskTexture", kLookSlot,
                                            "m_nSamplerLoc[SAMPLER_TEX_MASK]", "SAMPLER_TEX_MASK"};
inline constexpr GLLocation kContrastRow = {GLLocation::kSampler, "g_sContrastTexture",
                                            kContrastSlot, "m_nSamplerLoc[SAMPLER_TEX_CONTRAST]",
                                            "SAMPLER_TEX_CONTRAST"};
inline constexpr GLLocation kClipRow = {GLLocation::kUniform, "g_fvClipping", kClip,
                                        "m_pnUniLoc[UNIFORM_CLIP]", "UNIFORM_CLIP"};
inline constexpr GLLocation kControlRow = {GLLocation::kUniform, "g_fvController", kControl,
                                           "m_pnUniLoc[UNIFORM_CONTROL]", "UNIFORM_CONTROL"};

// A look in numbers and names.
struct RampLook {
    const char* title;  // of the banner; null: no banner
    const char* file;   // of the look's own texture, in the system's media folder
    unsigned format;
    const char* fileFailed;      // "[%s] <this>"
    const char* contrastFailed;  // "[%s] <this>"
    std::array<float, 4> clip;
    std::array<float, 4> control;
    bool logsScreenRatio;
    bool isCurve;  // the look's own texture is read by onCurve, at control.z
};

class POSTEFFECT_API RampEffect : public SinglePassEffect {
  public:
    ~RampEffect() override;

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Group 0 keeps a strength that no pass reads.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    bool ReadsPixelCentres() const override { return true; }
    void ReleaseTextures() override;
    RampEffect(const SinglePassTraits& traits, const RampLook& look)
        : SinglePassEffect(traits), m_look(look) {}

    void SetUniforms(GLProgram& program) override;
    // The size that an Init stores as its hint.
    virtual void StoreHints();
    // The look's own texture, without messages; null on failure.
    virtual GLTexture* LoadLook();
    // How a whole frame's texture coordinates are set up.
    virtual void InitTexCoord() { InitPartialTexCoord(); }

    const RampLook& look() const { return m_look; }

  private:
    bool UseTables();

    const RampLook& m_look;
    float m_fStrength = 0.0F;
    float m_fScreenRatio = 1.0F;
    std::unique_ptr<GLTexture> m_lookTexture;
    std::unique_ptr<GLTexture> m_contrast;
};
