// Look-up pictures and program files that are cut, damaged or made up, and what is no file at all:
// they load or fail, and nothing is left of them.
#include <EGL/egl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "effects/Bypass.h"
#include "engine/GEManager.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "gl/KeptPrograms.h"
#include "platform/Extensions.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/LogCapture.h"

namespace {

using Bytes = std::vector<unsigned char>;

class BadLookUps : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "no EGL on this machine";
        m_before = testing_support::LiveGLObjects();
        char folder[] = "/tmp/posteffect-bad-XXXXXX";
        ASSERT_NE(mkdtemp(folder), nullptr);
        m_root = folder;
        setenv("POSTEFFECT_SYSROOT", folder, 1);
        std::filesystem::create_directories(m_root / "data");
    }
    void TearDown() override {
        unsetenv("POSTEFFECT_SYSROOT");
        std::filesystem::remove_all(m_root);
        DeleteKeptPrograms(eglGetCurrentContext());
        EXPECT_TRUE(CheckGLError("TearDown", "a test"));
        EXPECT_EQ(testing_support::LiveGLObjects(), m_before);
    }
    std::string path() const { return m_root / "data/file"; }
    void write(const Bytes& bytes) const {
        std::ofstream file(path(), std::ios::binary);
        file.write(reinterpret_cast<const char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()));
    }
    static bool loadBmp(GLTexture* texture) {
        return texture->LoadBMP("/data/file", GL_RGB, GL_UNSIGNED_BYTE, 0);
    }
    bool loadProgram() const {
        GLProgBypass program;
        return program.LoadBinary(path().c_str());
    }

    GEManager m_manager;
    int m_before = 0;
    std::filesystem::path m_root;
    testing_support::LogCapture m_log;  // keeps the faults off the terminal
};

// 3 x 3 pixels of 24 bits behind the longest usual header.
constexpr std::size_t kSize = 54 + 27;

struct Patch {
    std::size_t at;
    std::int64_t value;
    int bytes = 4;
};

Bytes Bmp(const std::vector<Patch>& patches, std::size_t size = kSize) {
    Bytes file(size);
    const auto put = [&file](const Patch& patch) {
        for (int i = 0; i < patch.bytes; ++i) {
            file[patch.at + static_cast<std::size_t>(i)] =
                static_cast<unsigned char>(patch.value >> (8 * i));
        }
    };
    for (const Patch& usual : std::vector<Patch>{{0, 0x4D42, 2},
                                                 {2, static_cast<std::int64_t>(size)},
                                                 {10, 54},
                                                 {14, 40},
                                                 {18, 3},
                                                 {22, 3},
                                                 {26, 1, 2},
                                                 {28, 24, 2}}) {
        put(usual);
    }
    for (const Patch& patch : patches) put(patch);
    return file;
}

TEST_F(BadLookUps, PicturesAreTakenAsFarAsTheFileBearsThemOut) {
    const auto expect = [&](bool loads, const std::vector<Patch>& patches,
                            std::size_t size = kSize) {
        std::string what;
        for (const Patch& patch : patches) {
            what += std::to_string(patch.at) + "=" + std::to_string(patch.value) + " ";
        }
        write(Bmp(patches, size));
        GLTexture texture;
        EXPECT_EQ(loadBmp(&texture), loads) << what;
    };
    // What no reader of look-up files needs to know.
    for (const std::int64_t header : {0, 12, 40, 124, -1}) {
        for (const std::int64_t planes : {0, 1, 0xFFFF}) {
            for (const std::int64_t compression : {0, 1, 3, -1}) {
                expect(true, {{14, header}, {26, planes, 2}, {30, compression}});
            }
        }
        expect(true, {{2, header}, {34, header}, {46, header}});
    }
    const std::int64_t sides[] = {0, -1, -3, INT_MIN, INT_MAX, 1, 3, 4, 16385, 0x10000, 0x40000000};
    for (const std::int64_t width : sides) {
        for (const std::int64_t height : sides) {
            const bool fits = width > 0 && height > 0 && width < 16385 && height < 16385 &&
                              width * height * 3 <= 27;
            expect(fits, {{18, width}, {22, height}});
        }
    }
    for (const std::int64_t depth :
         {0, 1, 2, 4, 8, 15, 16, 24, 25, 32, 33, 48, 64, 0xFF18, 0xFFFF}) {
        expect(depth == 8 || depth == 16 || depth == 24, {{28, depth, 2}});
    }
    for (const std::int64_t offset :
         {0L, 1L, 53L, 54L, 55L, 81L, 82L, 0x7FFFFFFFL, 0x80000000L, 0xFFFFFFE4L, 0xFFFFFFFFL}) {
        expect(offset <= 54, {{10, offset}});
    }
    const Bytes whole = Bmp({});
    for (std::size_t length = 0; length < kSize; ++length) {
        write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        GLTexture texture;
        EXPECT_FALSE(loadBmp(&texture)) << length;
    }
    write(whole);
    GLTexture texture;
    EXPECT_TRUE(loadBmp(&texture));
}

TEST_F(BadLookUps, ProgramFilesLoadWholeOrNotAtAll) {
    GLProgBypass program;
    ASSERT_NE(program.Load(), 0);
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS_OES, &formats);
    if (formats == 0) GTEST_SKIP() << "this driver has no program files";
    ASSERT_TRUE(program.SaveBinary(path().c_str()));
    std::ifstream file(path(), std::ios::binary);
    const Bytes whole{std::istreambuf_iterator<char>(file), {}};
    ASSERT_TRUE(loadProgram());
    // Each byte of what the driver puts before its own data, some of the rest.
    const auto next = [](std::size_t at) { return at + (at < 300 ? 1 : 41); };
    for (std::size_t length = 0; length < whole.size(); length = next(length)) {
        write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        ASSERT_FALSE(loadProgram()) << length;
    }
    for (std::size_t at = 0; at < whole.size(); at = next(at)) {
        Bytes damaged = whole;
        damaged[at] ^= 0x10U;
        write(damaged);
        ASSERT_FALSE(loadProgram()) << at;
    }
    write(whole);
    EXPECT_TRUE(loadProgram());
    EXPECT_TRUE(program.Use()) << "others are none of its business";
    glUseProgram(0);
}

// A named pipe would wait for its writer for ever.
TEST_F(BadLookUps, WhatIsNoFileIsRefusedAtOnce) {
    const auto refused = [&](const char* what) {
        GLTexture texture;
        EXPECT_FALSE(loadBmp(&texture)) << what;
        EXPECT_FALSE(loadProgram()) << what;
        std::filesystem::remove(path());
    };
    refused("nothing");
    std::filesystem::create_directory(path());
    refused("a folder");
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    refused("a pipe");
    for (const char* target : {"/dev/zero", "/dev/null", "nowhere", "file"}) {
        std::filesystem::create_symlink(target, path());
        refused(target);
    }
}

}  // namespace
