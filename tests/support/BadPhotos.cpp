#include "tests/support/BadPhotos.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "apps/posteffect/PictureFormat.h"
#include "tests/support/ExifFile.h"
#include "tests/support/PngFile.h"

namespace {

using std::size_t;
using namespace std::string_literals;

Bytes operator+(Bytes first, const Bytes& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

Bytes Big(std::uint32_t value, int count = 4) {
    Bytes bytes;
    for (int i = count - 1; i >= 0; --i) {
        bytes.push_back(static_cast<std::uint8_t>(value >> (8U * static_cast<unsigned>(i))));
    }
    return bytes;
}

Bytes Little(std::uint32_t value, int count = 4) {
    Bytes bytes = Big(value, count);
    std::reverse(bytes.begin(), bytes.end());
    return bytes;
}

Bytes With(Bytes file, size_t at, const Bytes& bytes) {
    std::copy(bytes.begin(), bytes.end(), file.begin() + static_cast<std::ptrdiff_t>(at));
    return file;
}

Bytes Part(const Bytes& file, size_t begin, size_t end) {
    return {file.begin() + static_cast<std::ptrdiff_t>(begin),
            file.begin() + static_cast<std::ptrdiff_t>(std::min(end, file.size()))};
}

size_t Find(const Bytes& file, const Bytes& part) {
    return static_cast<size_t>(std::search(file.begin(), file.end(), part.begin(), part.end()) -
                               file.begin());
}

class Collection {
  public:
    // Names are numbered: there are many of a kind.
    void add(const std::string& what, const std::string& extension, Bytes bytes,
             Fate fate = Fate::kRefused) {
        photos.push_back(
            {std::to_string(photos.size()) + "-" + what + "." + extension, std::move(bytes), fate});
    }
    // Cut at, and damaged in, places all over the file. `whole`: how much of it must be there.
    void addDamage(const std::string& what, const std::string& extension, const Bytes& file,
                   size_t whole) {
        constexpr size_t kCuts = 10;
        constexpr size_t kFlips = 12;
        for (size_t i = 0; i < kCuts; ++i) {
            const size_t length = i * file.size() / kCuts;
            add(what + "-cut", extension, Part(file, 0, length),
                length < whole ? Fate::kRefused : Fate::kEither);
        }
        for (size_t i = 0; i < kFlips; ++i) {
            const size_t at = i * file.size() / kFlips;
            Bytes damaged = file;
            damaged[at] = static_cast<std::uint8_t>(~damaged[at]);
            add(what + "-flip", extension, damaged, Fate::kEither);
        }
    }

    std::vector<BadPhoto> photos;
};

size_t FindMarker(const Bytes& file, int marker) {
    return Find(file, {0xFF, static_cast<std::uint8_t>(marker)});
}

// A marker segment as it is in a file.
Bytes InFile(int marker, const Bytes& bytes) {
    return Bytes{0xFF, static_cast<std::uint8_t>(marker)} +
           Big(static_cast<std::uint32_t>(bytes.size() + 2), 2) + bytes;
}

Bytes WithSegment(const Bytes& jpeg, const Bytes& segment) {
    return Part(jpeg, 0, 2) + segment + Part(jpeg, 2, jpeg.size());
}

// EXIF of these bytes behind the header of its directories, which are little-endian.
Bytes ExifOf(const Bytes& directories, std::uint32_t first = 8) {
    return InFile(kApp0 + 1, ToBytes("Exif\0\0II*\0"s) + Little(first) + directories);
}

Bytes Entry(std::uint32_t tag, std::uint32_t type, std::uint32_t count, std::uint32_t value) {
    return Little(tag, 2) + Little(type, 2) + Little(count) + Little(value);
}

void AddExif(const Bytes& jpeg, Collection* all) {
    const auto add = [&](const std::string& what, const Bytes& segment) {
        all->add("exif-" + what, "jpg", WithSegment(jpeg, segment), Fate::kRead);
    };
    const auto one = [](const Bytes& entry, std::uint32_t next = 0) {
        return ExifOf(Little(1, 2) + entry + Little(next));
    };
    constexpr std::uint32_t kOrientation = 0x112;
    constexpr std::uint32_t kExifDirectory = 0x8769;
    constexpr std::uint32_t kThumbnail = 0x201;
    add("empty", InFile(kApp0 + 1, ToBytes("Exif\0\0"s)));
    add("short-header", InFile(kApp0 + 1, ToBytes("Exif\0\0II*"s)));
    add("order", InFile(kApp0 + 1, ToBytes("Exif\0\0XX*\0\10\0\0\0"s)));
    for (const std::uint32_t first : {0U, 1U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        add("first-directory", ExifOf(Little(0, 2), first));
    }
    add("next-is-itself", one(Entry(kOrientation, 3, 1, 1), 8));
    add("next-is-far", one(Entry(kOrientation, 3, 1, 1), 0xFFFFFFF0U));
    add("directory-in-itself", one(Entry(kExifDirectory, 4, 1, 8)));
    add("directory-far", one(Entry(kExifDirectory, 4, 1, 0xFFFFFFFFU)));
    add("many-entries", ExifOf(Little(0xFFFF, 2) + Entry(kOrientation, 3, 1, 1)));
    for (const std::uint32_t type : {0U, 3U, 5U, 12U, 13U, 0xFFFFU}) {
        for (const std::uint32_t count : {0x20000001U, 0xFFFFFFFFU}) {
            add("count", one(Entry(0x10F, type, count, 4)));
        }
    }
    for (const std::uint32_t value : {0U, 9U, 0xFFFFU}) {
        add("orientation", one(Entry(kOrientation, 3, 1, value)));
    }
    add("orientation-of-no-values", one(Entry(kOrientation, 3, 0, 6)));
    for (const std::uint32_t length : {0U, 0x10000U, 0xFFFFFFFFU}) {
        add("thumbnail",
            ExifOf(Little(0, 2) + Little(14) + Little(2, 2) + Entry(kThumbnail, 4, 1, 20) +
                   Entry(kThumbnail + 1, 4, 1, length) + Little(0)));
    }
}

void AddJpegs(Collection* all) {
    JpegRecipe recipe;
    const Bytes file = MakeJpeg(recipe, Ramp);
    AddExif(file, all);
    recipe.segments = {{kApp0 + 1, MakeExif({})}};
    const Bytes base = MakeJpeg(recipe, Ramp);
    all->addDamage("baseline", "jpg", base, base.size());
    recipe.progressive = true;
    const Bytes progressive = MakeJpeg(recipe, Ramp);
    all->addDamage("progressive", "jpg", progressive, progressive.size());
    recipe.arithmetic = true;
    const Bytes arithmetic = MakeJpeg(recipe, Ramp);
    all->addDamage("arithmetic", "jpg", arithmetic, arithmetic.size());

    const auto add = [&](const std::string& what, const Bytes& bytes, Fate fate = Fate::kRefused) {
        all->add(what, "jpg", bytes, fate);
    };
    const size_t frame = FindMarker(file, 0xC0);
    const size_t scan = FindMarker(file, 0xDA);
    const size_t tables = FindMarker(file, 0xC4);
    const size_t steps = FindMarker(file, 0xDB);
    // What is put in place of other bytes.
    const struct {
        const char* what;
        size_t at;
        std::vector<Bytes> bytes;
        Fate fate = Fate::kRefused;
    } lies[] = {
        {"height", frame + 5, {{0, 0}, {0xFF, 0xFF}}},
        {"size", frame + 5, {{0, 32, 0, 0}, {0, 0, 0, 0}, {0xFF, 0xFF, 0, 1}}},
        {"large", frame + 5, {Bytes(4, 0xFF), {0xFF, 0xDC, 0xFF, 0xDC}, {0x90, 0x88, 0x90, 0x88}}},
        {"precision", frame + 4, {{0}, {1}, {12}, {16}, {255}}},
        {"differential", frame + 1, {{0xC5}, {0xC6}, {0xC7}, {0xCD}, {0xCE}, {0xCF}, {0xDE}}},
        {"lossless-or-reserved", frame + 1, {{0xC3}, {0xC8}, {0xCB}, {0x01}}},
        {"components", frame + 9, {{0}, {2}, {4}, {5}, {255}}},
        {"sampling", frame + 11, {{0x00}, {0x02}, {0x20}, {0x55}, {0xFF}}},
        {"frame-length", frame + 2, {{0, 0}, {0xFF, 0xFF}}},
        {"step-table", frame + 12, {{4}}},
        {"no-steps", steps + 1, {{0xFE}}},
        {"no-codes", tables + 1, {{0xFE}}, Fate::kEither},  // usual ones are known
        {"codes", tables + 5, {Bytes(16, 0xFF)}},
        {"scan-components", scan + 4, {{0}, {5}}},
        {"scan-of-nothing", scan + 5, {{77}}},
        {"scan-codes", scan + 6, {{0x33}}},
    };
    for (const auto& lie : lies) {
        for (const Bytes& bytes : lie.bytes) add(lie.what, With(file, lie.at, bytes), lie.fate);
    }
    const Bytes begin = Part(file, 0, scan);
    const Bytes rest = Part(file, scan, file.size());
    add("no-scan", begin + Bytes{0xFF, 0xD9});
    add("no-frame", Part(file, 0, frame) + rest);
    add("two-frames", begin + Part(file, frame, scan) + rest);
    add("start-only", {0xFF, 0xD8});
    add("start-and-end", {0xFF, 0xD8, 0xFF, 0xD9});
    add("start-again", Part(file, 0, 2) + file);
    add("no-end", Part(file, 0, file.size() - 2));
    add("restarts", begin + InFile(0xDD, Big(1, 2)) + rest);
    for (const std::uint32_t length : {0U, 1U, 0xFFFFU}) {
        add("segment-length", WithSegment(file, Bytes{0xFF, 0xE5} + Big(length, 2)), Fate::kEither);
    }
    JpegRecipe inks;
    inks.colors = "cmyk";
    add("cmyk", MakeJpeg(inks, Ramp));
    // As many scans as fit, each of which says nothing new.
    const size_t first = FindMarker(progressive, 0xDA) + 2;
    Bytes scans = Part(progressive, 0,
                       first + Find(Part(progressive, first, progressive.size()), {0xFF, 0xC4}));
    for (int i = 0; i < 3000; ++i) {
        scans = std::move(scans) + InFile(0xDA, {1, 1, 0, 1, 63, 0}) + Bytes{0};
    }
    add("scans", scans + Bytes{0xFF, 0xD9});
    for (const char* text : {"GIF89a", "BM", "<html><body>404</body></html>", "\xFF\xD8\xFF"}) {
        add("other", ToBytes(text));
    }
    add("zeros", Bytes(5000));
    add("ones", Bytes(5000, 0xFF));
    add("behind", file + Bytes(5000, 0xD8), Fate::kRead);
    for (const Bytes& numbers : {Bytes{0, 0}, Bytes{2, 1}, Bytes{255, 255}, Bytes{1}, Bytes{}}) {
        const Bytes icc = ToBytes("ICC_PROFILE\0"s) + numbers;
        add("icc", WithSegment(file, InFile(kApp0 + 2, icc)), Fate::kRead);
    }
}

Bytes Chunk(const std::string& name, const Bytes& data) {
    const Bytes named = ToBytes(name) + data;
    return Big(static_cast<std::uint32_t>(data.size())) + named +
           Big(static_cast<std::uint32_t>(crc32(0, named.data(), static_cast<uInt>(named.size()))));
}

Bytes Deflated(const Bytes& bytes) {
    uLongf length = compressBound(bytes.size());
    Bytes packed(length);
    compress2(packed.data(), &length, bytes.data(), bytes.size(), 9);
    packed.resize(length);
    return packed;
}

// What an RGB picture of 8 bits a channel has in its header.
Bytes PngHeader(std::uint32_t width = 4, std::uint32_t height = 3) {
    return Big(width) + Big(height) + Bytes{8, 2, 0, 0, 0};
}

void AddPngs(Collection* all) {
    for (const PngRecipe& recipe : {PngRecipe{21, 14, "rgba", 8, true},
                                    {21, 14, "palette", 8, false},
                                    {21, 14, "rgb", 16, false}}) {
        const Bytes file = MakePng(recipe, Glass);
        all->addDamage(recipe.colors, "png", file, file.size() - 12);  // all but the end
    }
    const Bytes begin = ToBytes("\x89PNG\r\n\x1A\n");
    const Bytes end = Chunk("IEND", {});
    const Bytes rows = Chunk("IDAT", Deflated(Bytes(3 * (1 + 4 * 3))));
    const auto add = [&](const std::string& what, const Bytes& chunks, Fate fate = Fate::kRefused) {
        all->add(what, "png", begin + chunks + end, fate);
    };
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {
        {0, 3},          {4, 0},          {5, 3},          {4, 4},
        {0x7FFFFFFF, 3}, {4, 0x7FFFFFFF}, {0xFFFFFFFF, 3}, {0x80000000, 0x80000000},
        {65535, 65535},  {30000, 30000}};
    for (const auto& [width, height] : sizes) {
        add("size", Chunk("IHDR", PngHeader(width, height)) + rows);
    }
    // Depth, colours, compression, filter and interlacing.
    for (size_t at = 8; at < PngHeader().size(); ++at) {
        for (const int value : {1, 3, 5, 7, 32, 255}) {
            const Bytes lie = {static_cast<std::uint8_t>(value)};
            add("header-" + std::to_string(at), Chunk("IHDR", With(PngHeader(), at, lie)) + rows);
        }
    }
    const Bytes header = Chunk("IHDR", PngHeader());
    const Bytes indexed = Chunk("IHDR", With(PngHeader(), 9, {3}));
    add("no-header", rows);
    add("two-headers", header + header + rows, Fate::kEither);
    add("header-late", rows + header);
    add("no-rows", header);
    add("rows-of-nothing", header + Chunk("IDAT", {}));
    add("rows-of-nothing-first", header + Chunk("IDAT", {}) + rows, Fate::kEither);
    add("rows-no-deflate", header + Chunk("IDAT", Bytes(50, 0x55)));
    add("rows-too-few", header + Chunk("IDAT", Deflated(Bytes(13))));
    add("rows-too-many", header + Chunk("IDAT", Deflated(Bytes(5000))), Fate::kEither);
    add("rows-filter", header + Chunk("IDAT", Deflated(Bytes(39, 9))));
    add("no-palette", indexed + Chunk("IDAT", Deflated(Bytes(15))));
    for (const size_t length : {0U, 2U, 3U, 771U}) {
        const Bytes palette = Chunk("PLTE", Bytes(length));
        add("palette", indexed + palette + Chunk("IDAT", Deflated(Bytes(15, 2))), Fate::kEither);
    }
    add("unknown-critical", header + Chunk("ABCD", Bytes(9)) + rows);
    for (const std::uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        add("chunk-length", header + Big(length) + ToBytes("IDAT") + rows);
        add("text-length", header + Big(length) + ToBytes("tEXt") + rows, Fate::kEither);
    }
    const Bytes whole = begin + header + rows + end;
    for (const std::string name : {"IHDR", "IDAT", "IEND"}) {
        const size_t at = Find(whole, ToBytes(name));
        all->add("sum-" + name, "png", With(whole, at - 4 + 8 + whole[at - 1], {0, 0, 0, 0}),
                 name == "IEND" ? Fate::kEither : Fate::kRefused);
    }
    // Texts and profiles that unpack to far more than a picture has.
    const Bytes bomb = ToBytes("key\0\0"s) + Deflated(Bytes(20U << 20U));
    Bytes texts;
    for (int i = 0; i < 3000; ++i) texts = std::move(texts) + Chunk("tEXt", ToBytes("a"));
    for (const Bytes& beside :
         {Chunk("zTXt", bomb), Chunk("iCCP", bomb), texts, Chunk("pHYs", Bytes(9, 0)),
          Chunk("pHYs", Bytes(8, 0xFF) + Bytes{1}), Chunk("eXIf", ToBytes("II*")),
          Chunk("tRNS", Bytes(2))}) {
        add("beside-" + std::string(beside.begin() + 4, beside.begin() + 8), header + beside + rows,
            Fate::kRead);
    }
}

Bytes Encoded(const posteffect::PictureFormat& format, std::optional<int> quality) {
    posteffect::Picture picture =
        posteffect::kPngFormat.decode("made", MakePng({21, 14, "rgba", 8, false}, Glass));
    return format.encode("made", &picture, quality);
}

void AddWebps(Collection* all) {
    const auto add = [&](const std::string& what, const Bytes& bytes, Fate fate = Fate::kRefused) {
        all->add(what, "webp", bytes, fate);
    };
    const Bytes lossless = Encoded(posteffect::kWebpFormat, std::nullopt);
    all->addDamage("lossless", "webp", lossless, lossless.size() / 2);
    // The bit that tells of alpha; the samples stay.
    add("no-alpha", With(lossless, 24, {static_cast<std::uint8_t>(lossless[24] & 0xEF)}),
        Fate::kRead);
    const Bytes lossy = Encoded(posteffect::kWebpFormat, 50);
    all->addDamage("lossy", "webp", lossy, lossy.size() / 2);
    for (const std::uint32_t length : {0U, 4U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        add("riff-length", With(lossless, 4, Little(length)), Fate::kEither);
        add("chunk-length", With(lossless, 16, Little(length)), Fate::kEither);
    }
    const auto container = [](const Bytes& chunks) {
        return ToBytes("RIFF") + Little(static_cast<std::uint32_t>(chunks.size() + 4)) +
               ToBytes("WEBP") + chunks;
    };
    const auto extended = [](std::uint8_t flags, std::uint32_t width, std::uint32_t height) {
        return ToBytes("VP8X") + Little(10) + Bytes{flags, 0, 0, 0} + Little(width, 3) +
               Little(height, 3);
    };
    const Bytes image = Part(lossless, 12, lossless.size());
    add("no-image", container({}));
    add("no-image", container(extended(0, 20, 13)));
    add("canvas", container(extended(0x10, 0xFFFFFF, 0xFFFFFF) + image));
    add("canvas", container(extended(0x10, 99, 13) + image), Fate::kEither);
    add("moving", container(extended(2, 20, 13) + image));
    add("alpha", container(extended(0x10, 20, 13) + ToBytes("ALPH") + Little(3) + Bytes(4) + image),
        Fate::kEither);
    add("profile", container(extended(0x20, 20, 13) + ToBytes("ICCP") + Little(0) + image),
        Fate::kEither);
    add("exif", container(extended(8, 20, 13) + image + ToBytes("EXIF") + Little(3) + Bytes(4)),
        Fate::kEither);
}

void AddTiffs(Collection* all) {
    const auto add = [&](const std::string& what, const Bytes& bytes, Fate fate = Fate::kRefused) {
        all->add(what, "tif", bytes, fate);
    };
    const Bytes whole = Encoded(posteffect::kTiffFormat, std::nullopt);
    all->addDamage("tiff", "tif", whole, whole.size() / 2);
    // 4 x 3 greys without compression, whose entries are changed one by one.
    struct Field {
        std::uint32_t tag, type, count, value;
    };
    const std::vector<Field> fields = {{256, 3, 1, 4}, {257, 3, 1, 3}, {258, 3, 1, 8},
                                       {259, 3, 1, 1}, {262, 3, 1, 1}, {273, 4, 1, 8},
                                       {277, 3, 1, 1}, {278, 3, 1, 3}, {279, 4, 1, 12}};
    constexpr std::uint32_t kDirectory = 20;
    const auto make = [](const std::vector<Field>& entries, std::uint32_t directory = 20,
                         std::uint32_t next = 0) {
        Bytes file = ToBytes("II*\0"s) + Little(directory) + Bytes(12, 0x77) +
                     Little(static_cast<std::uint32_t>(entries.size()), 2);
        for (const Field& field : entries) {
            file = std::move(file) + Entry(field.tag, field.type, field.count, field.value);
        }
        return std::move(file) + Little(next);
    };
    add("sound", make(fields), Fate::kRead);
    for (const std::uint32_t directory : {0U, 1U, 4U, 0x7FFFFFFEU, 0xFFFFFFFFU}) {
        add("directory", make(fields, directory));
    }
    add("next-is-itself", make(fields, kDirectory, kDirectory), Fate::kRead);
    add("next-is-far", make(fields, kDirectory, 0xFFFFFFFEU), Fate::kRead);
    add("no-entries", make({}));
    add("many-entries", With(make(fields), kDirectory, Little(0xFFFF, 2)));
    const auto addChanged = [&](size_t field, const Field& to, Fate fate) {
        std::vector<Field> changed = fields;
        changed[field] = to;
        add("field-" + std::to_string(to.tag), make(changed), fate);
    };
    for (const std::uint32_t side : {0U, 1000001U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        addChanged(0, {256, 4, 1, side}, Fate::kRefused);
        addChanged(1, {257, 4, 1, side}, Fate::kRefused);
    }
    // Sizes, kinds of samples and compressions, places: of one value and of many.
    for (const std::uint32_t value :
         {0U, 1U, 2U, 3U, 5U, 6U, 7U, 8U, 33U, 64U, 32844U, 34892U, 50000U, 60000U, 0xFFFFU}) {
        for (size_t i = 0; i < fields.size(); ++i) {
            const Field& field = fields[i];
            addChanged(i, {field.tag, field.type, 1, value}, Fate::kEither);
            addChanged(i, {field.tag, 4, 0x40000001U * value, field.value}, Fate::kEither);
        }
        addChanged(7, {322, 4, 1, 0xFFFFFFFFU - value}, Fate::kEither);  // tiles, not strips
    }
    // More than a machine has, in a coding that nobody knows, or that an empty strip may have.
    for (const std::uint32_t coding : {2048U, 4U}) {
        std::vector<Field> huge = fields;
        huge[0].value = huge[1].value = 37000;
        huge[2].value = 1;
        huge[3].value = coding;
        add("huge", make(huge), Fate::kEither);
    }
    // A fourth sample that is said to be of no kind.
    add("sample", With(whole, Find(whole, Entry(338, 3, 1, 2)) + 8, {0}), Fate::kRead);
    add("big", With(whole, 2, {43}));
}

}  // namespace

std::vector<BadPhoto> MakeBadPhotos() {
    Collection all;
    AddJpegs(&all);
    AddPngs(&all);
    AddWebps(&all);
    AddTiffs(&all);
    return std::move(all.photos);
}
