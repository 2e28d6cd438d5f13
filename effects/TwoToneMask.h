// Colours the picture by two tones that meet across the frame: V from top to bottom, H from left to
// right.
#pragma once

#include "effects/RampEffect.h"

class POSTEFFECT_API GLProgTwoToneMaskV : public GLTableProgram {
  public:
    GLProgTwoToneMaskV();
};

class POSTEFFECT_API GLProgTwoToneMaskVLarge : public GLTableProgram {
  public:
    GLProgTwoToneMaskVLarge();
};

class POSTEFFECT_API GLProgTwoToneMaskH : public GLTableProgram {
  public:
    GLProgTwoToneMaskH();
};

class POSTEFFECT_API GLProgTwoToneMaskHLarge : public GLTableProgram {
  public:
    GLProgTwoToneMaskHLarge();
};

class POSTEFFECT_API GEShaderTwoToneMaskV : public RampEffect {
  public:
    GEShaderTwoToneMaskV();

  protected:
    GLProgram* CreateProgram() const override;
    bool UsesGlobalCoord() const override { return true; }
};

class POSTEFFECT_API GEShaderTwoToneMaskH : public RampEffect {
  public:
    GEShaderTwoToneMaskH();

  protected:
    GLProgram* CreateProgram() const override;
    bool UsesGlobalCoord() const override { return true; }
};
