// Shader texts that several programs share, as string literals to be joined with a program's own.
#pragma once

// Vertex stage: draws the quad where it stands and hands the texture coordinate on in the varying
// `name`.
#define PASS_THROUGH_VERTEX(name)      \
    "attribute vec4 a_vertexCoord;\n"  \
    "attribute vec2 a_textureCoord;\n" \
    "varying vec2 " name               \
    ";\n"                              \
    "void main() {\n"                  \
    "  gl_Position = a_vertexCoord;\n" \
    "  " name                          \
    " = a_textureCoord;\n"             \
    "}\n"

// Vertex stage of capture blocks: the place in the whole image travels along.
#define LARGE_VERTEX(name)                     \
    "attribute vec4 a_vertexCoord;\n"          \
    "attribute vec2 a_textureCoord;\n"         \
    "attribute vec2 a_globalTexCoord;\n"       \
    "varying vec2 " name                       \
    ";\n"                                      \
    "varying vec2 v_globalTexCoord;\n"         \
    "void main() {\n"                          \
    "  gl_Position = a_vertexCoord;\n"         \
    "  " name                                  \
    " = a_textureCoord;\n"                     \
    "  v_globalTexCoord = a_globalTexCoord;\n" \
    "}\n"

// Vertex stage of capture blocks whose fragment stage does not ask for the place in the whole
// image. Its look-up must succeed all the same, and compilers drop what nothing reads: the last
// line reads it and changes nothing.
#define UNREAD_GLOBAL_VERTEX(name)                           \
    "attribute vec4 a_vertexCoord;\n"                        \
    "attribute vec2 a_textureCoord;\n"                       \
    "attribute vec2 a_globalTexCoord;\n"                     \
    "varying vec2 " name                                     \
    ";\n"                                                    \
    "void main() {\n"                                        \
    "  gl_Position = a_vertexCoord;\n"                       \
    "  " name                                                \
    " = a_textureCoord;\n"                                   \
    "  gl_Position.z -= step(1.0e30, a_globalTexCoord.x);\n" \
    "}\n"

// Fragment stage: where in the source texture a coordinate of the shown part lies.
#define CROP_PICK                                                       \
    "uniform vec4 u_crop;        // x, y, width, height: fractions\n"   \
    "uniform float u_widthcomp;  // shown width over allocated width\n" \
    "vec2 pick(vec2 coord) {\n"                                         \
    "  vec2 position = coord * u_crop.zw + u_crop.xy;\n"                \
    "  return vec2(position.x * u_widthcomp, position.y);\n"            \
    "}\n"
