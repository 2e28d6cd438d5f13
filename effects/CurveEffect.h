// What Vintage and Contrast share: a tone curve and a mask that darkens the corners, both textures,
// beside the source. Sampler slots: 0 source, 1 curve, 2 mask.
#pragma once

#include <memory>

#include "engine/CommonLocations.h"
#include "engine/DrawnTable.h"
#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

inline constexpr unsigned kCurveSlot = 1;
inline constexpr unsigned kVignetteSlot = 2;

// Vertex stage of the preview programs.
inline constexpr char kCurveVertex[] = R"glsl(
  attribute vec4 a_vertexCoord;
  attribute vec2 a_textureCoord;
  varying vec4 v_vertexCoord;
  varying vec2 v_textureCoord;

  void main() {
    gl_Position = a_vertexCoord;
    v_vertexCoord = a_vertexCoord;
    v_textureCoord = a_textureCoord;
  }
)glsl";

inline constexpr GLLocation kVignetteRow = {GLLocation::kSampler, "s_vignette", kVignetteSlot,
                                            "m_nSamplerLoc[SAMPLER_VIGNETTE]", "SAMPLER_VIGNETTE"};
inline constexpr GLLocation kCurveRow = {GLLocation::kSampler, "s_curve", kCurveSlot,
                                         "m_nSamplerLoc[SAMPLER_CURVE]", "SAMPLER_CURVE"};

class POSTEFFECT_API CurveEffect : public SinglePassEffect {
  public:
    ~CurveEffect() override;

  protected:
    bool ReadsPixelCentres() const override { return true; }
    void ReleaseTextures() override;
    using SinglePassEffect::SinglePassEffect;

    // Logs the beginning of an Init and stores its arguments; then the base's Init.
    int BeginInit(const char* title, GLTexture* src, unsigned int out, unsigned int x,
                  unsigned int y, unsigned int w, unsigned int h, unsigned char bCapture,
                  IYUVConverter* cb);
    // A curve from the file `name`, with the messages of an Init. Null on failure.
    std::unique_ptr<GLTexture> LoadCurve(const char* name, const char* creating,
                                         const char* failed) const;
    // The mask and the white texture that can stand in for it.
    bool LoadMasks();
    // False on failure; what was used before stays.
    bool UseCurve(GLTexture* curve, GLTexture* mask);
    bool UsesGlobalCoord() const override { return true; }

    std::unique_ptr<GLTexture> m_cross;
    std::unique_ptr<GLTexture> m_cold;
    std::unique_ptr<GLTexture> m_warm;
    std::unique_ptr<GLTexture> m_sepia;
    std::unique_ptr<GLTexture> m_mask;
    std::unique_ptr<GLTexture> m_white;

  private:
    GLTexture* m_tabulated = nullptr;  // the curve that the table is of
    std::unique_ptr<GLTexture> m_table;
};
