// The parts of BMP files that look-up textures and dumps need: a few header fields, and pixel rows
// back to back. No compression, no palette, no padding, no top-down pictures.
#pragma once

#include <GLES2/gl2.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <memory>

#include "gl/Log.h"

namespace bmp {

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

inline constexpr std::size_t kHeaderBytes = 54;     // what the reader looks at
inline constexpr std::size_t kTemplateBytes = 128;  // what the writers copy

// The first bytes of a file, zero where it is shorter.
class Header {
  public:
    // False when the file does not begin with "BM".
    bool Read(std::FILE* file, std::size_t bytes);

    uint32_t dataOffset() const { return field32(10); }
    int32_t width() const { return static_cast<int32_t>(field32(18)); }
    int32_t height() const { return static_cast<int32_t>(field32(22)); }
    unsigned bitsPerPixel() const;

    void setSize(uint32_t width, uint32_t height);
    void setBitsPerPixel(unsigned bits);

    const uint8_t* bytes() const { return m_bytes.data(); }

  private:
    uint32_t field32(std::size_t offset) const;
    void setField(std::size_t offset, uint32_t value, std::size_t size);

    std::array<uint8_t, kTemplateBytes> m_bytes{};
};

// Lenient on purpose: right format or right type will do; depths without a row pass.
bool FormatFits(unsigned bitsPerPixel, GLenum format, GLenum type);

// 8, 16, 24 and 32 bits can be read.
bool IsReadableDepth(unsigned bitsPerPixel);

// Depth that belongs to a GL format and type: 8, 16, 24 or 32.
unsigned DepthOf(GLenum format, GLenum type);

// At least as many bytes as GL reads for one pixel.
std::size_t BytesThatGLReads(GLenum format, GLenum type);

// Bytes from the file's start to its end; 0 when that cannot be told.
uint64_t SizeOf(std::FILE* file);

// A diagnostic dump: a template that gives the header, and the file that is written.
struct Dump {
    File in;
    File out;
    Header header;

    // Opens both, logging under `log` as `operation`; the output is "/data/" followed by `name`.
    // False, after one message, when either cannot be opened or the template is no BMP file.
    bool Open(LogTag& log, const char* operation, const char* templatePath, const char* name);
    // Logs and reports what went wrong with the files, if anything; closes them otherwise.
    bool Close(LogTag& log, const char* operation);
};

// A header's data offset beyond this is no offset that a writer follows.
inline constexpr uint32_t kMaxDataOffset = 64U << 10U;

}  // namespace bmp
