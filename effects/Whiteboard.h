// Makes a photographed page or board readable: sharper, brighter, whiter.
#pragma once

#include <memory>

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

class POSTEFFECT_API GLProgWhiteboard : public GLTableProgram {
  public:
    GLProgWhiteboard();
};

class POSTEFFECT_API GEShaderWhiteboard : public SinglePassEffect {
  public:
    GEShaderWhiteboard();
    ~GEShaderWhiteboard() override;

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    using SinglePassEffect::ProcFrame;
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    // Has no parameters: changes nothing and answers 0.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    bool ReadsPixelCentres() const override;
    void ReleaseTextures() override;
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;
    std::unique_ptr<BlockPlan> MakePlan(const CaptureGeometry& geometry) const override;

  private:
    std::unique_ptr<GLTexture> m_curve;
    float m_fController = 0.6F;  // how much of the whitened colour is mixed in
};
