#include "apps/posteffect/PhotoCommand.h"

#include <algorithm>
#include <cstdint>
#include <vector>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/InputFile.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PlaneScale.h"
#include "apps/posteffect/Progress.h"

namespace posteffect {
namespace {

constexpr int kThumbnailSide = 160;  // pixels; what EXIF asks for

// The longer side as EXIF wants it, never larger than the picture.
std::vector<std::uint8_t> MakeThumbnail(const std::string& name, const YuvPicture& planes,
                                        int quality) {
    const Size size = planes.size();
    const int longer = std::max({size.width, size.height, kThumbnailSide});
    const auto scaled = [longer](int side) {
        return std::max(1, static_cast<int>(std::int64_t{side} * kThumbnailSide / longer));
    };
    const Size small = {scaled(size.width), scaled(size.height)};
    const Size smallChroma = {(small.width + 1) / 2, (small.height + 1) / 2};
    JpegPicture thumbnail;
    thumbnail.planes.y = ShrinkPlane(planes.y, small);
    thumbnail.planes.u = ShrinkPlane(planes.u, smallChroma);
    thumbnail.planes.v = ShrinkPlane(planes.v, smallChroma);
    return EncodeJpeg(name, thumbnail, quality);
}

}  // namespace

int RunPhoto(const PhotoOptions& options) {
    const std::string name = InputName(options.input);
    const OutputFile output(options.output, options.input, options.force);
    Progress progress;
    JpegPicture picture = DecodeJpeg(name, ReadInput(options.input));
    const Exif exif(picture.segments);
    progress.enableFor(name, picture.planes.y.width, picture.planes.y.height);

    if (exif.orientation() != 1) progress.stage("turning");
    TurnUpright(&picture.planes, exif.orientation());

    progress.stage("filtering");
    FilterPhoto(name, options.filter, &picture.planes);

    progress.stage("encoding");
    const bool changed = options.filter.effect->number != kEffectBypass;
    if (exif.orientation() != 1 || (exif.hasThumbnail() && changed)) {
        exif.update(
            picture.planes.size(),
            [&](int quality) { return MakeThumbnail(name, picture.planes, quality); },
            &picture.segments);
    }
    const std::vector<std::uint8_t> file = EncodeJpeg(name, picture, options.quality);

    progress.stage("writing");
    output.write(file);
    progress.done();
    return kExitDone;
}

}  // namespace posteffect
