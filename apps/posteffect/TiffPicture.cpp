// TIFF files.
#include <libyuv/planar_functions.h>
#include <tiffio.h>

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <utility>

#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFormat.h"

namespace posteffect {
namespace {

constexpr tmsize_t kMostAtOnce = tmsize_t{1} << 31;  // bytes of one allocation
constexpr std::uint16_t kUpright = ORIENTATION_TOPLEFT;

// A TIFF file in memory: libtiff jumps about in it as in one on a disk.
struct Memory {
    FileBytes written;
    const FileBytes& bytes = written;  // what is there to read
    std::size_t at = 0;
    char text[160] = {};  // libtiff's last error

    static Memory& of(thandle_t handle) { return *static_cast<Memory*>(handle); }
};

tmsize_t OnRead(thandle_t handle, void* bytes, tmsize_t count) {
    Memory& memory = Memory::of(handle);
    const std::size_t left = memory.bytes.size() - std::min(memory.at, memory.bytes.size());
    const std::size_t taken = std::min(left, static_cast<std::size_t>(count));
    if (taken > 0) std::memcpy(bytes, memory.bytes.data() + memory.at, taken);
    memory.at += taken;
    return static_cast<tmsize_t>(taken);
}

tmsize_t OnWrite(thandle_t handle, void* bytes, tmsize_t count) {
    Memory& memory = Memory::of(handle);
    const std::size_t end = memory.at + static_cast<std::size_t>(count);
    try {
        if (end > memory.written.size()) memory.written.resize(end);
    } catch (...) {
        return 0;  // which libtiff takes for a full disk
    }
    std::memcpy(memory.written.data() + memory.at, bytes, static_cast<std::size_t>(count));
    memory.at = end;
    return count;
}

toff_t OnSeek(thandle_t handle, toff_t offset, int from) {
    Memory& memory = Memory::of(handle);
    const toff_t base = from == SEEK_SET ? 0 : from == SEEK_CUR ? memory.at : memory.bytes.size();
    memory.at = base + offset;
    return memory.at;
}

int OnClose(thandle_t) {
    return 0;
}

toff_t OnSize(thandle_t handle) {
    return Memory::of(handle).bytes.size();
}

[[gnu::format(printf, 4, 0)]] int OnError(TIFF*, void* memory, const char*, const char* format,
                                          va_list arguments) {
    auto& text = static_cast<Memory*>(memory)->text;
    std::vsnprintf(text, sizeof(text), format, arguments);
    return 1;
}

int OnWarning(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct Close {
    void operator()(TIFF* tiff) const { TIFFClose(tiff); }
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using OpenTiff = std::unique_ptr<TIFF, Close>;

OpenTiff Open(const char* mode, Memory* memory) {
    const std::unique_ptr<TIFFOpenOptions, Close> options(TIFFOpenOptionsAlloc());
    if (!options) return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), kMostAtOnce);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), OnError, memory);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), OnWarning, nullptr);
    return OpenTiff(TIFFClientOpenExt("picture", mode, memory, OnRead, OnWrite, OnSeek, OnClose,
                                      OnSize, nullptr, nullptr, options.get()));
}

bool IsTiff(const FileBytes& file) {
    for (const char* signature : {"II*\0", "MM\0*", "II+\0", "MM\0+"}) {
        if (BeginsWith(file, signature, 4)) return true;
    }
    return false;
}

std::vector<std::uint8_t> Field(TIFF* tiff, std::uint32_t tag) {
    std::uint32_t length = 0;
    const std::uint8_t* bytes = nullptr;
    if (TIFFGetField(tiff, tag, &length, &bytes) != 1 || !bytes) return {};
    return {bytes, bytes + length};
}

// EXIF that says nothing but which way is up.
std::vector<std::uint8_t> OrientationExif(std::uint16_t orientation) {
    return {'I',  'I',  '*', 0, 8, 0, 0, 0,  // directory at 8
            1,    0,                         // of one tag
            0x12, 0x01, 3,   0, 1, 0, 0, 0, static_cast<std::uint8_t>(orientation),
            0,    0,    0,   0, 0, 0, 0};
}

