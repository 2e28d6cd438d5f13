// Colours shadows and highlights differently, under dark corners. CM replaces the picture's own
// colours by a pair of tones; SC shifts them against each other and halves them.
#pragma once

#include "effects/RampEffect.h"

class POSTEFFECT_API GLProgSplitToningCM : public GLTableProgram {
  public:
    GLProgSplitToningCM();
};

class POSTEFFECT_API GLProgSplitToningCMLarge : public GLTableProgram {
  public:
    GLProgSplitToningCMLarge();
};

class POSTEFFECT_API GLProgSplitToningSC : public GLTableProgram {
  public:
    GLProgSplitToningSC();
};

class POSTEFFECT_API GLProgSplitToningSCLarge : public GLTableProgram {
  public:
    GLProgSplitToningSCLarge();
};

class POSTEFFECT_API GEShaderSplitToningCM : public RampEffect {
  public:
    using Tones = std::array<float, 4>;  // U, V of highlights, U, V of shadows

    GEShaderSplitToningCM();

    // Group 0: a = place on the ramp of five pairs of tones, 0..100.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

    // The tones at a place of the ramp. Places 24 and 25 are the same key, as are 49 and 50, 74 and
    // 75, 99 and 100. Places outside the ramp continue a segment of it.
    static Tones TonesAt(int place);

  protected:
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;
    bool UsesGlobalCoord() const override { return true; }
    std::unique_ptr<BlockPlan> MakePlan(const CaptureGeometry& geometry) const override;
    void StoreHints() override;
    GLTexture* LoadLook() override;
    // The preview's program crops by itself.
    void InitTexCoord() override;

  private:
    Tones m_tones{0.5F, 0.5F, 0.5F, 0.5F};
    float m_fWidthComp = 1.0F;  // shown width over allocated width of the source texture
};

class POSTEFFECT_API GEShaderSplitToningSC : public RampEffect {
  public:
    GEShaderSplitToningSC();

  protected:
    GLProgram* CreateProgram() const override;
    bool UsesGlobalCoord() const override { return true; }
    void StoreHints() override;
};
