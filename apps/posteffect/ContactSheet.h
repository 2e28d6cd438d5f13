// Many small pictures on one.
#pragma once

#include <string>
#include <vector>

#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

// Small enough for a cell of the sheet.
YuvPicture ShrinkForSheet(const YuvPicture& picture);

struct SheetCell {
    YuvPicture picture;  // from ShrinkForSheet
    std::string label;   // small letters, digits, '-', '.' and blanks; others stay blank
};

// The cells to come begin a new row.
void FinishRow(std::vector<SheetCell>* cells);

// The height of a sheet of so many cells, in pixels.
int SheetHeight(std::size_t cells);

// The cells row by row, each with its label below.
YuvPicture ComposeSheet(const std::vector<SheetCell>& cells);

}  // namespace posteffect
