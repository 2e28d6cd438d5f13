#include "apps/posteffect/ContactSheet.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "apps/posteffect/PlaneScale.h"

namespace posteffect {
namespace {

// All even, so that chroma samples keep their places.
constexpr int kColumns = 6;
constexpr int kPictureSide = 256;
constexpr int kGap = 12;
constexpr int kLabelHeight = 24;
constexpr Size kCell = {kPictureSide + kGap, kPictureSide * 3 / 4 + kLabelHeight + kGap};
constexpr std::uint8_t kPaper = 28;
constexpr std::uint8_t kInk = 225;
constexpr std::uint8_t kNeutralChroma = 128;

constexpr int kGlyphRows = 7;
constexpr int kGlyphColumns = 5;
constexpr int kDot = 2;  // pixels a side

// A row a byte from the top, the leftmost dot in bit 4.
struct Glyph {
    char character;
    std::array<std::uint8_t, kGlyphRows> rows;
};
constexpr Glyph kGlyphs[] = {
    {'a', {0x0E, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'b', {0x1E, 0x11, 0x11, 0x1E, 0x11, 0x11, 0x1E}},
    {'c', {0x0E, 0x11, 0x10, 0x10, 0x10, 0x11, 0x0E}},
    {'d', {0x1E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x1E}},
    {'e', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x1F}},
    {'f', {0x1F, 0x10, 0x10, 0x1E, 0x10, 0x10, 0x10}},
    {'g', {0x0E, 0x11, 0x10, 0x17, 0x11, 0x11, 0x0F}},
    {'h', {0x11, 0x11, 0x11, 0x1F, 0x11, 0x11, 0x11}},
    {'i', {0x0E, 0x04, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'j', {0x07, 0x02, 0x02, 0x02, 0x02, 0x12, 0x0C}},
    {'k', {0x11, 0x12, 0x14, 0x18, 0x14, 0x12, 0x11}},
    {'l', {0x10, 0x10, 0x10, 0x10, 0x10, 0x10, 0x1F}},
    {'m', {0x11, 0x1B, 0x15, 0x15, 0x11, 0x11, 0x11}},
    {'n', {0x11, 0x19, 0x19, 0x15, 0x13, 0x13, 0x11}},
    {'o', {0x0E, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'p', {0x1E, 0x11, 0x11, 0x1E, 0x10, 0x10, 0x10}},
    {'q', {0x0E, 0x11, 0x11, 0x11, 0x15, 0x12, 0x0D}},
    {'r', {0x1E, 0x11, 0x11, 0x1E, 0x14, 0x12, 0x11}},
    {'s', {0x0F, 0x10, 0x10, 0x0E, 0x01, 0x01, 0x1E}},
    {'t', {0x1F, 0x04, 0x04, 0x04, 0x04, 0x04, 0x04}},
    {'u', {0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x0E}},
    {'v', {0x11, 0x11, 0x11, 0x11, 0x0A, 0x0A, 0x04}},
    {'w', {0x11, 0x11, 0x11, 0x15, 0x15, 0x1B, 0x11}},
    {'x', {0x11, 0x11, 0x0A, 0x04, 0x0A, 0x11, 0x11}},
    {'y', {0x11, 0x11, 0x0A, 0x04, 0x04, 0x04, 0x04}},
    {'z', {0x1F, 0x01, 0x02, 0x04, 0x08, 0x10, 0x1F}},
    {'0', {0x0E, 0x11, 0x13, 0x15, 0x19, 0x11, 0x0E}},
    {'1', {0x04, 0x0C, 0x04, 0x04, 0x04, 0x04, 0x0E}},
    {'2', {0x0E, 0x11, 0x01, 0x06, 0x08, 0x10, 0x1F}},
    {'3', {0x0E, 0x11, 0x01, 0x06, 0x01, 0x11, 0x0E}},
    {'4', {0x02, 0x06, 0x0A, 0x12, 0x1F, 0x02, 0x02}},
    {'5', {0x1F, 0x10, 0x1E, 0x01, 0x01, 0x11, 0x0E}},
    {'6', {0x06, 0x08, 0x10, 0x1E, 0x11, 0x11, 0x0E}},
    {'7', {0x1F, 0x01, 0x02, 0x04, 0x04, 0x08, 0x08}},
    {'8', {0x0E, 0x11, 0x11, 0x0E, 0x11, 0x11, 0x0E}},
    {'9', {0x0E, 0x11, 0x11, 0x0F, 0x01, 0x02, 0x0C}},
    {'-', {0x00, 0x00, 0x00, 0x1F, 0x00, 0x00, 0x00}},
    {'.', {0x00, 0x00, 0x00, 0x00, 0x00, 0x0C, 0x0C}},
};

void DrawGlyph(const Glyph& glyph, int left, int top, Plane* luma) {
    for (int y = 0; y < kGlyphRows * kDot; ++y) {
        const unsigned row = glyph.rows[static_cast<std::size_t>(y / kDot)];
        for (int x = 0; x < kGlyphColumns * kDot; ++x) {
            const auto shift = static_cast<unsigned>(kGlyphColumns - 1 - x / kDot);
            if ((row >> shift & 1U) != 0) luma->row(top + y)[left + x] = kInk;
        }
    }
}

// As much of it as fits.
void DrawLabel(const std::string& label, int left, int top, Plane* luma) {
    constexpr int kAdvance = (kGlyphColumns + 1) * kDot;
    constexpr std::size_t kMaximum = kPictureSide / kAdvance;
    for (std::size_t i = 0; i < std::min(label.size(), kMaximum); ++i) {
        for (const Glyph& glyph : kGlyphs) {
            if (glyph.character != label[i]) continue;
            DrawGlyph(glyph, left + static_cast<int>(i) * kAdvance, top, luma);
        }
    }
}

void Paste(const Plane& from, int left, int top, Plane* to) {
    for (int y = 0; y < from.height; ++y) {
        std::memcpy(to->row(top + y) + left, from.row(y), static_cast<std::size_t>(from.width));
    }
}

Plane Filled(int width, int height, std::uint8_t level) {
    Plane plane(width, height);
    std::fill(plane.bytes.begin(), plane.bytes.end(), level);
    return plane;
}

}  // namespace

YuvPicture ShrinkForSheet(const YuvPicture& picture) {
    // Upright ones are bounded by the cell's height.
    const Size size = picture.size();
    constexpr int kHeight = kPictureSide * 3 / 4;
    const bool wide =
        std::int64_t{size.width} * kHeight >= std::int64_t{size.height} * kPictureSide;
    const bool lying = size.width >= size.height;
    const int longer = wide    ? kPictureSide
                       : lying ? static_cast<int>(std::int64_t{size.width} * kHeight / size.height)
                               : kHeight;
    return ShrinkPicture(picture, longer);
}

void FinishRow(std::vector<SheetCell>* cells) {
    cells->resize((cells->size() + kColumns - 1) / kColumns * kColumns);
}

int SheetHeight(std::size_t cells) {
    const std::size_t rows = (cells + kColumns - 1) / kColumns;
    return static_cast<int>(rows) * kCell.height + kGap;
}

YuvPicture ComposeSheet(const std::vector<SheetCell>& cells) {
    constexpr int kWidth = kColumns * kCell.width + kGap;
    const int height = SheetHeight(cells.size());
    YuvPicture sheet;
    sheet.y = Filled(kWidth, height, kPaper);
    sheet.u = Filled(kWidth / 2, height / 2, kNeutralChroma);
    sheet.v = sheet.u;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const YuvPicture& picture = cells[i].picture;
        const int cellLeft = kGap + static_cast<int>(i % kColumns) * kCell.width;
        const int cellTop = kGap + static_cast<int>(i / kColumns) * kCell.height;
        const int left = cellLeft + (kPictureSide - picture.y.width) / 4 * 2;
        const int top = cellTop + (kPictureSide * 3 / 4 - picture.y.height) / 4 * 2;
        Paste(picture.y, left, top, &sheet.y);
        Paste(picture.u, left / 2, top / 2, &sheet.u);
        Paste(picture.v, left / 2, top / 2, &sheet.v);
        DrawLabel(cells[i].label, cellLeft, cellTop + kPictureSide * 3 / 4 + 6, &sheet.y);
    }
    return sheet;
}

}  // namespace posteffect
