// Two graded moods that differ in their numbers: Nash (pastel, lifted blacks) and Maple (warm).
#pragma once

#include "effects/RampEffect.h"

class POSTEFFECT_API GLProgStylizeNash : public GLTableProgram {
  public:
    GLProgStylizeNash();
};

class POSTEFFECT_API GLProgStylizeMaple : public GLTableProgram {
  public:
    GLProgStylizeMaple();
};

class POSTEFFECT_API GEShaderStylizeNash : public RampEffect {
  public:
    GEShaderStylizeNash();

    using RampEffect::SetCrop;
    // Answers 0 although the crop is taken.
    int SetCrop(float x, float y, float w, float h) override;

  protected:
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;
    std::unique_ptr<BlockPlan> MakePlan(const CaptureGeometry& geometry) const override;
};

class POSTEFFECT_API GEShaderStylizeMaple : public RampEffect {
  public:
    GEShaderStylizeMaple();

  protected:
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;
};
