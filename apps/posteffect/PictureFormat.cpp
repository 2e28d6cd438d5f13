#include "apps/posteffect/PictureFormat.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <sstream>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/NearestName.h"

namespace posteffect {
namespace {

const PictureFormat* const kFormats[] = {&kJpegFormat, &kPngFormat, &kWebpFormat, &kTiffFormat};

std::vector<std::string> Extensions(const PictureFormat& format) {
    std::istringstream words(format.extensions);
    std::vector<std::string> extensions;
    for (std::string word; words >> word;) extensions.push_back(word);
    return extensions;
}

bool IsJpeg(const FileBytes& file) {
    return BeginsWith(file, "\xFF\xD8", 2);
}

Picture DecodeJpegFile(const std::string& name, const FileBytes& file) {
    Picture picture;
    static_cast<JpegPicture&>(picture) = DecodeJpeg(name, file);
    return picture;
}

FileBytes EncodeJpegFile(const std::string& name, Picture* picture, std::optional<int> quality) {
    Flatten(picture);
    MakePlanes(picture);
    return EncodeJpeg(name, *picture, quality);
}

}  // namespace

const PictureFormat kJpegFormat = {"JPEG", "jpg jpeg jpe", 65500,
                                   IsJpeg, DecodeJpegFile, EncodeJpegFile};

bool BeginsWith(const FileBytes& file, const char* text, std::size_t length, std::size_t offset) {
    return file.size() >= offset + length && std::memcmp(file.data() + offset, text, length) == 0;
}

const PictureFormat* FormatOfContent(const FileBytes& file) {
    for (const PictureFormat* format : kFormats) {
        if (format->matches(file)) return format;
    }
    return nullptr;
}

const PictureFormat& FormatOfInput(const std::string& name, const FileBytes& file) {
    if (const PictureFormat* format = FormatOfContent(file)) return *format;
    throw Failure(kExitUnsupported, name,
                  "not a JPEG, PNG, WebP or TIFF picture: convert it to one of them first");
}

const PictureFormat* FormatOfExtension(const std::string& path) {
    const std::size_t dot = path.rfind('.');
    if (dot == std::string::npos) return nullptr;
    std::string extension = path.substr(dot + 1);
    for (char& letter : extension) {
        letter = static_cast<char>(std::tolower(static_cast<unsigned char>(letter)));
    }
    for (const PictureFormat* format : kFormats) {
        const std::vector<std::string> known = Extensions(*format);
        if (std::find(known.begin(), known.end(), extension) != known.end()) return format;
    }
    return nullptr;
}

std::string KnownExtensions() {
    std::vector<std::string> all;
    for (const PictureFormat* format : kFormats) {
        for (const std::string& extension : Extensions(*format)) all.push_back(extension);
    }
    return JoinNames(all, "or");
}

}  // namespace posteffect
