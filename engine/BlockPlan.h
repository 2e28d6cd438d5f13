// Where the blocks of a captured image lie. A captured image may be larger than any render target,
// so it is worked through in blocks of the preview's size. Plain arithmetic, no GL.
//
// A plan numbers its blocks row by row from 0; together they cover every pixel of the image.
#pragma once

#include "gl/StandardQuad.h"

struct Rect {
    int x, y, w, h;  // pixels

    bool operator==(const Rect& other) const {
        return x == other.x && y == other.y && w == other.w && h == other.h;
    }
};

// The part of the picture that is shown, as fractions of it.
struct CropRect {
    float x = 0.0F;
    float y = 0.0F;
    float w = 1.0F;
    float h = 1.0F;
};

struct CaptureGeometry {
    int imageWidth;     // pixels
    int imageHeight;    // pixels
    int blockWidth;     // pixels, width of the source texture
    int blockHeight;    // pixels, height of the source texture
    int textureStride;  // pixels, allocated width of the source texture
};

struct CaptureBlock {
    Rect output{};  // rendered at this place of the image; may pass its right edge
    Rect source{};  // fetched from the captured image; may reach outside it
    QuadCoords textureQuad = kQuadCoords;  // what of the source texture is drawn
    QuadCoords globalQuad = kQuadCoords;   // the block's place in the whole image
    // For effects that first draw what was fetched into a smaller picture: what of the source
    // texture goes into that, and what of it is drawn from there.
    QuadCoords reduceQuad = kQuadCoords;
    QuadCoords reducedQuad = kQuadCoords;
};

// The common ground of the plans: a grid of blocks.
class BlockPlan {
  public:
    virtual ~BlockPlan() = default;

    // 0 when the geometry allows no progress.
    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    int blockCount() const { return m_columns * m_rows; }

    // 0 <= index < blockCount().
    virtual CaptureBlock block(int index) const = 0;

  protected:
    // Blocks lie stepX and stepY pixels apart.
    BlockPlan(const CaptureGeometry& geometry, int stepX, int stepY);
    // Subclasses whose blocks differ in size say how many there are.
    explicit BlockPlan(const CaptureGeometry& geometry) : m_geometry(geometry) {}
    void setGrid(int columns, int rows);

    // The block's own pixels: width x height at its place in the grid, cut at the image's edges.
    Rect cell(int index, int width, int height) const;
    // The width that is rendered for a cell: the last column's is rounded up to a multiple of 32,
    // but never beyond the block width.
    int renderWidth(const Rect& cell) const;
    // A cell of the block's size, rendered with that width: pulled back where it was rounded, so
    // that it ends at the right edge, over its left neighbour.
    Rect pulledBack(int index) const;
    QuadCoords globalQuad(const Rect& output) const;
    // From the texture's corner to where a block of this size ends.
    QuadCoords textureQuad(const Rect& output) const;

    CaptureGeometry m_geometry;

  private:
    int m_columns = 0;
    int m_rows = 0;
    int m_stepX = 0;
    int m_stepY = 0;
};

// Blocks side by side, a rounded last column pulled back; the image is fetched as it is, whatever
// the crop.
class RunCountingPlan : public BlockPlan {
  public:
    explicit RunCountingPlan(const CaptureGeometry& geometry)
        : BlockPlan(geometry, geometry.blockWidth, geometry.blockHeight) {}
    CaptureBlock block(int index) const override;
};

// Nothing is pulled back: a rounded last column passes the right edge, and is cut when it is
// copied. Each block is fetched from its place within the crop, at even columns.
class CroppedPlan : public BlockPlan {
  public:
    CroppedPlan(const CaptureGeometry& geometry, const CropRect& crop)
        : BlockPlan(geometry, geometry.blockWidth, geometry.blockHeight), m_crop(crop) {}
    CaptureBlock block(int index) const override;

  private:
    CropRect m_crop;
};

// For blurs: each block is fetched through the crop with a margin of so many pixels round it, as
// far as the image goes, so that it is blurred with its surroundings. Blocks are as much smaller
// than the texture as the two margins take, so a texture must be larger than these.
class MarginPlan : public BlockPlan {
  public:
    MarginPlan(const CaptureGeometry& geometry, const CropRect& crop, int margin);
    CaptureBlock block(int index) const override;

  private:
    CropRect m_crop;
    int m_margin;
    int m_regionWidth;  // of the texture, what the blur works on; pixels
    int m_regionHeight;
};

// For blurs, too: whole blocks that overlap by twice `halfX` and `halfY` pixels; of each overlap
// the left and upper block keeps the half nearer to it. A rounded last column is pulled back.
// Overlaps that take the whole block leave no blocks.
class OverlapPlan : public BlockPlan {
  public:
    OverlapPlan(const CaptureGeometry& geometry, int halfX, int halfY)
        : BlockPlan(geometry, geometry.blockWidth - 2 * halfX, geometry.blockHeight - 2 * halfY) {}
    CaptureBlock block(int index) const override;
};

// Tiles of one size side by side, cut at the right and lower edge, without anything fetched.
class TilePlan : public BlockPlan {
  public:
    explicit TilePlan(const CaptureGeometry& geometry)
        : BlockPlan(geometry, geometry.blockWidth, geometry.blockHeight) {}
    CaptureBlock block(int index) const override;
};

// Blocks of kCells x kCells square cells, each `cellSize` pixels wide and high, a fraction of a
// pixel included. Edges are the even pixels at or right after the cells' edges, so that chroma
// pairs stay whole; a block may therefore begin within a pixel and a half of its first cell's edge,
// and end as much into the next cell. It fetches what lies from its first cell's centre to that
// next cell's centre, through the crop; the texels of the reduced picture, in coordinates of a
// texture as large as the block's, are the cells.
class CellPlan : public BlockPlan {
  public:
    static constexpr int kCells = 16;

    // The side of the square texture that a block needs, pixels; 0 for cells smaller than a pixel
    // or larger than any texture.
    static int textureSide(float cellSize);

    // No blocks for a cell size that has no texture.
    CellPlan(const CaptureGeometry& geometry, const CropRect& crop, float cellSize);
    CaptureBlock block(int index) const override;

  private:
    // A block along one axis: where it lies, what it fetches, and its texture coordinates in the
    // fetched and in the reduced picture.
    struct Span {
        int start, length;
        int fetchStart, fetchLength;
        float reduceStart, reduceEnd;
        float reducedStart, reducedEnd;
    };

    int edge(int number, int imageSide) const;
    Span span(int number, int imageSide, float cropStart, float cropLength) const;

    CropRect m_crop;
    float m_cellSize;
};
