// EXIF segments for tests.
#pragma once

#include <libexif/exif-data.h>

#include <string>

#include "tests/support/JpegFile.h"

struct ExifRecipe {
    ExifByteOrder order = EXIF_BYTE_ORDER_INTEL;
    int orientation = 1;
    int width = 48;
    int height = 32;
    Bytes thumbnail;  // none when empty
};

// The bytes of the segment. It also has a maker, a tag that nobody knows and one that is in an
// unusual place.
Bytes MakeExif(const ExifRecipe& recipe);

// All directories, tags with their format and raw value, the byte order and the thumbnail, as text.
std::string DescribeExif(const Bytes& segment);
