// JPEG files in any shape, with what they carry beside the picture.
#include <vector>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "fuzz/FuzzInput.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace posteffect;
    try {
        JpegPicture picture = DecodeJpeg("in", {bytes, bytes + size});
        constexpr int kSmall = 512;  // pixels a side: the rest is the library's work
        if (picture.planes.y.width > kSmall || picture.planes.y.height > kSmall) return 0;
        const Exif exif(picture.segments);
        TurnUpright(&picture.planes, exif.orientation());
        exif.update(
            picture.planes.size(),
            [](int) {
                return std::vector<std::uint8_t>{0xFF, 0xD8};
            },
            &picture.segments);
        EncodeJpeg("out", picture, 90);
    } catch (const Failure&) {
        // The answer to most inputs.
    }
    return 0;
}
