// Pencil drawings: black lines where the picture is darker than its blurred surroundings, on the
// paper's grey or on the blurred picture's colours.
#pragma once

#include "effects/BlurEffect.h"

class POSTEFFECT_API GLProgSketchBlur : public GLProgBlur {
  public:
    GLProgSketchBlur();
};

class POSTEFFECT_API GLProgSketchSizeUp : public GLTableProgram {
  public:
    GLProgSketchSizeUp();
};

class POSTEFFECT_API GLProgColorSketchBlur : public GLProgBlur {
  public:
    GLProgColorSketchBlur();
};

class POSTEFFECT_API GLProgColorSketchSizeUp : public GLTableProgram {
  public:
    GLProgColorSketchSizeUp();
};

// What the two share.
class POSTEFFECT_API SketchEffect : public BlurEffect {
  public:
    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Have no parameters: changes nothing and answers 0.
    int SetParam(unsigned int type, int p0, int p1, int p2, int p3) override;

  protected:
    using BlurEffect::BlurEffect;
};

class POSTEFFECT_API GEShaderSketch : public SketchEffect {
  public:
    GEShaderSketch();

  protected:
    GLProgBlur* CreateBlurProgram() const override;
    GLProgram* CreateSizeUpProgram() const override;
    QuadCoords& previewQuad() const override;
};

class POSTEFFECT_API GEShaderColorSketch : public SketchEffect {
  public:
    GEShaderColorSketch();

  protected:
    GLProgBlur* CreateBlurProgram() const override;
    GLProgram* CreateSizeUpProgram() const override;
    QuadCoords& previewQuad() const override;
};
