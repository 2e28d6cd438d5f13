#include "apps/posteffect/PictureFacts.h"

#include <algorithm>
#include <cstddef>

#include "apps/posteffect/ByteReader.h"
#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/IccProfile.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/PictureFormat.h"

namespace posteffect {
namespace {

using Bytes = std::vector<std::uint8_t>;

// What lies before a JPEG's first scan.
struct JpegHeader {
    Size size;
    int process = -1;           // the number of its frame marker; -1: none
    std::vector<int> sampling;  // of each component: horizontal * 16 + vertical
    int adobeTransform = -1;
    std::vector<JpegSegment> segments;
};

constexpr char kIccName[] = "ICC_PROFILE";  // with its final NUL; then number and count
constexpr int kApp0 = 0xE0;

JpegHeader ReadJpegHeader(const Bytes& file) {
    constexpr std::uint32_t kScan = 0xDA;
    constexpr std::uint32_t kEnd = 0xD9;
    const ByteReader bytes(file, true);
    JpegHeader header;
    std::size_t at = 2;
    while (at + 4 <= file.size() && bytes.u8(at) == 0xFF) {
        const std::uint32_t marker = bytes.u8(at + 1);
        if (marker == 0xFF) {  // fill
            ++at;
            continue;
        }
        if (marker == kScan || marker == kEnd) break;
        const std::size_t begin = at + 4;
        const std::size_t end = at + 2 + bytes.u16(at + 2);
        if (end < begin || end > file.size()) break;
        // Tables, not frames, have three of the numbers.
        const bool frame =
            marker >= 0xC0 && marker <= 0xCF && marker != 0xC4 && marker != 0xC8 && marker != 0xCC;
        if (frame) {
            header.process = static_cast<int>(marker) - 0xC0;
            header.size = {static_cast<int>(bytes.u16(begin + 3)),
                           static_cast<int>(bytes.u16(begin + 1))};
            for (std::size_t i = 0; i < bytes.u8(begin + 5); ++i) {
                header.sampling.push_back(static_cast<int>(bytes.u8(begin + 7 + i * 3)));
            }
        } else if (marker == kApp0 + 14 && bytes.has(begin, "Adobe", 5)) {
            header.adobeTransform = static_cast<int>(bytes.u8(begin + 11));
        } else if (marker >= kApp0 && marker < kApp0 + 16) {
            JpegSegment segment;
            segment.marker = static_cast<int>(marker);
            segment.bytes.assign(file.begin() + static_cast<std::ptrdiff_t>(begin),
                                 file.begin() + static_cast<std::ptrdiff_t>(end));
            header.segments.push_back(std::move(segment));
        }
        at = end;
    }
    return header;
}

std::string SubsamplingName(const std::vector<int>& sampling) {
    if (sampling.size() != 3 || sampling[1] != sampling[2]) return "";
    struct Row {
        int luma, chroma;
        const char* name;
    };
    constexpr Row kRows[] = {
        {0x11, 0x11, "4:4:4"}, {0x22, 0x22, "4:4:4"}, {0x21, 0x11, "4:2:2"}, {0x22, 0x12, "4:2:2"},
        {0x22, 0x11, "4:2:0"}, {0x12, 0x11, "4:4:0"}, {0x41, 0x11, "4:1:1"}, {0x42, 0x11, "4:1:0"},
    };
    for (const Row& row : kRows) {
        if (row.luma == sampling[0] && row.chroma == sampling[1]) return row.name;
    }
    return "unusual sampling";
}

std::string ProcessName(int process) {
    constexpr const char* kNames[] = {"baseline", "extended", "progressive", "lossless"};
    const std::string name = kNames[process % 4];
    return process >= 8 ? "arithmetic " + name : name;
}

Bytes JoinProfile(const std::vector<JpegSegment>& segments) {
    constexpr std::size_t kHeader = sizeof(kIccName) + 2;
    std::vector<const JpegSegment*> pieces;
    for (const JpegSegment& segment : segments) {
        if (segment.marker == kApp0 + 2 && segment.bytes.size() > kHeader &&
            segment.startsWith(kIccName, sizeof(kIccName))) {
            pieces.push_back(&segment);
        }
    }
    std::stable_sort(pieces.begin(), pieces.end(), [](const JpegSegment* a, const JpegSegment* b) {
        return a->bytes[sizeof(kIccName)] < b->bytes[sizeof(kIccName)];
    });
    Bytes profile;
    for (const JpegSegment* piece : pieces) {
        profile.insert(profile.end(), piece->bytes.begin() + kHeader, piece->bytes.end());
    }
    return profile;
}

// What travels with the pixels.
void DescribeSegments(const std::vector<JpegSegment>& segments, PictureFacts* facts) {
    const Bytes profile = JoinProfile(segments);
    facts->profileBytes = profile.size();
    facts->profileName = IccProfileName(profile);

    const Exif exif(segments);
    facts->orientation = exif.orientation();
    facts->make = exif.text(EXIF_IFD_0, EXIF_TAG_MAKE);
    facts->model = exif.text(EXIF_IFD_0, EXIF_TAG_MODEL);
    facts->date = exif.text(EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL);
    if (facts->date.empty()) facts->date = exif.text(EXIF_IFD_0, EXIF_TAG_DATE_TIME);
    const Bytes thumbnail = exif.thumbnail();
    if (!thumbnail.empty()) facts->thumbnail = ReadJpegHeader(thumbnail).size;
}

void DescribeJpeg(const std::string& name, const Bytes& file, PictureFacts* facts) {
    const JpegHeader header = ReadJpegHeader(file);
    if (header.process < 0) {
        throw Failure(kExitUnreadable, name, "damaged JPEG: it ends before its picture begins");
    }
    facts->size = header.size;
    const std::size_t components = header.sampling.size();
    const std::string colors = components == 1                                 ? "grey"
                               : components == 4                               ? "CMYK"
                               : components == 3 && header.adobeTransform == 0 ? "RGB"
                                                                               : "YCbCr";
    const std::string subsampling = SubsamplingName(header.sampling);
    facts->coding = ProcessName(header.process) + ", " + colors;
    if (!subsampling.empty()) facts->coding += " " + subsampling;
    DescribeSegments(header.segments, facts);
    if (components == 4) {
        facts->photo = "refuses it: CMYK has to be converted to RGB first";
        return;
    }
    facts->canBeFiltered = true;
    facts->photo = facts->orientation == 1 ? "filters it" : "turns it upright and filters it";
    if (subsampling != "4:2:0" || header.process != 0) facts->photo += "; writes baseline 4:2:0";
}

void DescribePng(const std::string&, const Bytes& file, PictureFacts* facts) {
    const ByteReader bytes(file, true);
    facts->size = {static_cast<int>(bytes.u32(16) & 0x7FFFFFFFU),
                   static_cast<int>(bytes.u32(20) & 0x7FFFFFFFU)};
    constexpr const char* kColors[] = {"grey",        "", "RGB",       "palette",
                                       "grey, alpha", "", "RGB, alpha"};
    const std::uint32_t color = bytes.u8(25);
    facts->coding = std::to_string(bytes.u8(24)) + " bits";
    if (color < std::size(kColors)) facts->coding += std::string(", ") + kColors[color];
}

void DescribeWebp(const std::string&, const Bytes& file, PictureFacts* facts) {
    const ByteReader bytes(file, false);
    const auto sized = [facts](std::uint32_t width, std::uint32_t height) {
        facts->size = {static_cast<int>(width), static_cast<int>(height)};
    };
    if (bytes.has(12, "VP8X", 4)) {
        facts->coding = "extended";
        sized((bytes.u32(24) & 0xFFFFFFU) + 1, (bytes.u32(26) >> 8U) + 1);
    } else if (bytes.has(12, "VP8L", 4)) {
        facts->coding = "lossless";
        sized((bytes.u32(21) & 0x3FFFU) + 1, (bytes.u32(21) >> 14U & 0x3FFFU) + 1);
    } else {
        facts->coding = "lossy";
        sized(bytes.u16(26) & 0x3FFFU, bytes.u16(28) & 0x3FFFU);
    }
}

void DescribeTiff(const std::string&, const Bytes& file, PictureFacts* facts) {
    constexpr std::uint32_t kWidth = 256;
    constexpr std::uint32_t kHeight = 257;
    constexpr std::uint32_t kOrientation = 274;
    constexpr std::uint32_t kShort = 3;
    constexpr std::size_t kEntryBytes = 12;
    const ByteReader bytes(file, file[0] == 'M');
    const std::size_t directory = bytes.u32(4);
    const std::size_t end =
        std::min(file.size(), directory + 2 + bytes.u16(directory) * kEntryBytes);
    for (std::size_t entry = directory + 2; entry < end; entry += kEntryBytes) {
        const auto value = static_cast<int>(
            (bytes.u16(entry + 2) == kShort ? bytes.u16(entry + 8) : bytes.u32(entry + 8)) &
            0x7FFFFFFFU);
        const std::uint32_t tag = bytes.u16(entry);
        if (tag == kWidth) facts->size.width = value;
        if (tag == kHeight) facts->size.height = value;
        if (tag == kOrientation && value >= 1 && value <= 8) facts->orientation = value;
    }
}

void DescribeNothing(const std::string&, const Bytes&, PictureFacts*) {}

// How a file of a format begins, and who reads its header.
struct Format {
    const char* name;
    std::size_t offset;
    const char* signature;
    std::size_t length;
    void (*describe)(const std::string& name, const Bytes& file, PictureFacts* facts);
};
constexpr Format kFormats[] = {
    {"JPEG", 0, "\xFF\xD8", 2, DescribeJpeg},    {"PNG", 0, "\x89PNG\r\n\x1A\n", 8, DescribePng},
    {"WebP", 8, "WEBP", 4, DescribeWebp},        {"TIFF", 0, "II*\0", 4, DescribeTiff},
    {"TIFF", 0, "MM\0*", 4, DescribeTiff},       {"HEIF", 4, "ftyphei", 7, DescribeNothing},
    {"HEIF", 4, "ftypmif1", 8, DescribeNothing}, {"AVIF", 4, "ftypavif", 8, DescribeNothing},
};

}  // namespace

PictureFacts ReadPictureFacts(const std::string& name, const std::vector<std::uint8_t>& file) {
    const ByteReader bytes(file, true);
    for (const Format& format : kFormats) {
        if (!bytes.has(format.offset, format.signature, format.length)) continue;
        PictureFacts facts;
        facts.format = format.name;
        facts.photo = "refuses it: convert it to JPEG first";
        format.describe(name, file, &facts);
        const PictureFormat* readable = FormatOfContent(file);
        if (readable == nullptr || readable == &kJpegFormat) return facts;
        try {
            DescribeSegments(readable->decode(name, file).segments, &facts);
            facts.canBeFiltered = true;
            facts.photo = facts.orientation == 1 ? "filters it" : "turns it upright and filters it";
        } catch (const Failure& failure) {
            facts.photo = std::string("refuses it: ") + failure.what();
        }
        return facts;
    }
    throw Failure(kExitUnsupported, name, "not a picture of a known format");
}

}  // namespace posteffect
