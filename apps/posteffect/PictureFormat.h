// The formats of picture files that the command reads and writes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "apps/posteffect/Picture.h"

namespace posteffect {

using FileBytes = std::vector<std::uint8_t>;

struct PictureFormat {
    const char* name;
    const char* extensions;  // lower case, the first the usual one: "jpg jpeg"
    int maximumSide;         // of what is written, in pixels
    bool (*matches)(const FileBytes& file);
    // Both throw Failure; `name` stands for the file in messages. Without a quality (1 to 100) what
    // is written loses no more than the picture's own file did, as far as the format can tell.
    Picture (*decode)(const std::string& name, const FileBytes& file);
    FileBytes (*encode)(const std::string& name, Picture* picture, std::optional<int> quality);
};

// Null for a file of none.
const PictureFormat* FormatOfContent(const FileBytes& file);
const PictureFormat* FormatOfExtension(const std::string& path);

// The same; throws Failure (unsupported) for a file of none. `name` stands for it in messages.
const PictureFormat& FormatOfInput(const std::string& name, const FileBytes& file);

// "jpg, jpeg, png or tif".
std::string KnownExtensions();

// Whether the file begins with these bytes.
bool BeginsWith(const FileBytes& file, const char* text, std::size_t length,
                std::size_t offset = 0);

// One source file each; PictureFormat.cpp lists them.
extern const PictureFormat kJpegFormat;
extern const PictureFormat kPngFormat;
extern const PictureFormat kWebpFormat;
extern const PictureFormat kTiffFormat;

}  // namespace posteffect
