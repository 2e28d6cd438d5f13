#include "tests/support/BadPhotos.h"

#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <optional>
#include <utility>

#include "apps/posteffect/PictureFormat.h"
#include "tests/support/ExifFile.h"
#include "tests/support/PngFile.h"

namespace {

using std::size_t;

Rgb Smooth(int x, int y) {
    return {60 + x, 100 + y, 180 - x};
}

Rgba Glass(int x, int y) {
    return {40 + 9 * x, 90 + 5 * y, 200 - 7 * x, 255 - 12 * x};
}

Bytes Text(const std::string& text) {
    return {text.begin(), text.end()};
}

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
    return InFile(kApp0 + 1, Text(std::string("Exif\0\0II*\0", 10)) + Little(first) + directories);
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
    add("empty", InFile(kApp0 + 1, Text(std::string("Exif\0\0", 6))));
    add("short-header", InFile(kApp0 + 1, Text(std::string("Exif\0\0II*", 9))));
    add("order", InFile(kApp0 + 1, Text(std::string("Exif\0\0XX*\0\10\0\0\0", 14))));
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
    recipe.segments = {{kApp0 + 1, MakeExif({})}};
    const Bytes base = MakeJpeg(recipe, Smooth);
    all->addDamage("baseline", "jpg", base, base.size());
    recipe.progressive = true;
    const Bytes progressive = MakeJpeg(recipe, Smooth);
    all->addDamage("progressive", "jpg", progressive, progressive.size());
    recipe.arithmetic = true;
    const Bytes arithmetic = MakeJpeg(recipe, Smooth);
    all->addDamage("arithmetic", "jpg", arithmetic, arithmetic.size());

