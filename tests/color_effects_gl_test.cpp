// The colour effects against their maths on the CPU, with the look-up files that are shipped and
// with made-up ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "effects/Bloom.h"
#include "effects/Contrast.h"
#include "effects/Vintage.h"
#include "engine/GEManager.h"
#include "gl/DebugOutput.h"
#include "gl/GECommon.h"
#include "platform/DevicePath.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PictureModel.h"

namespace {

using testing::ElementsAre;
using testing_support::ApplyModel;
using testing_support::Capture;
using testing_support::CaptureImage;
using testing_support::Compare;
using testing_support::Difference;
using testing_support::InitEffect;
using testing_support::LiveGLObjects;
using testing_support::LogCapture;
using testing_support::PixelEffect;
using testing_support::Preview;
using testing_support::Rgb;
using testing_support::Source;

using Bytes = std::vector<unsigned char>;

Bytes ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// A look-up file as a texture: stored bytes, sampled linearly and clamped.
class LookUp {
  public:
    explicit LookUp(const char* name)
        : m_bytes(ReadFile(
              platform::ResolveDevicePath((std::string("/system/media/GPU/") + name).c_str()))) {
        EXPECT_GT(m_bytes.size(), 54U) << name;
    }
    double At(double x, double y, int channel) const {
        const int width = Field(18);
        const int height = Field(22);
        const double column = std::clamp(x * width - 0.5, 0.0, width - 1.0);
        const double row = std::clamp(y * height - 0.5, 0.0, height - 1.0);
        const int left = static_cast<int>(column);
        const int top = static_cast<int>(row);
        const int right = std::min(left + 1, width - 1);
        const int bottom = std::min(top + 1, height - 1);
        const double upper =
            Mix(Texel(left, top, channel), Texel(right, top, channel), column - left);
        const double lower =
            Mix(Texel(left, bottom, channel), Texel(right, bottom, channel), column - left);
        return Mix(upper, lower, row - top);
    }

  private:
    static double Mix(double a, double b, double t) { return a + (b - a) * t; }
    int Field(std::size_t at) const { return m_bytes[at] | m_bytes[at + 1] << 8; }
    double Texel(int x, int y, int channel) const {
        const int pixelBytes = Field(28) / 8;
        const int index = Field(10) + (y * Field(18) + x) * pixelBytes + channel;
        return m_bytes[static_cast<std::size_t>(index)] / 255.0;
    }

    Bytes m_bytes;
};

Rgb Clamped(const Rgb& color) {
    return {std::clamp(color[0], 0.0, 1.0), std::clamp(color[1], 0.0, 1.0),
            std::clamp(color[2], 0.0, 1.0)};
}

// The files' stored blue is the first channel.
PixelEffect VintageModel(const char* curve, bool masked, const char* mask) {
    return [curve = LookUp(curve), masked, mask = LookUp(mask)](const Rgb& in, double s, double t) {
        const Rgb c = Clamped(in);
        const double light = masked ? mask.At(s, t, 0) : 1.0;
        return Rgb{curve.At(c[0], 0.0, 2) * light, curve.At(c[1], 0.0, 1) * light,
                   curve.At(c[2], 0.0, 0) * light};
    };
}

PixelEffect ContrastModel(const char* mask) {
    return
        [curve = LookUp("CurveCross.bmp"), mask = LookUp(mask)](const Rgb& in, double s, double t) {
            const Rgb c = Clamped(in);
            const double grey = (0.299 * curve.At(c[0], 0.0, 0) + 0.587 * curve.At(c[1], 0.0, 1) +
                                 0.114 * curve.At(c[2], 0.0, 2)) *
                                mask.At(s, t, 0);
            return Rgb{grey, grey, grey};
        };
}

Rgb BloomModel(const Rgb& c, double, double) {
    const double gain = 3.5 * (0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]);
    return {c[0] * gain, c[1] * gain, c[2] * gain};
}

class ColorEffects : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "no EGL on this machine";
        m_before = LiveGLObjects();
    }
    void TearDown() override {
        EXPECT_EQ(ReportedGLErrors(), 0U);
        EXPECT_TRUE(CheckGLError("TearDown", "a test"));
        EXPECT_EQ(LiveGLObjects(), m_before);
    }

    GEManager m_manager;
    int m_before = 0;
};