// What of alpha is in the file. Alpha apart from the colours is called theirs, so that libtiff
// leaves both as they are; true when the colours were multiplied with it.
struct AlphaKind {
    bool opaque = true;
    bool multiplied = false;
};
AlphaKind TakeAlpha(TIFF* tiff) {
    std::uint16_t count = 0;
    const std::uint16_t* kinds = nullptr;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    if (count == 0 || (kinds[0] != EXTRASAMPLE_ASSOCALPHA && kinds[0] != EXTRASAMPLE_UNASSALPHA)) {
        return {};
    }
    const bool multiplied = kinds[0] == EXTRASAMPLE_ASSOCALPHA;
    std::vector<std::uint16_t> theirs(kinds, kinds + count);
    theirs[0] = EXTRASAMPLE_ASSOCALPHA;
    if (!multiplied) TIFFSetField(tiff, TIFFTAG_EXTRASAMPLES, count, theirs.data());
    return {false, multiplied};
}

int CompressionOf(TIFF* tiff) {
    std::uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_COMPRESSION, &compression);
    return compression;
}

// Whether no file of this length can hold so many rows, before there is memory for them.
bool IsTooShort(TIFF* tiff, std::uint32_t height, std::size_t fileBytes) {
    constexpr std::uint64_t kMostExpansion = 3000;  // of what follows, and some more
    constexpr int kKnown[] = {COMPRESSION_NONE, COMPRESSION_LZW, COMPRESSION_DEFLATE,
                              COMPRESSION_ADOBE_DEFLATE, COMPRESSION_PACKBITS};
    return std::find(std::begin(kKnown), std::end(kKnown), CompressionOf(tiff)) !=
               std::end(kKnown) &&
           TIFFScanlineSize64(tiff) * height / kMostExpansion > fileBytes;
}

// JPEG counts whole dots; both count inches and centimetres in this order.
std::optional<JpegDensity> ReadDensity(TIFF* tiff) {
    float x = 0;
    float y = 0;
    std::uint16_t unit = RESUNIT_NONE;
    TIFFGetFieldDefaulted(tiff, TIFFTAG_RESOLUTIONUNIT, &unit);
    if (TIFFGetField(tiff, TIFFTAG_XRESOLUTION, &x) != 1 ||
        TIFFGetField(tiff, TIFFTAG_YRESOLUTION, &y) != 1 || unit < RESUNIT_NONE ||
        unit > RESUNIT_CENTIMETER || !(x >= 1 && x <= 0xFFFF && y >= 1 && y <= 0xFFFF)) {
        return std::nullopt;
    }
    return JpegDensity{static_cast<std::uint8_t>(unit - RESUNIT_NONE),
                       static_cast<std::uint16_t>(std::lround(x)),
                       static_cast<std::uint16_t>(std::lround(y))};
}

Picture DecodeTiff(const std::string& name, const FileBytes& file) {
    Memory memory{{}, file};
    const OpenTiff tiff = Open("rm", &memory);
    const auto damaged = [&] {
        return Failure(
            kExitUnreadable, name,
            std::string("damaged or truncated TIFF (") + memory.text + "): get a complete copy");
    };
    if (!tiff) throw damaged();
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    TIFFGetField(tiff.get(), TIFFTAG_IMAGEWIDTH, &width);
    TIFFGetField(tiff.get(), TIFFTAG_IMAGELENGTH, &height);
    CheckPictureSize(name, width, height);
    if (IsTooShort(tiff.get(), height, file.size())) {
        throw Failure(kExitUnreadable, name,
                      "damaged or truncated TIFF (too short for its size): get a complete copy");
    }
    const int compression = CompressionOf(tiff.get());
    if (TIFFIsCODECConfigured(static_cast<std::uint16_t>(compression)) == 0) {
        throw Failure(kExitUnsupported, name,
                      "unsupported kind of TIFF (compression " + std::to_string(compression) +
                          "): save it with deflate, or without compression");
    }
    char reason[1024] = {};
    if (TIFFRGBAImageOK(tiff.get(), reason) == 0) {
        throw Failure(kExitUnsupported, name,
                      std::string("unsupported kind of TIFF (") + reason +
                          "): save it with 8 or 16 bits a channel");
    }
    std::uint16_t orientation = kUpright;
    TIFFGetFieldDefaulted(tiff.get(), TIFFTAG_ORIENTATION, &orientation);
    if (orientation < 1 || orientation > 8) orientation = kUpright;
    const AlphaKind alpha = TakeAlpha(tiff.get());

    Picture picture;
    picture.lossless = true;
    RgbaPixels& rgba = picture.rgba;
    rgba.size = {static_cast<int>(width), static_cast<int>(height)};
    rgba.opaque = alpha.opaque;
    // Strips may be missing; those that a file has not are not paid for.
    rgba.bytes = PixelBytes::Cleared(static_cast<std::size_t>(rgba.stride()) * height);
    // Asked for as it is stored: turning is for who asks for the orientation.
    if (TIFFReadRGBAImageOriented(tiff.get(), width, height,
                                  reinterpret_cast<std::uint32_t*>(rgba.bytes.data()), orientation,
                                  1) == 0) {
        throw damaged();
    }
    // A sample that says nothing of what it is comes along as alpha.
    if (alpha.opaque) MakeOpaque(&rgba);
    for (int y = 0; alpha.multiplied && y < rgba.size.height; ++y) {
        libyuv::ARGBUnattenuate(rgba.row(y), rgba.stride(), rgba.row(y), rgba.stride(),
                                rgba.size.width, 1);
    }
    picture.density = ReadDensity(tiff.get());
    Metadata metadata;
    metadata.icc = Field(tiff.get(), TIFFTAG_ICCPROFILE);
    metadata.xmp = Field(tiff.get(), TIFFTAG_XMLPACKET);
    if (orientation != kUpright) metadata.exif = OrientationExif(orientation);
    picture.segments = MakeSegments(metadata);
    return picture;
}