    JpegRecipe plain;
    plain.segments = {};
    const Bytes file = MakeJpeg(plain, Smooth);
    AddExif(file, all);
    const size_t frame = FindMarker(file, 0xC0);
    const size_t scan = FindMarker(file, 0xDA);
    const size_t tables = FindMarker(file, 0xC4);
    const size_t steps = FindMarker(file, 0xDB);
    const auto add = [&](const std::string& what, const Bytes& bytes, Fate fate = Fate::kRefused) {
        all->add(what, "jpg", bytes, fate);
    };
    // Heights and widths.
    const std::pair<std::uint32_t, std::uint32_t> sizes[] = {
        {0, 48}, {32, 0}, {0, 0}, {0xFFFF, 0xFFFF}, {65500, 65500}, {37000, 37000}, {0xFFFF, 1}};
    for (const auto& [height, width] : sizes) {
        add("size", With(file, frame + 5, Big(height, 2) + Big(width, 2)));
    }
    for (const std::uint8_t precision : std::initializer_list<std::uint8_t>{0, 1, 12, 16, 255}) {
        add("precision", With(file, frame + 4, {precision}));
    }
    // Lossless, differential and reserved frames.
    for (const int marker : {0xC3, 0xC5, 0xC6, 0xC7, 0xC8, 0xCB, 0xCD, 0xCE, 0xCF, 0x01, 0xDE}) {
        add("frame", With(file, frame + 1, {static_cast<std::uint8_t>(marker)}));
    }
    for (const std::uint8_t count : std::initializer_list<std::uint8_t>{0, 2, 4, 5, 255}) {
        add("components", With(file, frame + 9, {count}));
    }
    for (const std::uint8_t factors :
         std::initializer_list<std::uint8_t>{0x00, 0x02, 0x20, 0x55, 0xFF}) {
        add("sampling", With(file, frame + 11, {factors}));
    }
    add("frame-length", With(file, frame + 2, Big(0, 2)));
    add("frame-length", With(file, frame + 2, Big(0xFFFF, 2)));
    add("step-table", With(file, frame + 12, {4}));
    add("no-steps", With(file, steps + 1, {0xFE}));
    add("no-codes", With(file, tables + 1, {0xFE}), Fate::kEither);  // usual ones are known
    add("codes", With(file, tables + 5, Bytes(16, 0xFF)));
    add("scan-components", With(file, scan + 4, {0}));
    add("scan-components", With(file, scan + 4, {5}));
    add("scan-of-nothing", With(file, scan + 5, {77}));
    add("scan-codes", With(file, scan + 6, {0x33}));
    add("no-scan", Part(file, 0, scan) + Bytes{0xFF, 0xD9});
    add("no-frame", Part(file, 0, frame) + Part(file, scan, file.size()));
    add("two-frames",
        Part(file, 0, scan) + Part(file, frame, scan) + Part(file, scan, file.size()));
    add("start-only", {0xFF, 0xD8});
    add("start-and-end", {0xFF, 0xD8, 0xFF, 0xD9});
    add("start-again", Part(file, 0, 2) + file);
    add("no-end", Part(file, 0, file.size() - 2));
    add("restarts", Part(file, 0, scan) + InFile(0xDD, Big(1, 2)) + Part(file, scan, file.size()));
    for (const std::uint32_t length : {0U, 1U, 0xFFFFU}) {
        add("segment-length", WithSegment(file, Bytes{0xFF, 0xE5} + Big(length, 2)), Fate::kEither);
    }
    JpegRecipe inks = plain;
    inks.colors = "cmyk";
    add("cmyk", MakeJpeg(inks, Smooth));
    // As many scans as fit, each of which says nothing new.
    const size_t first = FindMarker(progressive, 0xDA);
    const size_t second =
        first + 2 + Find(Part(progressive, first + 2, progressive.size()), {0xFF, 0xC4});
    Bytes scans = Part(progressive, 0, second);
    for (int i = 0; i < 3000; ++i) {
        scans = std::move(scans) + InFile(0xDA, {1, 1, 0, 1, 63, 0}) + Bytes{0};
    }
    add("scans", scans + Bytes{0xFF, 0xD9});
    for (const char* text : {"GIF89a", "BM", "<html><body>404</body></html>", "\xFF\xD8\xFF"}) {
        add("other", Text(text));
    }
    add("zeros", Bytes(5000));
    add("ones", Bytes(5000, 0xFF));
    add("behind", file + Bytes(5000, 0xD8), Fate::kRead);
    const Bytes icc = Text(std::string("ICC_PROFILE\0", 12));
    for (const Bytes& numbers : {Bytes{0, 0}, Bytes{2, 1}, Bytes{255, 255}, Bytes{1}, Bytes{}}) {
        add("icc", WithSegment(file, InFile(kApp0 + 2, icc + numbers)), Fate::kRead);
    }
}

