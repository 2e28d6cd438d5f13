// The two programs of the YUV output converter. Both read an RGB texture and pack four bytes of a
// YUV row into each texel they draw.
#pragma once

#include <array>
#include <vector>

#include "gl/GLTableProgram.h"

// Four neighbouring luma bytes a texel.
class POSTEFFECT_API GLProgRGBtoY : public GLTableProgram {
  public:
    GLProgRGBtoY();
    ~GLProgRGBtoY() override;

    bool Use() override;

    // Set before Load. Where the four source pixels lie from the texel's centre: (x, y) in texture
    // units.
    std::array<float, 8> m_shift{};

  protected:
    std::vector<ConstantUniform> Constants() const override;
};

// Two neighbouring V, U pairs a texel, each of the mean of 2 x 2 pixels.
class POSTEFFECT_API GLProgRGBtoUV : public GLTableProgram {
  public:
    GLProgRGBtoUV();
    ~GLProgRGBtoUV() override;

    bool Use() override;

    // Set before Load. Where the two pixel squares lie from the texel's centre: (x, y) in texture
    // units.
    std::array<float, 4> m_shift{};

  protected:
    std::vector<ConstantUniform> Constants() const override;
};
