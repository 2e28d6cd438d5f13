// Look-up tables that are drawn once, so that each frame finds there, with one unfiltered fetch,
// what it would work out for every pixel. For software renderers, which take a fourth as long for
// that as for a filtered fetch; the table holds what a filtered fetch gives.
//
// Thread: the worker. Drawing a table leaves another program, framebuffer and viewport behind.
#pragma once

#include <posteffect/Export.h>

#include <memory>

#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

// Defines onCurve(curve, at, row), what the texture has at (at, row). In a text for software
// renderers `curve` is a table of that row, with 65536 places: renderers round to these where a
// curve has 256 texels. Each of its rows has the places from one texel to the next.
#define ON_CURVE                                                  \
    "#ifdef FOR_SOFTWARE\n"                                       \
    "vec4 onCurve(sampler2D curve, float at, float row) {\n"      \
    "  at = clamp(at, 0.0, 65535.0 / 65536.0) + 0.5 / 65536.0;\n" \
    "  return texture2D(curve, vec2(fract(at * 256.0), at));\n"   \
    "}\n"                                                         \
    "#else\n"                                                     \
    "vec4 onCurve(sampler2D curve, float at, float row) {\n"      \
    "  return texture2D(curve, vec2(at, row));\n"                 \
    "}\n"                                                         \
    "#endif\n"

// A new texture of width x height texels that `program` has drawn, sampling `input`; read
// unfiltered and clamped to its edges. Null on failure.
POSTEFFECT_API std::unique_ptr<GLTexture> DrawTable(GLTableProgram& program, GLTexture* input,
                                                    unsigned width, unsigned height);

// The table of a row of the texture `curve`, for onCurve. Null on failure.
POSTEFFECT_API std::unique_ptr<GLTexture> DrawCurveTable(LogTag& log, GLTexture* curve, float row);
