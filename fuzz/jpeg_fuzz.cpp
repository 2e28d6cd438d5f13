// JPEG files in any shape, with what they carry beside the picture.
#include <vector>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/PictureFacts.h"
#include "apps/posteffect/PictureFormat.h"
#include "fuzz/FuzzInput.h"

namespace {

// Frames of at most 127 pixels a side: decoding more is the JPEG library's work, and took nearly
// all of the time. bad_files_test has sizes that lie.
void MakeSmall(std::vector<std::uint8_t>* file) {
    constexpr std::size_t kHigh[] = {5, 7};  // of the height and of the width, behind the marker
    for (std::size_t at = 0; at + 9 <= file->size(); ++at) {
        std::uint8_t* marker = file->data() + at;
        const bool frame = marker[0] == 0xFF && marker[1] >= 0xC0 && marker[1] <= 0xCF &&
                           marker[1] != 0xC4 && marker[1] != 0xC8 && marker[1] != 0xCC;
        if (!frame) continue;
        for (const std::size_t high : kHigh) {
            marker[high] = 0;
            marker[high + 1] &= 0x7FU;
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    using namespace posteffect;
    std::vector<std::uint8_t> file(bytes, bytes + size);
    if (FormatOfContent(file) != &kJpegFormat) return 0;  // picture_fuzz has the others
    MakeSmall(&file);
    try {
        ReadPictureFacts("in", file);
    } catch (const Failure&) {
    }
    try {
        JpegPicture picture = DecodeJpeg("in", file);
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
