// Uniforms of a fragment text that the vertices carry to it, as varyings of the same value at each.
//
// Software renderers fetch a uniform for every pixel anew, which costs them as much as many
// operations; what is interpolated they have at hand. The values are the same to the bit: there is
// nothing between equal ones. GPUs keep uniforms in registers, so there they stay what they are.
#pragma once

#include <posteffect/Export.h>

#include <string>

struct ShaderTexts {
    std::string vertex;
    std::string fragment;
};

// Uniforms keep their names, and are of the vertex stage then. Samplers stay. Nothing changes where
// that would take more than `mostVaryings` vectors.
POSTEFFECT_API ShaderTexts WithCarriedUniforms(const ShaderTexts& texts, unsigned mostVaryings);
