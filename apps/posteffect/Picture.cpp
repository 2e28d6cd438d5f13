#include "apps/posteffect/Picture.h"

#include <libyuv/convert.h>
#include <libyuv/convert_argb.h>
#include <libyuv/convert_from_argb.h>
#include <libyuv/planar_functions.h>
#include <libyuv/scale_argb.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <map>
#include <utility>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/PlaneScale.h"

namespace posteffect {
namespace {

// The library addresses a picture with 32-bit offsets.
constexpr std::int64_t kMaximumPixels = ((std::int64_t{1} << 31) - 1) / 3 * 2;

// Of a picture that libyuv scales; it refuses larger ones.
constexpr int kMaximumScaledSide = 32768;

// Even, and few enough that libyuv's counts of bytes stay in range.
constexpr int kBandRows = 256;

constexpr int kIccMarker = 0xE0 + 2;
constexpr int kApp1 = 0xE0 + 1;
constexpr char kIccName[] = "ICC_PROFILE";  // with its final NUL; then number and count
constexpr std::size_t kIccHeader = sizeof(kIccName) + 2;
constexpr std::size_t kIccPart = 65533 - kIccHeader;
constexpr std::size_t kIccColorSpace = 16;
constexpr char kExifName[] = "Exif\0";                       // with its final NUL
constexpr char kXmpName[] = "http://ns.adobe.com/xap/1.0/";  // with its final NUL

template <typename Work>
void ForEachBand(int height, const Work& work) {
    for (int y = 0; y < height; y += kBandRows) work(y, std::min(kBandRows, height - y));
}

YuvPicture EmptyPlanes(Size size) {
    YuvPicture planes;
    planes.y = Plane(size.width, size.height);
    planes.u = planes.v = Plane((size.width + 1) / 2, (size.height + 1) / 2);
    return planes;
}

YuvPicture ToPlanes(const RgbaPixels& rgba) {
    YuvPicture planes = EmptyPlanes(rgba.size);
    ForEachBand(rgba.size.height, [&](int y, int rows) {
        libyuv::ABGRToJ420(rgba.row(y), rgba.stride(), planes.y.row(y), planes.y.stride,
                           planes.u.row(y / 2), planes.u.stride, planes.v.row(y / 2),
                           planes.v.stride, rgba.size.width, rows);
    });
    return planes;
}

// Channel by channel, as the planes of a picture are turned.
RgbaPixels Turned(RgbaPixels rgba, int orientation) {
    RgbaPixels turned;
    turned.opaque = rgba.opaque;
    turned.size = SwapsSides(orientation) ? Size{rgba.size.height, rgba.size.width} : rgba.size;
    turned.bytes = PixelBytes(rgba.bytes.size());
    Plane channel(rgba.size.width, rgba.size.height);
    for (std::size_t c = 0; c < 4; ++c) {
        for (std::size_t i = 0; i < channel.bytes.size(); ++i) {
            channel.bytes[i] = rgba.bytes[i * 4 + c];
        }
        const Plane upright = TurnedUpright(channel, orientation);
        for (std::size_t i = 0; i < upright.bytes.size(); ++i) {
            turned.bytes[i * 4 + c] = upright.bytes[i];
        }
    }
    return turned;
}

void Append(const char* text, std::size_t length, std::vector<std::uint8_t>* bytes) {
    bytes->insert(bytes->end(), text, text + length);
}

}  // namespace

void CheckPictureSize(const std::string& name, std::int64_t width, std::int64_t height) {
    if (width < 1 || height < 1) {
        throw Failure(kExitUnreadable, name, "the picture has no pixels: get a complete copy");
    }
    if (std::max(width, height) > kMaximumPictureSide) {
        throw Failure(kExitUnsupported, name,
                      "more than " + std::to_string(kMaximumPictureSide) +
                          " pixels a side: use a smaller picture");
    }
    if (width * height > kMaximumPixels) {
        throw Failure(kExitUnsupported, name,
                      "more than " + std::to_string(kMaximumPixels / 1000000) +
                          " megapixels: use a smaller picture");
    }
}

void MakePlanes(Picture* picture) {
    RgbaPixels& rgba = picture->rgba;
    if (rgba.bytes.empty()) return;
    if (!rgba.opaque) {
        picture->alpha = Plane(rgba.size.width, rgba.size.height);
        ForEachBand(rgba.size.height, [&](int y, int rows) {
            libyuv::ARGBExtractAlpha(rgba.row(y), rgba.stride(), picture->alpha.row(y),
                                     picture->alpha.stride, rgba.size.width, rows);
        });
    }
    picture->planes = ToPlanes(rgba);
    rgba = {};
}

void MakeRgba(Picture* picture) {
    if (!picture->rgba.bytes.empty()) return;
    YuvPicture& planes = picture->planes;
    RgbaPixels rgba;
    rgba.size = planes.size();
    rgba.opaque = picture->alpha.bytes.empty();
    rgba.bytes = PixelBytes(static_cast<std::size_t>(rgba.stride()) *
                            static_cast<std::size_t>(rgba.size.height));
    ForEachBand(rgba.size.height, [&](int y, int rows) {
        libyuv::J420ToABGR(planes.y.row(y), planes.y.stride, planes.u.row(y / 2), planes.u.stride,
                           planes.v.row(y / 2), planes.v.stride, rgba.row(y), rgba.stride(),
                           rgba.size.width, rows);
        if (rgba.opaque) return;
        libyuv::ARGBCopyYToAlpha(picture->alpha.row(y), picture->alpha.stride, rgba.row(y),
                                 rgba.stride(), rgba.size.width, rows);
    });
    picture->rgba = std::move(rgba);
    planes = {};
    picture->alpha = {};
}

void MakeOpaque(RgbaPixels* rgba) {
    for (std::size_t i = 3; i < rgba->bytes.size(); i += 4) rgba->bytes[i] = 255;
    rgba->opaque = true;
}

void Flatten(Picture* picture) {
    if (!picture->hasAlpha()) return;
    MakeRgba(picture);
    PixelBytes& bytes = picture->rgba.bytes;
    for (std::size_t i = 0; i < bytes.size(); i += 4) {
        const unsigned alpha = bytes[i + 3];
        for (std::size_t c = 0; c < 3; ++c) {
            bytes[i + c] =
                static_cast<std::uint8_t>((bytes[i + c] * alpha + 255 * (255 - alpha) + 127) / 255);
        }
    }
    MakeOpaque(&picture->rgba);
}

void TurnUpright(Picture* picture, int orientation) {
    if (orientation < 2 || orientation > 8) return;
    if (picture->rgba.bytes.empty()) {
        TurnUpright(&picture->planes, orientation);
        if (picture->hasAlpha()) picture->alpha = TurnedUpright(picture->alpha, orientation);
    } else {
        picture->rgba = Turned(std::move(picture->rgba), orientation);
    }
}

YuvPicture ShrinkPicture(const Picture& picture, Size size) {
    const bool scalable =
        std::max(picture.size().width, picture.size().height) <= kMaximumScaledSide;
    if (!picture.rgba.bytes.empty() && scalable) {
        RgbaPixels small;
        small.size = size;
        small.bytes = PixelBytes(static_cast<std::size_t>(small.stride()) *
                                 static_cast<std::size_t>(size.height));
        libyuv::ARGBScale(picture.rgba.row(0), picture.rgba.stride(), picture.rgba.size.width,
                          picture.rgba.size.height, small.row(0), small.stride(), size.width,
                          size.height, libyuv::kFilterBox);
        return ToPlanes(small);
    }
    const Size chroma = {(size.width + 1) / 2, (size.height + 1) / 2};
    YuvPicture converted;
    if (!picture.rgba.bytes.empty()) converted = ToPlanes(picture.rgba);
    const YuvPicture& planes = picture.rgba.bytes.empty() ? picture.planes : converted;
    YuvPicture small;
    small.y = ShrinkPlane(planes.y, size);
    small.u = ShrinkPlane(planes.u, chroma);
    small.v = ShrinkPlane(planes.v, chroma);
    return small;
}

bool IsIcc(const JpegSegment& segment) {
    return segment.marker == kIccMarker && segment.startsWith(kIccName, sizeof(kIccName)) &&
           segment.bytes.size() >= kIccHeader;
}

Metadata ReadMetadata(const std::vector<JpegSegment>& segments) {
    Metadata metadata;
    std::map<int, const JpegSegment*> icc;  // by number: files may have them in any order
    for (const JpegSegment& segment : segments) {
        const auto take = [&segment](std::size_t header, std::vector<std::uint8_t>* bytes) {
            bytes->assign(segment.bytes.begin() + static_cast<std::ptrdiff_t>(header),
                          segment.bytes.end());
        };
        if (IsIcc(segment)) {
            icc[segment.bytes[sizeof(kIccName)]] = &segment;
        } else if (segment.marker == kApp1 && metadata.exif.empty() &&
                   segment.startsWith(kExifName, sizeof(kExifName))) {
            take(sizeof(kExifName), &metadata.exif);
        } else if (segment.marker == kApp1 && segment.startsWith(kXmpName, sizeof(kXmpName))) {
            take(sizeof(kXmpName), &metadata.xmp);
        }
    }
    for (const auto& [number, segment] : icc) {
        metadata.icc.insert(metadata.icc.end(),
                            segment->bytes.begin() + static_cast<std::ptrdiff_t>(kIccHeader),
                            segment->bytes.end());
    }
    return metadata;
}

std::vector<JpegSegment> MakeSegments(const Metadata& metadata) {
    std::vector<JpegSegment> segments;
    const auto add = [&segments](const char* name, std::size_t length,
                                 const std::vector<std::uint8_t>& bytes) {
        if (bytes.empty()) return;
        JpegSegment& segment = segments.emplace_back();
        segment.marker = kApp1;
        Append(name, length, &segment.bytes);
        segment.bytes.insert(segment.bytes.end(), bytes.begin(), bytes.end());
    };
    // Some writers put JPEG's name before the EXIF of other formats too.
    const bool named = metadata.exif.size() > sizeof(kExifName) &&
                       std::memcmp(metadata.exif.data(), kExifName, sizeof(kExifName)) == 0;
    add(kExifName, named ? 0 : sizeof(kExifName), metadata.exif);
    add(kXmpName, sizeof(kXmpName), metadata.xmp);

    // A profile of greys or inks cannot describe red, green and blue.
    const std::vector<std::uint8_t>& icc = metadata.icc;
    const bool rgb = icc.size() >= kIccColorSpace + 4 &&
                     std::memcmp(icc.data() + kIccColorSpace, "RGB ", 4) == 0;
    const std::size_t count = (icc.size() + kIccPart - 1) / kIccPart;
    if (!rgb || count > 255) return segments;
    for (std::size_t i = 0; i < count; ++i) {
        JpegSegment& segment = segments.emplace_back();
        segment.marker = kIccMarker;
        Append(kIccName, sizeof(kIccName), &segment.bytes);
        segment.bytes.push_back(static_cast<std::uint8_t>(i + 1));
        segment.bytes.push_back(static_cast<std::uint8_t>(count));
        const std::size_t end = std::min(icc.size(), (i + 1) * kIccPart);
        segment.bytes.insert(segment.bytes.end(),
                             icc.begin() + static_cast<std::ptrdiff_t>(i * kIccPart),
                             icc.begin() + static_cast<std::ptrdiff_t>(end));
    }
    return segments;
}

}  // namespace posteffect
