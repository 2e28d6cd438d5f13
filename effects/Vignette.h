// Darkens everything beyond a circle: full light within an inner radius, black from an outer one.
#pragma once

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"

// Preview: the whole frame, through the crop.
class POSTEFFECT_API GLProgVignette : public GLTableProgram {
  public:
    GLProgVignette();
};

// Capture: one block, which knows its place in the whole image.
class POSTEFFECT_API GLProgVignetteLarge : public GLTableProgram {
  public:
    GLProgVignetteLarge();
};

class POSTEFFECT_API GEShaderVignette : public SinglePassEffect {
  public:
    GEShaderVignette();

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    // Group 0: a = hardness of the edge, 0..100. Other groups: (a, b) the centre and (c, d) a point
    // on the circle, in viewport pixels.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    GLProgram* CreateProgram() const override;
    bool ReadsPixelCentres() const override { return true; }
    void SetUniforms(GLProgram& program) override;
    bool UsesGlobalCoord() const override { return true; }
    std::unique_ptr<BlockPlan> MakePlan(const CaptureGeometry& geometry) const override;
    void BeginCapture(int imgW, int imgH) override;

  private:
    float m_fCenterX = 0.5F;  // from the picture's middle, fractions of its width and height
    float m_fCenterY = 0.5F;
    float m_fRadius = 0.3F;    // of the edge's middle, fraction of the width
    float m_fSoftness = 0.5F;  // half width of the edge, fraction of the width
    float m_fScreenRatio = 1.0F;
    float m_fWidthComp = 1.0F;  // shown width over allocated width of the source texture
};