bool WriteTiff(const Picture& picture, TIFF* tiff) {
    const RgbaPixels& rgba = picture.rgba;
    const int channels = rgba.opaque ? 3 : 4;
    const Metadata metadata = ReadMetadata(picture.segments);
    const auto set = [tiff](std::uint32_t tag, auto... values) {
        return TIFFSetField(tiff, tag, values...) == 1;
    };
    bool done = set(TIFFTAG_IMAGEWIDTH, rgba.size.width) &&
                set(TIFFTAG_IMAGELENGTH, rgba.size.height) &&
                set(TIFFTAG_SAMPLESPERPIXEL, channels) && set(TIFFTAG_BITSPERSAMPLE, 8) &&
                set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB) &&
                set(TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) &&
                set(TIFFTAG_ORIENTATION, Exif(picture.segments).orientation()) &&
                set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE) &&
                set(TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) &&
                set(TIFFTAG_ROWSPERSTRIP, TIFFDefaultStripSize(tiff, 0));
    if (picture.density) {
        done = done && set(TIFFTAG_XRESOLUTION, double{1} * picture.density->x) &&
               set(TIFFTAG_YRESOLUTION, double{1} * picture.density->y) &&
               set(TIFFTAG_RESOLUTIONUNIT, picture.density->unit + RESUNIT_NONE);
    }
    const std::uint16_t kinds[] = {EXTRASAMPLE_UNASSALPHA};
    if (!rgba.opaque) done = done && set(TIFFTAG_EXTRASAMPLES, 1, kinds);
    for (const auto& [tag, bytes] : {std::pair{TIFFTAG_ICCPROFILE, &metadata.icc},
                                     std::pair{TIFFTAG_XMLPACKET, &metadata.xmp}}) {
        if (bytes->empty()) continue;
        done = done && set(static_cast<std::uint32_t>(tag),
                           static_cast<std::uint32_t>(bytes->size()), bytes->data());
    }
    std::vector<std::uint8_t> row(static_cast<std::size_t>(rgba.stride()));
    for (int y = 0; done && y < rgba.size.height; ++y) {
        const std::uint8_t* in = rgba.row(y);
        for (std::size_t x = 0; x < static_cast<std::size_t>(rgba.size.width); ++x) {
            std::memcpy(row.data() + x * static_cast<std::size_t>(channels), in + x * 4,
                        static_cast<std::size_t>(channels));
        }
        done = TIFFWriteScanline(tiff, row.data(), static_cast<std::uint32_t>(y), 0) == 1;
    }
    return done && TIFFFlush(tiff) == 1;
}

FileBytes EncodeTiff(const std::string& name, Picture* picture, std::optional<int>) {
    MakeRgba(picture);
    Memory memory;
    bool done = false;
    {
        const OpenTiff tiff = Open("w", &memory);
        done = tiff && WriteTiff(*picture, tiff.get());
    }
    if (!done) throw Failure(kExitSomeFailed, name, "not enough memory: use a smaller picture");
    return std::move(memory.written);
}

}  // namespace

const PictureFormat kTiffFormat = {"TIFF", "tif tiff", kMaximumPictureSide,
                                   IsTiff, DecodeTiff, EncodeTiff};

}  // namespace posteffect
