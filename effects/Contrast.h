// Hard black and white with dark corners.
#pragma once

#include "effects/CurveEffect.h"

class POSTEFFECT_API GLProgContrast : public GLTableProgram {
  public:
    GLProgContrast();
};

class POSTEFFECT_API GLProgContrastLarge : public GLTableProgram {
  public:
    GLProgContrastLarge();
};

class POSTEFFECT_API GEShaderContrast : public CurveEffect {
  public:
    GEShaderContrast();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Group 0: a = 0, the only look. Answers 0 whatever it did.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
};
