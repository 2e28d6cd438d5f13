// Uniforms whose values are known when a program is compiled, written into its text as constants.
//
// Software renderers gain a lot: a product with a uniform matrix costs them as much as a texture
// fetch, and with constants most of its terms go. The pixels are the same to the bit. GPUs gain
// nothing and would compile more programs, so there the uniforms stay.
#pragma once

#include <posteffect/Export.h>

#include <string>
#include <vector>

struct ConstantUniform {
    const char* type;     // as the text declares it: "uniform <type> <name>;"
    const char* name;     // an array is declared as "<name>[<count>]" and used as "<name>[<index>]"
    const float* values;  // `components` for each element
    unsigned components;
    unsigned count;  // of an array; 0: none
};

// The text with each uniform replaced by its values. Text that does not declare one stays.
POSTEFFECT_API std::string WithConstants(const char* text,
                                         const std::vector<ConstantUniform>& constants);
