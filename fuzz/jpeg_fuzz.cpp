// JPEG files in any shape, with what they carry beside the picture.
#include <vector>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/PictureFacts.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace posteffect;
    const std::vector<std::uint8_t> file(bytes, bytes + size);
    try {
        ReadPictureFacts("in", file);
    } catch (const Failure&) {
    }
    try {
        JpegPicture picture = DecodeJpeg("in", file);
        constexpr int kSmall = 256;  // pixels a side: the rest is the library's work
        if (picture.planes.y.width > kSmall || picture.planes.y.height > kSmall) return 0;
        const Exif exif(picture.segments);
        TurnUpright(&picture.planes, exif.orientation());
        exif.update(
            picture.planes.size(), true,
            [](int) {
                return std::vector<std::uint8_t>{0xFF, 0xD8};
            },
            &picture.segments);
        const JpegPicture again = DecodeJpeg("out", EncodeJpeg("out", picture, 90));
        FUZZ_CHECK(again.planes.y.width == picture.planes.y.width);
        FUZZ_CHECK(again.planes.y.height == picture.planes.y.height);
        FUZZ_CHECK(Exif(again.segments).orientation() == 1);
        RewriteJpeg("out", file, picture);
    } catch (const Failure&) {
        // The answer to most inputs.
    }
    return 0;
}
