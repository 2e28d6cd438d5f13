// Linked programs as files: four bytes of the driver's format, then the driver's binary.
#include <cstdio>
#include <memory>
#include <new>

#include "gl/GECommon.h"
#include "gl/GLProgram.h"
#include "gl/KeptPrograms.h"
#include "gl/Log.h"
#include "platform/DevicePath.h"
#include "platform/Extensions.h"

namespace {

LogTag gLog("GLProgram");

// Far above what drivers write; a larger file is no program.
constexpr long kMaxBinaryBytes = 64L << 20;
constexpr long kFormatBytes = sizeof(GLenum);

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;
using Bytes = std::unique_ptr<unsigned char[]>;

Bytes Allocate(std::size_t size) {
    return Bytes(new (std::nothrow) unsigned char[size > 0 ? size : 1]);
}

}  // namespace

bool GLProgram::SaveBinary(const char* path) {
    constexpr const char* kName = "SaveBinary";
    LOG_INFO(gLog, "[%s] enter", kName);
    if (!glIsProgram(m_nProgram)) {
        LOG_ERROR(gLog, "[%s] invalid program id %d", kName, static_cast<int>(m_nProgram));
        return false;
    }
    const auto getBinary = platform::ContextExtensions().glGetProgramBinaryOES;
    GLint length = 0;
    if (getBinary != nullptr) {
        glGetProgramiv(m_nProgram, GL_PROGRAM_BINARY_LENGTH_OES, &length);
    }
    LOG_INFO(gLog, "[%s] binary length %d bytes", kName, length);
    // Drivers without binary formats report a length of zero.
    const Bytes binary = length > 0 ? Allocate(static_cast<std::size_t>(length)) : nullptr;
    if (binary == nullptr) {
        LOG_ERROR(gLog, "[%s] no program binary", kName);
        return false;
    }
    GLenum format = 0;
    GLsizei written = 0;
    getBinary(m_nProgram, length, &written, &format, binary.get());
    LOG_INFO(gLog, "[%s] proram id %d, binary format is 0x%X", kName, static_cast<int>(m_nProgram),
             format);
    if (!CheckGLError(kName, "glGetProgramBinaryOES")) return false;

    File file(std::fopen(path, "wb"));
    if (file == nullptr) {
        LOG_ERROR(gLog, "[%s] can't open %s for writing", kName, path);
        return false;
    }
    const auto size = static_cast<std::size_t>(written > 0 ? written : length);
    bool complete = std::fwrite(&format, sizeof format, 1, file.get()) == 1 &&
                    std::fwrite(binary.get(), 1, size, file.get()) == size;
    complete = std::fclose(file.release()) == 0 && complete;
    if (!complete) {
        LOG_ERROR(gLog, "[%s] can't write %s", kName, path);
        return false;
    }
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}

bool GLProgram::LoadBinary(const char* path) {
    constexpr const char* kName = "LoadBinary";
    LOG_INFO(gLog, "[%s] enter", kName);
    File file(platform::OpenToRead(path));
    if (file == nullptr) {
        LOG_ERROR(gLog, "[%s] can't open binary shader file %s", kName, path);
        return false;
    }
    std::fseek(file.get(), 0, SEEK_END);
    const long length = std::ftell(file.get()) - kFormatBytes;
    const Bytes binary = length >= 0 && length <= kMaxBinaryBytes
                             ? Allocate(static_cast<std::size_t>(length))
                             : nullptr;
    GLenum format = 0;
    if (binary == nullptr || std::fseek(file.get(), 0, SEEK_SET) != 0 ||
        std::fread(&format, sizeof format, 1, file.get()) != 1 ||
        std::fread(binary.get(), 1, static_cast<std::size_t>(length), file.get()) !=
            static_cast<std::size_t>(length)) {
        LOG_ERROR(gLog, "[%s] invalid shader length", kName);
        return false;
    }
    file.reset();

    if (glIsProgram(m_nProgram)) {
        // One that is kept may have other users.
        if (!ReturnProgram(m_nProgram)) glDeleteProgram(m_nProgram);
        LOG_INFO(gLog, "[%s] program %d deleted\n", kName, static_cast<int>(m_nProgram));
    }
    m_nProgram = glCreateProgram();
    if (m_nProgram == 0) {
        LOG_ERROR(gLog, "[%s] can't create program\n", kName);
        return false;
    }
    const auto programBinary = platform::ContextExtensions().glProgramBinaryOES;
    if (programBinary != nullptr) {
        programBinary(m_nProgram, format, binary.get(), static_cast<GLint>(length));
    }
    GLint linked = GL_FALSE;
    glGetProgramiv(m_nProgram, GL_LINK_STATUS, &linked);
    // The link status tells; the error that a foreign format also raises must not poison what
    // comes next.
    DrainGLErrors();
    if (linked == GL_FALSE) {
        LOG_ERROR(gLog, "[%s] can't load binary shader", kName);
        return false;
    }
    LOG_INFO(gLog, "[%s] leave", kName);
    return true;
}
