#include "tests/support/ExifFile.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <sstream>

namespace {

struct Unref {
    void operator()(ExifData* data) const { exif_data_unref(data); }
};
using Data = std::unique_ptr<ExifData, Unref>;

Data NewData() {
    Data data(exif_data_new());
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    return data;
}

void Add(const Data& data, ExifIfd directory, int tag, ExifFormat format, const Bytes& value) {
    ExifEntry* entry = exif_entry_new();
    entry->tag = static_cast<ExifTag>(tag);
    entry->format = format;
    entry->components = value.size() / exif_format_get_size(format);
    entry->size = static_cast<unsigned>(value.size());
    entry->data = static_cast<unsigned char*>(std::malloc(value.size()));
    std::memcpy(entry->data, value.data(), value.size());
    exif_content_add_entry(data->ifd[directory], entry);
    exif_entry_unref(entry);
}

Bytes Short(const Data& data, int value) {
    Bytes bytes(2);
    exif_set_short(bytes.data(), exif_data_get_byte_order(data.get()),
                   static_cast<ExifShort>(value));
    return bytes;
}

Bytes Long(const Data& data, int value) {
    Bytes bytes(4);
    exif_set_long(bytes.data(), exif_data_get_byte_order(data.get()), static_cast<ExifLong>(value));
    return bytes;
}

}  // namespace

Bytes MakeExif(const ExifRecipe& recipe) {
    const Data data = NewData();
    exif_data_set_byte_order(data.get(), recipe.order);
    const char maker[] = "A maker of cameras";
    Add(data, EXIF_IFD_0, EXIF_TAG_MAKE, EXIF_FORMAT_ASCII, Bytes(maker, maker + sizeof(maker)));
    Add(data, EXIF_IFD_0, EXIF_TAG_ORIENTATION, EXIF_FORMAT_SHORT, Short(data, recipe.orientation));
    Add(data, EXIF_IFD_0, 0xC0DE, EXIF_FORMAT_UNDEFINED, {1, 2, 3, 4, 5, 6});
    Add(data, EXIF_IFD_EXIF, EXIF_TAG_PIXEL_X_DIMENSION, EXIF_FORMAT_LONG,
        Long(data, recipe.width));
    Add(data, EXIF_IFD_EXIF, EXIF_TAG_PIXEL_Y_DIMENSION, EXIF_FORMAT_SHORT,
        Short(data, recipe.height));
    Add(data, EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS, EXIF_FORMAT_SHORT, Short(data, 400));
    Add(data, EXIF_IFD_GPS, EXIF_TAG_GPS_LATITUDE_REF, EXIF_FORMAT_ASCII, {'N', 0});
    if (!recipe.thumbnail.empty()) {
        Add(data, EXIF_IFD_1, EXIF_TAG_COMPRESSION, EXIF_FORMAT_SHORT, Short(data, 6));
        data->size = static_cast<unsigned>(recipe.thumbnail.size());
        data->data = static_cast<unsigned char*>(std::malloc(recipe.thumbnail.size()));
        std::memcpy(data->data, recipe.thumbnail.data(), recipe.thumbnail.size());
    }
    unsigned char* bytes = nullptr;
    unsigned size = 0;
    exif_data_save_data(data.get(), &bytes, &size);
    Bytes segment(bytes, bytes + size);
    std::free(bytes);
    return segment;
}

std::string DescribeExif(const Bytes& segment) {
    const Data data = NewData();
    exif_data_load_data(data.get(), segment.data(), static_cast<unsigned>(segment.size()));
    std::ostringstream text;
    text << exif_byte_order_get_name(exif_data_get_byte_order(data.get())) << '\n';
    for (int directory = 0; directory < EXIF_IFD_COUNT; ++directory) {
        const ExifContent* content = data->ifd[directory];
        for (unsigned i = 0; i < content->count; ++i) {
            const ExifEntry* entry = content->entries[i];
            text << directory << ' ' << std::hex << entry->tag << std::dec << ' ' << entry->format
                 << ':';
            for (unsigned k = 0; k < entry->size; ++k) text << ' ' << int{entry->data[k]};
            text << '\n';
        }
    }
    text << "thumbnail:";
    for (unsigned k = 0; k < data->size; ++k) text << ' ' << int{data->data[k]};
    return text.str();
}
