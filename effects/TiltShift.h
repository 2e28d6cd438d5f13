// Keeps a straight band of the picture sharp and blurs it beyond, as a tilted lens does.
#pragma once

#include "effects/Focus.h"

class POSTEFFECT_API GLProgTSPassBlur : public GLProgBlur {
  public:
    GLProgTSPassBlur();
};

// Preview: a band of any slope.
class POSTEFFECT_API GLProgTSPassSizeUp : public GLTableProgram {
  public:
    GLProgTSPassSizeUp();
};

// Capture: a level band of the whole image.
class POSTEFFECT_API GLProgTSPassSizeUpLarge : public GLTableProgram {
  public:
    GLProgTSPassSizeUpLarge();
};

class POSTEFFECT_API GEShaderTS : public FocusEffect {
  public:
    GEShaderTS();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    using FocusEffect::ProcFrame;
    int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) override;

  protected:
    GLProgBlur* CreateBlurProgram() const override;
    GLProgram* CreateSizeUpProgram() const override;
    void SetSizeUpUniforms(GLProgram& program) override;
    QuadCoords& previewQuad() const override;
    void SetEdge(const FocusDistance& distance) override;
    void BeginBlock(const CaptureBlock& block) override;

  private:
    float m_fSlope = 0.0F;  // of the sharp band
};