// Three levels on nearly all samples; curves and gains stretch the roundings of the few others.
void ExpectAgrees(const CaptureImage& actual, const CaptureImage& expected) {
    constexpr int kClose = 3;
    std::size_t outside = 0;
    for (std::size_t i = 0; i < actual.size(); ++i) {
        if (std::abs(actual.data()[i] - expected.data()[i]) > kClose) ++outside;
    }
    EXPECT_LE(static_cast<double>(outside), 0.005 * static_cast<double>(actual.size()))
        << Compare(actual, expected).where;
}

// Preview as a whole, capture in one block and in many.
template <typename Effect, typename Prepare>
void ExpectFollowsModel(const PixelEffect& wide, const PixelEffect& legacy, Prepare prepare) {
    // Blocks of the picture's own ratio, which picks the mask.
    for (const auto& [width, height, blockWidth, blockHeight, model] :
         {std::tuple{320, 180, 64, 36, wide},
          {320, 240, 80, 60, legacy},
          {352, 208, 88, 52, legacy}}) {
        SCOPED_TRACE(width);
        CaptureImage image(width, height);
        image.FillNatural(4);
        const CaptureImage expected = ApplyModel(image, model);
        ExpectAgrees(Preview<Effect>(image, prepare), expected);
        const CaptureImage whole = Capture<Effect>(image, width, height, prepare);
        ExpectAgrees(whole, expected);
        const CaptureImage parts = Capture<Effect>(image, blockWidth, blockHeight, prepare);
        const Difference difference = Compare(parts, whole);
        EXPECT_LE(difference.lumaMax, 1) << difference.where;
        EXPECT_LE(difference.chromaMax, 1);
    }
}

TEST_F(ColorEffects, VintageFollowsItsCurvesAndMask) {
    const char* curves[] = {"CurveCross.bmp", "CurveCold.bmp", "CurveWarm.bmp", "CurveSepia.bmp"};
    for (int look = 0; look < 4; ++look) {
        SCOPED_TRACE(curves[look]);
        ExpectFollowsModel<GEShaderVintage>(
            VintageModel(curves[look], look != 3, "mask_vignette_wide.bmp"),
            VintageModel(curves[look], look != 3, "mask_vignette_legacy.bmp"),
            [look](GEShader& effect) {
                effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
                EXPECT_EQ(effect.SetParam(0, (look + 1) % 4, 0, 0, 0), 0);
                EXPECT_EQ(effect.SetParam(0, look, 0, 0, 0), 0);
                const LogCapture log;
                EXPECT_EQ(effect.SetParam(0, 4, 0, 0, 0), 0);
                EXPECT_EQ(effect.SetParam(0, -1, 0, 0, 0), 0);
                EXPECT_EQ(effect.SetParam(1, 2, 0, 0, 0), 0) << "another group changes nothing";
                EXPECT_THAT(log.errors(),
                            ElementsAre("[SetParam] wrong param", "[SetParam] wrong param"));
            });
    }
}

TEST_F(ColorEffects, ContrastIsGreyWithTheCurvesOppositeChannels) {
    ExpectFollowsModel<GEShaderContrast>(
        ContrastModel("mask_vignette_wide.bmp"), ContrastModel("mask_vignette_legacy.bmp"),
        [](GEShader& effect) {
            EXPECT_EQ(effect.SetParam(0, 0, 0, 0, 0), 0);
            const LogCapture log;
            EXPECT_EQ(effect.SetParam(0, 1, 0, 0, 0), 0);
            EXPECT_THAT(log.errors(), ElementsAre("[SetParam] wrong param"));
        });
    CaptureImage red(64, 64);
    red.FillFlat(76, 255, 85);
    const CaptureImage result = Preview<GEShaderContrast>(red, [](GEShader&) {});
    EXPECT_NEAR(result.chroma(32, 32, 0), 128, 1);
    EXPECT_NEAR(result.chroma(32, 32, 1), 128, 1);
}

TEST_F(ColorEffects, BloomBrightensByItsOwnLuma) {
    ExpectFollowsModel<GEShaderBloom>(BloomModel, BloomModel, [](GEShader& effect) {
        EXPECT_EQ(effect.SetParam(0, 100, 100, 100, 100), 1);
    });
}

