// PNG, WebP and TIFF files in any shape: what is read is written and read back the same.
#include <zlib.h>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFacts.h"
#include "apps/posteffect/PictureFormat.h"
#include "fuzz/FuzzInput.h"

namespace {

using posteffect::FileBytes;

std::uint32_t BigEndian(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24U | std::uint32_t{bytes[1]} << 16U |
           std::uint32_t{bytes[2]} << 8U | std::uint32_t{bytes[3]};
}

// Checksums that fit, or nearly every changed PNG file would be refused for them alone.
void MendPng(FileBytes* file) {
    constexpr std::size_t kFrame = 12;  // length, name and checksum
    for (std::size_t at = 8; at + kFrame <= file->size();) {
        std::uint8_t* chunk = file->data() + at;
        const std::size_t length = BigEndian(chunk);
        if (length > file->size() - at - kFrame) return;
        const auto sum = crc32(0, chunk + 4, static_cast<uInt>(length + 4));
        for (unsigned i = 0; i < 4; ++i) {
            chunk[8 + length + i] = static_cast<std::uint8_t>(sum >> (24U - 8U * i));
        }
        at += kFrame + length;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace posteffect;
    FileBytes file(bytes, bytes + size);
    const PictureFormat* format = FormatOfContent(file);
    if (!format || format == &kJpegFormat) return 0;
    if (format == &kPngFormat) MendPng(&file);
    try {
        Picture picture = format->decode("in", file);
        constexpr int kSmall = 128;  // pixels a side: writing is for small ones
        if (picture.size().width > kSmall || picture.size().height > kSmall) return 0;
        ReadPictureFacts("in", file);
        FUZZ_CHECK(picture.rgba.bytes.size() ==
                   static_cast<std::size_t>(picture.rgba.stride()) *
                       static_cast<std::size_t>(picture.size().height));
        const int orientation = Exif(picture.segments).orientation();
        FUZZ_CHECK(orientation >= 1 && orientation <= 8);
        const Picture again = format->decode("out", format->encode("out", &picture, std::nullopt));
        FUZZ_CHECK(again.size().width == picture.size().width);
        FUZZ_CHECK(again.size().height == picture.size().height);
        FUZZ_CHECK(!picture.lossless || again.rgba.bytes == picture.rgba.bytes);
        TurnUpright(&picture, orientation);
        kJpegFormat.encode("out", &picture, 90);
    } catch (const Failure&) {
        // The answer to most inputs.
    }
    return 0;
}
