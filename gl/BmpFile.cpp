#include "gl/BmpFile.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/DevicePath.h"

namespace bmp {

namespace {

struct Row {
    unsigned bitsPerPixel;
    GLenum format;
    GLenum type;
};
constexpr Row kRows[] = {
    {32, GL_RGBA, GL_UNSIGNED_BYTE},
    {24, GL_RGB, GL_UNSIGNED_BYTE},
    {16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5},
    {8, GL_LUMINANCE, GL_UNSIGNED_BYTE},
};

const Row* FindDepth(unsigned bitsPerPixel) {
    const auto* found = std::find_if(std::begin(kRows), std::end(kRows), [=](const Row& row) {
        return row.bitsPerPixel == bitsPerPixel;
    });
    return found != std::end(kRows) ? found : nullptr;
}

}  // namespace

bool Header::Read(std::FILE* file, std::size_t bytes) {
    m_bytes.fill(0);
    const std::size_t read = std::fread(m_bytes.data(), 1, std::min(bytes, m_bytes.size()), file);
    return read >= 2 && m_bytes[0] == 'B' && m_bytes[1] == 'M';
}

unsigned Header::bitsPerPixel() const {
    return static_cast<unsigned>(m_bytes[28]) | static_cast<unsigned>(m_bytes[29]) << 8U;
}

void Header::setSize(uint32_t width, uint32_t height) {
    setField(18, width, 4);
    setField(22, height, 4);
}

void Header::setBitsPerPixel(unsigned bits) {
    setField(28, bits, 2);
}

uint32_t Header::field32(std::size_t offset) const {
    uint32_t value = 0;
    for (std::size_t i = 4; i-- > 0;) value = value << 8U | m_bytes[offset + i];
    return value;
}

void Header::setField(std::size_t offset, uint32_t value, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i, value >>= 8U) {
        m_bytes[offset + i] = static_cast<uint8_t>(value & 0xFFU);
    }
}

bool FormatFits(unsigned bitsPerPixel, GLenum format, GLenum type) {
    const Row* row = FindDepth(bitsPerPixel);
    return row == nullptr || format == row->format || type == row->type;
}

bool IsReadableDepth(unsigned bitsPerPixel) {
    return FindDepth(bitsPerPixel) != nullptr;
}

unsigned DepthOf(GLenum format, GLenum type) {
    for (const Row& row : kRows) {
        if (row.format == format && row.type == type) return row.bitsPerPixel;
    }
    return format == GL_RGB ? 24 : 32;
}

std::size_t BytesThatGLReads(GLenum format, GLenum type) {
    for (const Row& row : kRows) {
        if (row.format == format && row.type == type) return row.bitsPerPixel / 8;
    }
    // No format of OpenGL ES 2.0 takes more.
    return 4;
}

uint64_t SizeOf(std::FILE* file) {
    if (std::fseek(file, 0, SEEK_END) != 0) return 0;
    const long size = std::ftell(file);
    return size > 0 ? static_cast<uint64_t>(size) : 0;
}

bool Dump::Open(LogTag& log, const char* operation, const char* templatePath, const char* name) {
    std::array<char, 256> path{};
    const int length = std::snprintf(path.data(), path.size(), "/data/%s", name);
    LOG_INFO(log, "[%s] fname %s\n", operation, templatePath);
    LOG_INFO(log, "[%s] foutname %s\n", operation, path.data());
    in.reset(platform::OpenDeviceFile(templatePath, "rb"));
    if (in == nullptr) {
        LOG_ERROR(log, "[%s] can't open fin\n", operation);
        return false;
    }
    // A name that does not fit would name another file.
    const bool fits = length > 0 && static_cast<std::size_t>(length) < path.size();
    errno = ENAMETOOLONG;
    if (fits) out.reset(platform::OpenDeviceFile(path.data(), "wb"));
    if (out == nullptr) {
        LOG_ERROR(log, "[%s] can't open fout, %s\n", operation, std::strerror(errno));
        return false;
    }
    if (!header.Read(in.get(), kTemplateBytes)) {
        LOG_ERROR(log, "[%s] not a BMP file\n", operation);
        return false;
    }
    return true;
}

bool Dump::Close(LogTag& log, const char* operation) {
    std::fflush(out.get());
    const int inError = std::ferror(in.get());
    const int outError = std::ferror(out.get());
    if (inError != 0 || outError != 0) {
        LOG_ERROR(log, "[%s] ferror %u %u\n", operation, static_cast<unsigned>(inError),
                  static_cast<unsigned>(outError));
        return false;
    }
    in.reset();
    return std::fclose(out.release()) == 0;
}

}  // namespace bmp
