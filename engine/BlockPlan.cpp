#include "engine/BlockPlan.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr int RoundUpTo32(int pixels) {
    return (pixels + 31) / 32 * 32;
}

constexpr int RoundDownTo32(int pixels) {
    return pixels / 32 * 32;
}

constexpr int RoundUpToEven(int pixels) {
    return (pixels + 1) & ~1;
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

BlockPlan::BlockPlan(const CaptureGeometry& geometry, int stepX, int stepY)
    : m_geometry(geometry), m_stepX(stepX), m_stepY(stepY) {
    if (std::min({geometry.imageWidth, geometry.imageHeight, geometry.blockWidth,
                  geometry.blockHeight, geometry.textureStride, stepX, stepY}) > 0) {
        setGrid(CeilDivide(geometry.imageWidth, stepX), CeilDivide(geometry.imageHeight, stepY));
    }
}

void BlockPlan::setGrid(int columns, int rows) {
    m_columns = columns;
    m_rows = rows;
}

Rect BlockPlan::cell(int index, int width, int height) const {
    const int x = index % m_columns * m_stepX;
    const int y = index / m_columns * m_stepY;
    return {x, y, std::min(width, m_geometry.imageWidth - x),
            std::min(height, m_geometry.imageHeight - y)};
}

int BlockPlan::renderWidth(const Rect& cell) const {
    return std::min(RoundUpTo32(cell.w), m_geometry.blockWidth);
}

Rect BlockPlan::pulledBack(int index) const {
    Rect output = cell(index, m_geometry.blockWidth, m_geometry.blockHeight);
    const int width = renderWidth(output);
    if (width != output.w) {
        output.w = width;
        // Even, so that chroma pairs stay whole in an image of odd width.
        output.x = std::max(0, RoundUpToEven(m_geometry.imageWidth - width));
    }
    return output;
}

QuadCoords BlockPlan::globalQuad(const Rect& output) const {
    return MakeQuadCoords(Fraction(output.x, m_geometry.imageWidth),
                          Fraction(output.y, m_geometry.imageHeight),
                          Fraction(output.x + output.w, m_geometry.imageWidth),
                          Fraction(output.y + output.h, m_geometry.imageHeight));
}

QuadCoords BlockPlan::textureQuad(const Rect& output) const {
    return MakeQuadCoords(0.0F, 0.0F, Fraction(output.w, m_geometry.textureStride),
                          Fraction(output.h, m_geometry.blockHeight));
}

CaptureBlock RunCountingPlan::block(int index) const {
    const Rect output = pulledBack(index);
    return {output, output, textureQuad(output), globalQuad(output)};
}

CaptureBlock CroppedPlan::block(int index) const {
    Rect output = cell(index, m_geometry.blockWidth, m_geometry.blockHeight);
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

MarginPlan::MarginPlan(const CaptureGeometry& geometry, const CropRect& crop, int margin)
    : BlockPlan(geometry, geometry.textureStride - 2 * margin, geometry.blockHeight - 2 * margin),
      m_crop(crop),
      m_margin(margin),
      m_regionWidth(RoundUpTo32(2 * margin + Scale(geometry.textureStride - 2 * margin, crop.w))),
      m_regionHeight(2 * margin + Scale(geometry.blockHeight - 2 * margin, crop.h)) {}

CaptureBlock MarginPlan::block(int index) const {
    const int textureWidth = m_geometry.textureStride;
    const int textureHeight = m_geometry.blockHeight;
    const Rect output = cell(index, textureWidth - 2 * m_margin, textureHeight - 2 * m_margin);
    const int x = static_cast<int>(static_cast<float>(m_geometry.imageWidth) * m_crop.x +
                                   static_cast<float>(output.x) * m_crop.w);
    const int y = static_cast<int>(static_cast<float>(m_geometry.imageHeight) * m_crop.y +
                                   static_cast<float>(output.y) * m_crop.h);
    const int width = Scale(output.w, m_crop.w);
    const int height = Scale(output.h, m_crop.h);

    Rect source{};
    source.x = x <= m_margin ? 0 : RoundDownTo32(x - m_margin);
    source.y = y <= m_margin ? 0 : y - m_margin;
    const int left = x - source.x;
    const int top = y - source.y;
    source.w = RoundDownTo32(left + width + m_margin + 31);
    if (x + source.w > m_geometry.imageWidth) source.w = m_geometry.imageWidth - source.x;
    source.w = std::min(source.w, textureWidth);
    source.h = y + top + height + m_margin - 1 < m_geometry.imageHeight
                   ? top + height + m_margin
                   : m_geometry.imageHeight - source.y;
    source.h = std::min(source.h, textureHeight);

    CaptureBlock block{};
    block.output = output;
    block.source = source;
    block.textureQuad =
        MakeQuadCoords(Fraction(left, textureWidth), Fraction(top, textureHeight),
                       Fraction(left + width, textureWidth), Fraction(top + height, textureHeight));
    block.globalQuad = globalQuad(output);
    block.reduceQuad = MakeQuadCoords(0.0F, 0.0F, Fraction(m_regionWidth, textureWidth),
                                      Fraction(m_regionHeight, textureHeight));
    block.reducedQuad = MakeQuadCoords(Fraction(left, m_regionWidth), Fraction(top, m_regionHeight),
                                       Fraction(left + width, m_regionWidth),
                                       Fraction(top + height, m_regionHeight));
    return block;
}

CaptureBlock OverlapPlan::block(int index) const {
    const Rect output = pulledBack(index);
    return {output, output, textureQuad(output), globalQuad(output)};
}

CaptureBlock TilePlan::block(int index) const {
    const Rect output = cell(index, m_geometry.blockWidth, m_geometry.blockHeight);
    return {output, Rect{}, kQuadCoords, globalQuad(output)};
}

int CellPlan::textureSide(float cellSize) {
    constexpr float kLargestCell = 65536.0F;  // far beyond any texture
    if (!(cellSize >= 1.0F && cellSize <= kLargestCell)) return 0;
    return RoundDownTo32(static_cast<int>(static_cast<float>(kCells) * cellSize) + 63);
}

CellPlan::CellPlan(const CaptureGeometry& geometry, const CropRect& crop, float cellSize)
    : BlockPlan(geometry), m_crop(crop), m_cellSize(cellSize) {
    if (textureSide(cellSize) == 0 || geometry.imageWidth <= 0 || geometry.imageHeight <= 0) return;
    int columns = 1;
    while (edge(columns, geometry.imageWidth) < geometry.imageWidth) ++columns;
    int rows = 1;
    while (edge(rows, geometry.imageHeight) < geometry.imageHeight) ++rows;
    setGrid(columns, rows);
}

// Where block `number` begins and the one before it ends.
int CellPlan::edge(int number, int imageSide) const {
    const float place = static_cast<float>(number * kCells) * m_cellSize;
    return std::min(RoundUpToEven(static_cast<int>(std::floor(place + 0.5F))), imageSide);
}

CellPlan::Span CellPlan::span(int number, int imageSide, float cropStart, float cropLength) const {
    const float cell = m_cellSize * cropLength;
    // In the picture, where the block's first cell begins.
    const float corner =
        static_cast<float>(imageSide) * cropStart + static_cast<float>(number * kCells) * cell;
    const auto side = static_cast<float>(textureSide(m_cellSize));
    Span span{};
    span.start = edge(number, imageSide);
    span.length = edge(number + 1, imageSide) - span.start;
    // A pixel more on each side for the linear filter; even, for the chroma pairs' sake.
    span.fetchStart = static_cast<int>(std::floor(corner + 0.5F * cell - 1.0F)) & ~1;
    span.fetchLength = static_cast<int>(static_cast<float>(kCells) * cell) + 6;
    // Texel i of the reduced picture takes its colour from the centre of cell i.
    span.reduceStart = (corner - static_cast<float>(span.fetchStart)) / side;
    span.reduceEnd = span.reduceStart + cell;
    const auto cellsTo = [&](int pixel) {
        return static_cast<float>(pixel) / m_cellSize - static_cast<float>(number * kCells);
    };
    span.reducedStart = cellsTo(span.start) / side;
    span.reducedEnd = cellsTo(span.start + span.length) / side;
    return span;
}

CaptureBlock CellPlan::block(int index) const {
    const Span x = span(index % columns(), m_geometry.imageWidth, m_crop.x, m_crop.w);
    const Span y = span(index / columns(), m_geometry.imageHeight, m_crop.y, m_crop.h);
    const Rect output{x.start, y.start, x.length, y.length};
    return {output,
            Rect{x.fetchStart, y.fetchStart, x.fetchLength, y.fetchLength},
            kQuadCoords,
            globalQuad(output),
            MakeQuadCoords(x.reduceStart, y.reduceStart, x.reduceEnd, y.reduceEnd),
            MakeQuadCoords(x.reducedStart, y.reducedStart, x.reducedEnd, y.reducedEnd)};
}
