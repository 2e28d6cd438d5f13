// Look-up pictures and program files that are cut, damaged or made up, and what is no file at all:
// they load or fail, and nothing is left of them.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <climits>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "effects/Bypass.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"
#include "platform/Extensions.h"
#include "tests/support/BmpFile.h"
#include "tests/support/GLTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SystemRoot.h"

namespace {

using namespace testing_support;

class BadLookUps : public GLTest {
  protected:
    std::string path() const { return m_root.path("/data/file"); }
    void write(const Bytes& bytes) const { WriteFile(path(), bytes); }
    static bool loadsBmp() {
        GLTexture texture;
        return texture.LoadBMP("/data/file", GL_RGB, GL_UNSIGNED_BYTE, 0);
    }
    bool loadsProgram() const {
        GLProgBypass program;
        const bool loads = program.LoadBinary(path().c_str());
        EXPECT_TRUE(CheckGLError("after", "a program file"));
        return loads;
    }

    SystemRoot m_root;
    LogCapture m_log;  // keeps the faults off the terminal
};

TEST_F(BadLookUps, PicturesAreTakenAsFarAsTheFileBearsThemOut) {
    const Bytes whole = BmpFile(3, 3, 24, 54, 27);
    const auto expect = [&](bool loads, const std::vector<BmpField>& fields) {
        std::string what;
        Bytes file = whole;
        for (const BmpField& field : fields) {
            what += std::to_string(field.at) + "=" + std::to_string(field.value) + " ";
            Put(file, field);
        }
        write(file);
        EXPECT_EQ(loadsBmp(), loads) << what;
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
    for (Bytes cut = whole; !cut.empty();) {
        cut.pop_back();
        write(cut);
        EXPECT_FALSE(loadsBmp()) << cut.size();
    }
    expect(true, {});
}

TEST_F(BadLookUps, ProgramFilesLoadWholeOrNotAtAll) {
    const auto refusal = [this] {
        EXPECT_FALSE(loadsProgram());
        return m_log.errors().back();
    };
    EXPECT_EQ(refusal(), "[LoadBinary] can't open binary shader file " + path());
    write(Bytes(3, 'x'));
    EXPECT_EQ(refusal(), "[LoadBinary] invalid shader length");
    for (const std::size_t length : {4U, 300U}) {
        write(Bytes(length, 'x'));
        EXPECT_EQ(refusal(), "[LoadBinary] can't load binary shader") << length;
    }
    GLProgBypass program;
    EXPECT_FALSE(program.SaveBinary(path().c_str())) << "nothing is linked yet";
    ASSERT_NE(program.Load(), 0);
    {
        GLProgBypass other;  // of the same kept program
        ASSERT_NE(other.Load(), 0);
        EXPECT_FALSE(other.LoadBinary(path().c_str()));
        EXPECT_TRUE(program.Use()) << "whose other user read a file";
        EXPECT_TRUE(GLProgBypass().Load());
    }
    GLint formats = 0;
    glGetIntegerv(GL_NUM_PROGRAM_BINARY_FORMATS_OES, &formats);
    if (formats == 0) GTEST_SKIP() << "this driver has no program files";
    ASSERT_TRUE(program.SaveBinary(path().c_str()));
    const Bytes whole = ReadFile(path());
    ASSERT_TRUE(loadsProgram());
    // Each byte of what the driver puts before its own data, some of the rest.
    for (std::size_t at = 0; at < whole.size(); at += at < 300 ? 1 : 41) {
        write({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(at)});
        ASSERT_FALSE(loadsProgram()) << "cut at " << at;
        Bytes damaged = whole;
        damaged[at] ^= 0x10U;
        write(damaged);
        ASSERT_FALSE(loadsProgram()) << "damaged at " << at;
    }
    write(whole);
    EXPECT_TRUE(program.Use()) << "others are none of its business";
    GLProgBypass restored;
    ASSERT_TRUE(restored.LoadBinary(path().c_str()));
    EXPECT_TRUE(restored.Use());
    glUseProgram(0);
}

// A named pipe would wait for its writer for ever.
TEST_F(BadLookUps, WhatIsNoFileIsRefusedAtOnce) {
    const auto refused = [&](const char* what) {
        EXPECT_FALSE(loadsBmp()) << what;
        EXPECT_FALSE(loadsProgram()) << what;
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
