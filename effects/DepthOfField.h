// Keeps the picture sharp within a circle round a focus point and blurs it beyond.
#pragma once

#include "effects/Focus.h"

class POSTEFFECT_API GLProgPassBlur : public GLProgBlur {
  public:
    GLProgPassBlur();
};

// Preview: the distance from the focus point counts in the shown frame.
class POSTEFFECT_API GLProgPassSizeUp : public GLTableProgram {
  public:
    GLProgPassSizeUp();
};

// Capture: it counts in the whole image.
class POSTEFFECT_API GLProgPassSizeUpLarge : public GLTableProgram {
  public:
    GLProgPassSizeUpLarge();
};

class POSTEFFECT_API GEShaderDoF : public FocusEffect {
  public:
    GEShaderDoF();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;

  protected:
    GLProgBlur* CreateBlurProgram() const override;
    GLProgram* CreateSizeUpProgram() const override;
    void SetSizeUpUniforms(GLProgram& program) override;
    QuadCoords& previewQuad() const override;
    void SetEdge(const FocusDistance& distance) override;
    void BeginCapture(int imgW, int imgH) override;

  private:
    // Width over height, plain despite the name of its uniform: makes the circle round in pixels.
    float m_fWHRatioSquare = 1.0F;
};
