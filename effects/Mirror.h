// Folds the picture about its middle: one half stays, the other becomes its reflection.
#pragma once

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"

// Preview. Landscape folds left over right, otherwise top over bottom.
class POSTEFFECT_API GLProgMirror : public GLTableProgram {
  public:
    explicit GLProgMirror(bool landscape);

  protected:
    GLProgMirror(bool landscape, const GLProgramTable& table);
    void BeginLoad() override;

  private:
    bool m_landscape;
};

// Capture. Each block is folded about its own middle: pictures of several blocks become as many
// folds, so whole folds need blocks as large as the picture.
class POSTEFFECT_API GLProgMirrorLarge : public GLProgMirror {
  public:
    explicit GLProgMirrorLarge(bool landscape);
};

class POSTEFFECT_API GEShaderMirror : public SinglePassEffect {
  public:
    GEShaderMirror();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Has no parameters.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
    bool ReadsPixelCentres() const override { return true; }
};
