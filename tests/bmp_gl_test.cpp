// BMP files to textures and back, on files that are whole, odd, cut and made up.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "gl/GECommon.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "tests/support/BmpFile.h"
#include "tests/support/GLTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/SystemRoot.h"

namespace {

using namespace testing_support;
using testing::ElementsAre;
using testing::HasSubstr;

class BmpFiles : public GLTest {
  protected:
    void Write(const std::string& name, const Bytes& bytes) const {
        WriteFile(m_root.path("/data/" + name), bytes);
    }
    Bytes Read(const std::string& name) const { return ReadFile(m_root.path("/data/" + name)); }
    static bool Load(const std::string& name, unsigned format, unsigned type) {
        GLTexture texture;
        return texture.LoadBMP(("/data/" + name).c_str(), format, type, 0);
    }

    SystemRoot m_root;
};

// What the GPU holds, as RGBA.
Bytes Pixels(GLTexture& texture) {
    GLFbo fbo;
    EXPECT_TRUE(fbo.Init());
    EXPECT_TRUE(fbo.SetColorAttachment(texture.target(), texture.name()));
    fbo.Bind();
    Bytes pixels(std::size_t{texture.m_nWidth} * texture.m_nHeight * 4);
    glReadPixels(0, 0, static_cast<GLsizei>(texture.m_nWidth),
                 static_cast<GLsizei>(texture.m_nHeight), GL_RGBA, GL_UNSIGNED_BYTE, pixels.data());
    return pixels;
}

TEST_F(BmpFiles, BytesLandInTheTextureAsTheyAreStored) {
    for (const int depth : {24, 32}) {
        for (const bool streaming : {false, true}) {
            SCOPED_TRACE(depth);
            constexpr int kWidth = 32;
            const auto pixelBytes = static_cast<std::size_t>(depth / 8);
            const Bytes file = BmpFile(kWidth, 3, depth, 70, kWidth * 3 * pixelBytes);
            Write("a.bmp", file);
            GLTexture texture;
            ASSERT_TRUE(texture.LoadBMP("/data/a.bmp", depth == 24 ? GL_RGB : GL_RGBA,
                                        GL_UNSIGNED_BYTE, streaming));
            const Bytes pixels = Pixels(texture);
            for (std::size_t i = 0; i < kWidth * 3; ++i) {
                for (std::size_t c = 0; c < pixelBytes; ++c) {
                    ASSERT_EQ(pixels[i * 4 + c], file[70 + i * pixelBytes + c]) << i;
                }
            }
        }
    }
    // Widths whose rows are no multiple of four bytes.
    const Bytes odd = BmpFile(5, 2, 24, 54, 30);
    Write("odd.bmp", odd);
    GLTexture texture;
    ASSERT_TRUE(texture.LoadBMP("/data/odd.bmp", GL_RGB, GL_UNSIGNED_BYTE, 0));
    EXPECT_EQ(Pixels(texture)[5 * 4], odd[54 + 15])
        << "the second row begins right after the first";
}

TEST_F(BmpFiles, FormatsAreCheckedLenientlyAndNeverReadTooMuch) {
    const struct {
        int depth;
        unsigned format, type;
        bool ok;
    } cases[] = {
        {8, GL_LUMINANCE, GL_UNSIGNED_BYTE, true},
        {8, GL_RGB, GL_UNSIGNED_BYTE, true},
        {8, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, false},
        {16, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, true},
        {16, GL_RGB, GL_UNSIGNED_BYTE, true},
        {16, GL_RGBA, GL_UNSIGNED_BYTE, false},
        {24, GL_RGBA, GL_UNSIGNED_BYTE, true},
        {24, GL_RGB, GL_UNSIGNED_SHORT_5_6_5, true},
        {24, GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4, false},
        {32, GL_RGB, GL_UNSIGNED_BYTE, true},
        {32, GL_RGBA, GL_UNSIGNED_SHORT_4_4_4_4, true},
        {32, GL_LUMINANCE, GL_UNSIGNED_SHORT_5_6_5, false},
        {4, GL_RGB, GL_UNSIGNED_BYTE, false},
        {1, GL_RGB, GL_UNSIGNED_BYTE, false},
        {0, GL_RGB, GL_UNSIGNED_BYTE, false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.depth << " bits, 0x" << std::hex << c.format);
        Write("a.bmp", BmpFile(16, 16, c.depth, 54, 16UL * 16 * 4));
        const LogCapture log;
        EXPECT_EQ(Load("a.bmp", c.format, c.type), c.ok);
        if (c.ok || c.depth < 8) {
            EXPECT_TRUE(log.errors().empty());
        } else {
            EXPECT_THAT(log.errors(), ElementsAre(HasSubstr(" mismatch")));
        }
    }
}

TEST_F(BmpFiles, DamagedFilesAreRefusedWithOneMessage) {
    const Bytes whole = BmpFile(16, 8, 24, 54, 16UL * 8 * 3);
    const auto with = [whole](std::size_t at, std::int64_t value) {
        Bytes bytes = whole;
        Put(bytes, {at, value});
        return bytes;
    };
    const std::string unreadable = "[LoadBMP] error reading file\n";
    const std::string header = "[LoadBMP] Can't open bmp: Header fail\n";
    const struct {
        const char* what;
        Bytes bytes;
        std::string error;
    } cases[] = {
        {"empty", {}, header},
        {"one byte", {'B'}, header},
        {"another signature", with(0, 0x4142), header},
        {"negative height", with(22, -8), unreadable},
        {"wide beyond any GPU", with(18, 1 << 20), unreadable},
        {"offset a byte too far", with(10, 55), unreadable},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        Write("a.bmp", c.bytes);
        const LogCapture log;
        EXPECT_FALSE(Load("a.bmp", GL_RGB, GL_UNSIGNED_BYTE));
        EXPECT_THAT(log.errors(), ElementsAre(c.error));
    }
    const LogCapture log;
    EXPECT_FALSE(Load("none.bmp", GL_RGB, GL_UNSIGNED_BYTE));
    EXPECT_THAT(log.errors(), ElementsAre("[LoadBMP] Can't open BMP /data/none.bmp\n"));
}

TEST_F(BmpFiles, DumpsCarryTheTemplatesHeaderAndThePixels) {
    Write("template.bmp", BmpFile(1, 1, 24, 138, 3));
    GLTexture texture;
    ASSERT_TRUE(texture.Init(GL_RGBA, GL_UNSIGNED_BYTE, 2, 2, 1));
    auto* pixels = static_cast<unsigned char*>(texture.GetSTDataBuf());
    for (unsigned char i = 0; i < 16; ++i) pixels[i] = i;

    const auto expectDump = [this](const char* name, int depth, std::size_t pixelBytes,
                                   const Bytes& first) {
        const Bytes dump = Read(name);
        ASSERT_EQ(dump.size(), 138U + pixelBytes) << name;
        EXPECT_EQ(dump[28], depth) << name;
        EXPECT_EQ(Bytes(dump.begin() + 138, dump.begin() + 142), first) << name;
    };
    ASSERT_TRUE(texture.SaveBMP_yuvx("/data/template.bmp", "fourth.bmp"));
    expectDump("fourth.bmp", 8, 4, {3, 7, 11, 15});

    ASSERT_TRUE(texture.SaveBMP("/data/template.bmp", "whole.bmp"));
    expectDump("whole.bmp", 32, 16, {2, 1, 0, 255});
    EXPECT_EQ(Read("whole.bmp")[18], 2);
    EXPECT_EQ(Read("whole.bmp")[22], 2);
    EXPECT_THAT(Bytes(pixels, pixels + 4), ElementsAre(2, 1, 0, 255)) << "swapped in memory too";
    EXPECT_TRUE(Load("whole.bmp", GL_RGBA, GL_UNSIGNED_BYTE));

    GLTexture target;
    ASSERT_TRUE(target.Init(GL_RGBA, GL_UNSIGNED_BYTE, 3, 2, 0));
    GLFbo fbo;
    ASSERT_TRUE(fbo.Init());
    const LogCapture log;
    EXPECT_FALSE(fbo.SaveBMP("/data/template.bmp", "none.bmp"));
    ASSERT_TRUE(fbo.SetColorAttachment(&target));
    fbo.Bind();
    glClearColor(1.0F, 0.0F, 0.2F, 0.5F);
    glClear(GL_COLOR_BUFFER_BIT);
    ASSERT_TRUE(fbo.SaveBMP("/data/template.bmp", "fbo.bmp"));
    expectDump("fbo.bmp", 24, 24, {255, 51, 0, 255});  // the template's depth stays
    EXPECT_THAT(log.errors(), ElementsAre("[SaveBMP] no texture attached\n"));
}

TEST_F(BmpFiles, DumpsThatCannotBeWrittenSayWhy) {
    GLTexture normal;
    ASSERT_TRUE(normal.Init(GL_RGBA, GL_UNSIGNED_BYTE, 2, 2, 0));
    GLTexture texture;
    ASSERT_TRUE(texture.Init(GL_RGBA, GL_UNSIGNED_BYTE, 2, 2, 1));
    GLTexture shortPixels;
    ASSERT_TRUE(shortPixels.Init(GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 2, 2, 1));
    Write("template.bmp", BmpFile(1, 1, 24, 54, 3));
    Write("text.bmp", {'h', 'e', 'l', 'l', 'o'});
    const std::string longName(300, 'n');
    const LogCapture log;
    EXPECT_FALSE(normal.SaveBMP("/data/template.bmp", "a.bmp"));
    EXPECT_FALSE(shortPixels.SaveBMP_yuvx("/data/template.bmp", "a.bmp"));
    EXPECT_FALSE(texture.SaveBMP("/data/none.bmp", "a.bmp"));
    EXPECT_FALSE(texture.SaveBMP("/data/template.bmp", "none/a.bmp"));
    EXPECT_FALSE(texture.SaveBMP("/data/template.bmp", longName.c_str()));
    EXPECT_FALSE(texture.SaveBMP("/data/text.bmp", "a.bmp"));
    EXPECT_THAT(log.errors(),
                ElementsAre("[SaveBMP] ERROR, only streaming texture use this method\n",
                            "[SaveBMP_yuvx] ERROR, only RGB or RGBA texture use this method\n",
                            "[SaveBMP] can't open fin\n",
                            "[SaveBMP] can't open fout, No such file or directory\n",
                            "[SaveBMP] can't open fout, File name too long\n",
                            "[SaveBMP] not a BMP file\n"));
    EXPECT_TRUE(shortPixels.SaveBMP("/data/template.bmp", "short.bmp"));
    EXPECT_EQ(Read("short.bmp")[28], 16);
}

}  // namespace
