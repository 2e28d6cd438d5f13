// The geometry of every pass: one quad of two triangles, from the top left corner of clip space
// counter-clockwise. Row 0 of a texture is the top of the picture, so the quad's lower edge
// (coordinate t = 0) draws the picture's top row into the target's row 0.
#pragma once

#include <GLES2/gl2.h>

#include <array>

using QuadCoords = std::array<float, 8>;  // (s, t) of the four corners

inline constexpr int kQuadPositionSize = 4;
inline constexpr int kQuadCoordSize = 2;

inline constexpr std::array<float, 16> kQuadPositions = {
    -1.0F, 1.0F,  1.0F, 1.0F,  //
    -1.0F, -1.0F, 1.0F, 1.0F,  //
    1.0F,  -1.0F, 1.0F, 1.0F,  //
    1.0F,  1.0F,  1.0F, 1.0F,
};

// The coordinates of the rectangle from (s0, t0) to (s1, t1).
constexpr QuadCoords MakeQuadCoords(float s0, float t0, float s1, float t1) {
    return {s0, t1, s0, t0, s1, t0, s1, t1};
}

inline constexpr QuadCoords kQuadCoords = MakeQuadCoords(0.0F, 0.0F, 1.0F, 1.0F);

inline constexpr std::array<GLushort, 6> kQuadIndices = {0, 1, 2, 0, 2, 3};
