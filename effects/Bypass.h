// The model effect: draws the picture as it is. No effect number creates it; make one directly.
#pragma once

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"

class POSTEFFECT_API GLProgBypass : public GLTableProgram {
  public:
    GLProgBypass();
};

class POSTEFFECT_API GEShaderBypass : public SinglePassEffect {
  public:
    GEShaderBypass();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Has no parameters: changes nothing.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
    bool ReadsPixelCentres() const override { return true; }
};
