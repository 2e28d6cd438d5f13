// Old photographs: a tone curve for each channel, and dark corners.
#pragma once

#include "effects/CurveEffect.h"

class POSTEFFECT_API GLProgVintage : public GLTableProgram {
  public:
    GLProgVintage();
};

class POSTEFFECT_API GLProgVintageLarge : public GLTableProgram {
  public:
    GLProgVintageLarge();

    using GLTableProgram::Load;
    int Load() override;
};

class POSTEFFECT_API GEShaderVintage : public CurveEffect {
  public:
    GEShaderVintage();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Group 0: a = the look, 0 cross, 1 cold, 2 warm, 3 sepia (which has no dark corners). Answers
    // 0 whatever it did.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;

  private:
    float m_fWidthComp = 1.0F;  // shown width over allocated width of the source texture
};
