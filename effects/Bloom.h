// Brightens each pixel by its own luma: bright parts flare, dark ones sink.
#pragma once

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"

class POSTEFFECT_API GLProgBloom : public GLTableProgram {
  public:
    GLProgBloom();
};

class POSTEFFECT_API GLProgBloomLarge : public GLTableProgram {
  public:
    GLProgBloomLarge();
};

class POSTEFFECT_API GEShaderBloom : public SinglePassEffect {
  public:
    GEShaderBloom();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Has no parameters: changes nothing.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
    bool ReadsPixelCentres() const override { return true; }
};