Bytes Chunk(const std::string& name, const Bytes& data) {
    const Bytes named = Text(name) + data;
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

struct PngHeader {
    std::uint32_t width = 4;
    std::uint32_t height = 3;
    std::uint8_t depth = 8;
    std::uint8_t color = 2;
    std::uint8_t compression = 0;
    std::uint8_t filter = 0;
    std::uint8_t interlace = 0;

    Bytes chunk() const {
        return Chunk(
            "IHDR", Big(width) + Big(height) + Bytes{depth, color, compression, filter, interlace});
    }
};

void AddPngs(Collection* all) {
    const Bytes interlaced = MakePng({21, 14, "rgba", 8, true}, Glass);
    const size_t whole = interlaced.size() - 12;  // all but the end
    all->addDamage("png", "png", interlaced, whole);
    const Bytes palette = MakePng({21, 14, "palette", 8, false}, Glass);
    all->addDamage("palette", "png", palette, palette.size() - 12);
    const Bytes deep = MakePng({21, 14, "rgb", 16, false}, Glass);
    all->addDamage("deep", "png", deep, deep.size() - 12);

    const Bytes begin = Text("\x89PNG\r\n\x1A\n");
    const Bytes end = Chunk("IEND", {});
    const Bytes rows = Chunk("IDAT", Deflated(Bytes(3 * (1 + 4 * 3))));
    const auto add = [&](const std::string& what, const Bytes& chunks, Fate fate = Fate::kRefused) {
        all->add(what, "png", begin + chunks, fate);
    };
    for (const auto& [width, height] : {std::pair{0U, 3U},
                                        {4U, 0U},
                                        {0x7FFFFFFFU, 3U},
                                        {4U, 0x7FFFFFFFU},
                                        {0xFFFFFFFFU, 3U},
                                        {0x80000000U, 0x80000000U},
                                        {65535U, 65535U},
                                        {30000U, 30000U},
                                        {5U, 3U},
                                        {4U, 4U}}) {
        add("size", PngHeader{width, height}.chunk() + rows + end);
    }
    for (const std::uint8_t depth : std::initializer_list<std::uint8_t>{0, 1, 3, 4, 5, 32, 255}) {
        add("depth", PngHeader{4, 3, depth}.chunk() + rows + end);
    }
    for (const std::uint8_t color : std::initializer_list<std::uint8_t>{1, 3, 5, 7, 255}) {
        add("color", PngHeader{4, 3, 8, color}.chunk() + rows + end);
    }
    add("compression", PngHeader{4, 3, 8, 2, 1}.chunk() + rows + end);
    add("filter", PngHeader{4, 3, 8, 2, 0, 1}.chunk() + rows + end);
    add("interlace", PngHeader{4, 3, 8, 2, 0, 0, 2}.chunk() + rows + end);
    const Bytes header = PngHeader().chunk();
    add("no-header", rows + end);
    add("two-headers", header + header + rows + end, Fate::kEither);
    add("header-late", rows + header + end);
    add("no-rows", header + end);
    add("rows-of-nothing", header + Chunk("IDAT", {}) + end);
    add("rows-of-nothing-first", header + Chunk("IDAT", {}) + rows + end, Fate::kEither);
    add("rows-no-deflate", header + Chunk("IDAT", Bytes(50, 0x55)) + end);
    add("rows-too-few", header + Chunk("IDAT", Deflated(Bytes(13))) + end);
    add("rows-too-many", header + Chunk("IDAT", Deflated(Bytes(5000))) + end, Fate::kEither);
    add("rows-filter", header + Chunk("IDAT", Deflated(Bytes(39, 9))) + end);
    add("no-palette", PngHeader{4, 3, 8, 3}.chunk() + Chunk("IDAT", Deflated(Bytes(15))) + end);
    for (const size_t length : {0U, 2U, 771U}) {
        add("palette-length",
            PngHeader{4, 3, 8, 3}.chunk() + Chunk("PLTE", Bytes(length)) +
                Chunk("IDAT", Deflated(Bytes(15))) + end,
            Fate::kEither);
    }
    add("palette-index",
        PngHeader{4, 3, 8, 3}.chunk() + Chunk("PLTE", Bytes(3)) +
            Chunk("IDAT", Deflated(Bytes(15, 2))) + end,
        Fate::kEither);
    add("unknown-critical", header + Chunk("ABCD", Bytes(9)) + rows + end);
    for (const std::uint32_t length : {0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        add("chunk-length", header + Big(length) + Text("IDAT") + rows + end);
        add("text-length", header + Big(length) + Text("tEXt") + rows + end, Fate::kEither);
    }
    for (const char* name : {"IHDR", "IDAT", "IEND"}) {
        Bytes damaged = begin + header + rows + end;
        const size_t at = Find(damaged, Text(name));
        all->add(std::string("sum-") + name, "png",
                 With(damaged, at - 4 + 8 + damaged[at - 1], {0, 0, 0, 0}),
                 name == std::string("IEND") ? Fate::kEither : Fate::kRefused);
    }
    // Texts and profiles that unpack to far more than a picture has.
    const Bytes bomb = Deflated(Bytes(20U << 20U));
    for (const char* name : {"zTXt", "iCCP"}) {
        add("bomb", header + Chunk(name, Text(std::string("key\0\0", 5)) + bomb) + rows + end,
            Fate::kRead);
    }
    add(
        "many-texts",
        [&] {
            Bytes file = header;
            for (int i = 0; i < 3000; ++i) file = std::move(file) + Chunk("tEXt", Text("a"));
            return file + rows + end;
        }(),
        Fate::kRead);
    for (const std::uint32_t dots : {0U, 0xFFFFFFFFU}) {
        add("density", header + Chunk("pHYs", Big(dots) + Big(dots) + Bytes{1}) + rows + end,
            Fate::kRead);
    }
    add("exif", header + Chunk("eXIf", Text("II*")) + rows + end, Fate::kRead);
    add("transparency", header + Chunk("tRNS", Bytes(2)) + rows + end, Fate::kRead);
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
        return Text("RIFF") + Little(static_cast<std::uint32_t>(chunks.size() + 4)) + Text("WEBP") +
               chunks;
    };
    const auto extended = [](std::uint8_t flags, std::uint32_t width, std::uint32_t height) {
        return Text("VP8X") + Little(10) + Bytes{flags, 0, 0, 0} + Little(width, 3) +
               Little(height, 3);
    };
    const Bytes image = Part(lossless, 12, lossless.size());
    add("no-image", container({}));
    add("no-image", container(extended(0, 20, 13)));
    add("canvas", container(extended(0x10, 0xFFFFFF, 0xFFFFFF) + image));
    add("canvas", container(extended(0x10, 99, 13) + image), Fate::kEither);
    add("moving", container(extended(2, 20, 13) + image));
    add("alpha", container(extended(0x10, 20, 13) + Text("ALPH") + Little(3) + Bytes(4) + image),
        Fate::kEither);
    add("profile", container(extended(0x20, 20, 13) + Text("ICCP") + Little(0) + image),
        Fate::kEither);
    add("exif", container(extended(8, 20, 13) + image + Text("EXIF") + Little(3) + Bytes(4)),
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
    const auto make = [&](const std::vector<Field>& entries, std::uint32_t directory = 20,
                          std::uint32_t next = 0) {
        Bytes file = Text(std::string("II*\0", 4)) + Little(directory) + Bytes(12, 0x77) +
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
    struct Change {
        size_t field;
        Field to;
        Fate fate;
    };
    std::vector<Change> changes;
    for (const std::uint32_t side : {0U, 0x7FFFFFFFU, 0xFFFFFFFFU, 1000001U, 60000U}) {
        for (const size_t field : {0U, 1U}) {
            changes.push_back({field,
                               {256 + static_cast<std::uint32_t>(field), 4, 1, side},
                               side == 60000 ? Fate::kEither : Fate::kRefused});
        }
    }
    for (const std::uint32_t value : {0U, 3U, 7U, 33U, 64U, 0xFFFFU}) {
        changes.push_back({2, {258, 3, 1, value}, Fate::kEither});
    }
    for (const std::uint32_t value : {0U, 2U, 5U, 6U, 7U, 8U, 34892U, 50000U, 0xFFFFU}) {
        changes.push_back({3, {259, 3, 1, value}, Fate::kEither});
    }
    for (const std::uint32_t value : {2U, 3U, 5U, 6U, 8U, 32844U, 0xFFFFU}) {
        changes.push_back({4, {262, 3, 1, value}, Fate::kEither});
    }
    for (const std::uint32_t count : {0U, 2U, 0x40000001U, 0xFFFFFFFFU}) {
        changes.push_back({5, {273, 4, count, 8}, Fate::kEither});
        changes.push_back({8, {279, 4, count, 12}, Fate::kEither});
    }
    for (const std::uint32_t value : {0U, 2U, 0xFFFFU}) {
        changes.push_back({6, {277, 3, 1, value}, Fate::kEither});
    }
    for (const std::uint32_t value : {0U, 1U, 0xFFFFFFFFU}) {
        changes.push_back({5, {273, 4, 1, value | 0x40000000U}, Fate::kEither});
        changes.push_back({7, {278, 4, 1, value}, Fate::kEither});
        changes.push_back({8, {279, 4, 1, value}, Fate::kEither});
    }
    // Tiles instead of strips.
    for (const std::uint32_t side : {0U, 1U, 16U, 0xFFFFFFF0U}) {
        changes.push_back({7, {322, 4, 1, side}, Fate::kEither});
    }
    for (const Change& change : changes) {
        std::vector<Field> changed = fields;
        changed[change.field] = change.to;
        add("field-" + std::to_string(change.to.tag), make(changed), change.fate);
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
