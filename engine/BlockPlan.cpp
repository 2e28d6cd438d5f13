#include "engine/BlockPlan.h"

#include <algorithm>

namespace {

constexpr int RoundUpTo32(int pixels) {
    return (pixels + 31) / 32 * 32;
}

constexpr int CeilDivide(int whole, int part) {
    return whole / part + (whole % part != 0 ? 1 : 0);
}

float Fraction(int part, int whole) {
    return static_cast<float>(part) / static_cast<float>(whole);
}

// Truncates toward zero.
int Scale(int pixels, float factor) {
    return static_cast<int>(static_cast<float>(pixels) * factor);
}

}  // namespace

BlockPlan::BlockPlan(const CaptureGeometry& geometry)
    : m_geometry(geometry), m_columns(0), m_rows(0) {
    if (std::min({geometry.imageWidth, geometry.imageHeight, geometry.blockWidth,
                  geometry.blockHeight, geometry.textureStride}) <= 0) {
        return;
    }
    m_columns = CeilDivide(geometry.imageWidth, geometry.blockWidth);
    m_rows = CeilDivide(geometry.imageHeight, geometry.blockHeight);
}

Rect BlockPlan::cell(int index) const {
    const int x = index % m_columns * m_geometry.blockWidth;
    const int y = index / m_columns * m_geometry.blockHeight;
    return {x, y, std::min(m_geometry.blockWidth, m_geometry.imageWidth - x),
            std::min(m_geometry.blockHeight, m_geometry.imageHeight - y)};
}

int BlockPlan::renderWidth(const Rect& cell) const {
    return std::min(RoundUpTo32(cell.w), m_geometry.blockWidth);
}

QuadCoords BlockPlan::globalQuad(const Rect& output) const {
    return MakeQuadCoords(Fraction(output.x, m_geometry.imageWidth),
                          Fraction(output.y, m_geometry.imageHeight),
                          Fraction(output.x + output.w, m_geometry.imageWidth),
                          Fraction(output.y + output.h, m_geometry.imageHeight));
}

CaptureBlock RunCountingPlan::block(int index) const {
    Rect output = cell(index);
    const int width = renderWidth(output);
    if (width != output.w) {
        output.w = width;
        // Even, so that chroma pairs stay whole in an image of odd width.
        output.x = std::max(0, (m_geometry.imageWidth - width + 1) & ~1);
    }
    return {output, output,
            MakeQuadCoords(0.0F, 0.0F, Fraction(output.w, m_geometry.textureStride),
                           Fraction(output.h, m_geometry.blockHeight)),
            globalQuad(output)};
}

CaptureBlock CroppedPlan::block(int index) const {
    Rect output = cell(index);
    output.w = renderWidth(output);
    Rect source{
        static_cast<int>(static_cast<float>(m_geometry.imageWidth) * m_crop.x +
                         static_cast<float>(output.x) * m_crop.w),
        static_cast<int>(static_cast<float>(m_geometry.imageHeight) * m_crop.y +
                         static_cast<float>(output.y) * m_crop.h),
        RoundUpTo32(Scale(output.w, m_crop.w)),
        Scale(output.h, m_crop.h),
    };
    source.x += source.x & 1;
    return {output, source,
            MakeQuadCoords(0.0F, 0.0F, m_crop.w * Fraction(output.w, m_geometry.textureStride),
                           m_crop.h * Fraction(output.h, m_geometry.blockHeight)),
            globalQuad(output)};
}