// A root with look-up files of the test's own.
class OwnFiles {
  public:
    OwnFiles() {
        const std::string shipped = platform::ResolveDevicePath("/system/media/GPU/");
        char folder[] = "/tmp/posteffect-files-XXXXXX";
        EXPECT_NE(mkdtemp(folder), nullptr);
        m_root = folder;
        std::filesystem::create_directories(m_root + "/sdcard/lantern");
        std::filesystem::create_directories(system());
        std::filesystem::copy(shipped, system(), std::filesystem::copy_options::recursive);
        setenv("POSTEFFECT_SYSROOT", folder, 1);
    }
    ~OwnFiles() {
        unsetenv("POSTEFFECT_SYSROOT");
        std::filesystem::remove_all(m_root);
    }
    OwnFiles(const OwnFiles&) = delete;
    OwnFiles& operator=(const OwnFiles&) = delete;

    std::string system() const { return m_root + "/system/media/GPU/"; }
    std::string own() const { return m_root + "/sdcard/lantern/"; }

  private:
    std::string m_root;
};

TEST_F(ColorEffects, APersonsOwnCurveWinsOverTheShippedOne) {
    const OwnFiles files;
    Bytes curve = ReadFile(files.system() + "CurveCross.bmp");
    for (std::size_t i = 54; i < curve.size(); ++i) curve[i] = (i - 54) % 3 == 2 ? 255 : 0;
    std::ofstream(files.own() + "CurveCross.bmp", std::ios::binary)
        .write(reinterpret_cast<const char*>(curve.data()),
               static_cast<std::streamsize>(curve.size()));
    CaptureImage image(64, 64);
    const CaptureImage red = Preview<GEShaderVintage>(image, [](GEShader&) {});
    EXPECT_NEAR(red.luma(32, 32), 76, 2);
    EXPECT_GT(red.chroma(32, 32, 0), 240);
    EXPECT_NEAR(red.chroma(32, 32, 1), 85, 2);
}

TEST_F(ColorEffects, AMissingFileFailsTheEffectWithItsMessageAndTheNextOneWorks) {
    const struct {
        const char* file;
        unsigned effect;
        const char* error;
    } cases[] = {
        {"CurveCross.bmp", 1, "[Init] can't load cross tex"},
        {"CurveCold.bmp", 1, "[Init] can't load hc tex"},
        {"CurveWarm.bmp", 1, "[Init] can't load warm tex"},
        {"CurveSepia.bmp", 1, "[Init] can't load sepia tex"},
        {"mask_vignette_legacy.bmp", 1, "[Init] can't load warm tex"},
        {"CurveCross.bmp", 6, "[Init] can't load cross tex"},
        {"mask_vignette_legacy.bmp", 6, "[Init] can't load warm tex"},
    };
    CaptureImage image(64, 64);
    Source source(image, 64, 64);
    const android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 64, 1, 0x130));
    ASSERT_TRUE(m_manager.Init(buffer->getNativeBuffer(), 64, 64, 0, 0, 0, 64, 64, &source));
    for (const auto& c : cases) {
        SCOPED_TRACE(c.file);
        const OwnFiles files;
        std::filesystem::remove(files.system() + c.file);
        for (const bool capture : {false, true}) {
            const LogCapture log;
            EXPECT_FALSE(m_manager.ChooseEffect(c.effect, capture));
            EXPECT_EQ(log.errors().back(), c.error);
            EXPECT_FALSE(m_manager.hasEffect());
            EXPECT_TRUE(m_manager.ChooseEffect(9, capture));
        }
    }
    m_manager.Deinit();
}

TEST_F(ColorEffects, SwitchingThroughAllOfThemLeaksNothing) {
    CaptureImage image(64, 64);
    Source source(image, 64, 64);
    const android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 64, 1, 0x130));
    ASSERT_TRUE(m_manager.Init(buffer->getNativeBuffer(), 64, 64, 0, 0, 0, 64, 64, &source));
    int live = 0;
    for (int round = 0; round < 20; ++round) {
        for (const unsigned effect : {1U, 4U, 6U, 9U}) {
            ASSERT_TRUE(m_manager.ChooseEffect(effect, 0));
            EXPECT_TRUE(m_manager.ProcFrame(0U, 0U, 0, 0));
        }
        if (round == 0) live = LiveGLObjects();
        EXPECT_EQ(LiveGLObjects(), live);
    }
    m_manager.Deinit();
}

}  // namespace
