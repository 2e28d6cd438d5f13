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
    Rect output;             // rendered at this place of the image; may pass its right edge
    Rect source;             // fetched from the captured image; may reach outside it
    QuadCoords textureQuad;  // what of the source texture is drawn
    QuadCoords globalQuad;   // the block's place in the whole image
};

// The common ground of the plans: blocks side by side without overlap.
class BlockPlan {
  public:
    explicit BlockPlan(const CaptureGeometry& geometry);
    virtual ~BlockPlan() = default;

    // 0 when the geometry allows no progress (a side that is not positive).
    int columns() const { return m_columns; }
    int rows() const { return m_rows; }
    int blockCount() const { return m_columns * m_rows; }

    // 0 <= index < blockCount().
    virtual CaptureBlock block(int index) const = 0;

  protected:
    // The block's own pixels: the nominal cell of the grid, cut at the image's edges.
    Rect cell(int index) const;
    // The width that is rendered for a cell: the last column's is rounded up to a multiple of 32,
    // but never beyond the block width.
    int renderWidth(const Rect& cell) const;
    QuadCoords globalQuad(const Rect& output) const;

    CaptureGeometry m_geometry;

  private:
    int m_columns;
    int m_rows;
};

// A last column whose width was rounded up is pulled back so that it ends at the right edge, over
// its left neighbour; the image is fetched as it is, whatever the crop.
class RunCountingPlan : public BlockPlan {
  public:
    using BlockPlan::BlockPlan;
    CaptureBlock block(int index) const override;
};

// Nothing is pulled back: a rounded last column passes the right edge, and is cut when it is
// copied. Each block is fetched from its place within the crop, at even columns.
class CroppedPlan : public BlockPlan {
  public:
    CroppedPlan(const CaptureGeometry& geometry, const CropRect& crop)
        : BlockPlan(geometry), m_crop(crop) {}
    CaptureBlock block(int index) const override;

  private:
    CropRect m_crop;
};
