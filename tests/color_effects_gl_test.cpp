// The colour effects against their maths on the CPU, with the look-up files that are shipped and
// with made-up ones.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "effects/Bloom.h"
#include "effects/Contrast.h"
#include "effects/SplitToning.h"
#include "effects/Stylize.h"
#include "effects/TwoToneMask.h"
#include "effects/Vintage.h"
#include "effects/Whiteboard.h"
#include "platform/DevicePath.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PictureModel.h"

namespace {

using testing::ElementsAre;
using testing_support::ApplyModel;
using testing_support::Capture;
using testing_support::CaptureImage;
using testing_support::Compare;
using testing_support::Difference;
using testing_support::ExpectAgrees;
using testing_support::InitEffect;
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

struct Yuv {
    double y, v, u;
};

// Back through the shaders' matrix.
Yuv ToYuv(const Rgb& c) {
    constexpr double kRed = 0.714 / 1.402;
    constexpr double kBlue = 0.344 / 1.772;
    const double y = (c[1] + kRed * c[0] + kBlue * c[2]) / (1.0 + kRed + kBlue);
    return {y, (c[0] - y) / 1.402 + 0.5, (c[2] - y) / 1.772 + 0.5};
}

Rgb ToRgb(const Yuv& c) {
    return {c.y + 1.402 * (c.v - 0.5), c.y - 0.714 * (c.v - 0.5) - 0.344 * (c.u - 0.5),
            c.y + 1.772 * (c.u - 0.5)};
}

// Luma range, then two rows of the contrast ramp: red of the first, green of the second.
struct Grading {
    double clip[4];
    double rows[2];

    double operator()(double luma, const LookUp& ramp) const {
        luma = std::clamp(luma - clip[0], 0.0, clip[1] - clip[0]) * (clip[3] - clip[2]) /
                   (clip[1] - clip[0]) +
               clip[2];
        luma = ramp.At(luma, rows[0], 2);
        return ramp.At(luma, rows[1], 1);
    }
};

PixelEffect StylizeModel(const Grading& grading, double row) {
    return [=, ramp = LookUp("stylizeContrastRamp.bmp"), colors = LookUp("stylizeColorRamp.bmp")](
               const Rgb& in, double, double) {
        Yuv c = ToYuv(in);
        c.y = grading(c.y, ramp);
        const Rgb rgb = Clamped(ToRgb(c));
        return Rgb{colors.At(rgb[0], row, 2), colors.At(rgb[1], row, 1), colors.At(rgb[2], row, 0)};
    };
}

PixelEffect TwoToneModel(const Grading& grading, double dimmed, const char* mask, bool turned) {
    return [=, ramp = LookUp("stylizeContrastRamp.bmp"), mask = LookUp(mask)](const Rgb& in,
                                                                              double s, double t) {
        Yuv c = ToYuv(in);
        c.y = grading(c.y, ramp);
        Rgb rgb = ToRgb(c);
        for (int i = 0; i < 3; ++i) {
            const double light = turned ? mask.At(t, s, i) : mask.At(s, t, i);
            rgb[static_cast<std::size_t>(i)] *= std::min(light * dimmed, 1.0);
        }
        return rgb;
    };
}

// `tone` changes the chroma of a graded pixel.
template <typename Tone>
PixelEffect SplitToningModel(const Grading& grading, const char* mask, Tone tone) {
    return [=, ramp = LookUp("stylizeContrastRamp.bmp"), mask = LookUp(mask)](const Rgb& in,
                                                                              double s, double t) {
        Yuv c = ToYuv(in);
        c.y = grading(c.y, ramp);
        tone(c);
        Rgb rgb = ToRgb(c);
        for (double& channel : rgb) channel *= mask.At(s, t, 0);
        return rgb;
    };
}

PixelEffect WhiteboardModel(const CaptureImage& image) {
    return [&image, curve = LookUp("ContrastCurveSet.bmp")](const Rgb& in, double s, double t) {
        const auto luma = [&](int x, int y) {
            return image.luma(std::clamp(x, 0, image.width() - 1),
                              std::clamp(y, 0, image.height() - 1)) /
                   255.0;
        };
        const int x = static_cast<int>(s * image.width());
        const int y = static_cast<int>(t * image.height());
        Yuv c = ToYuv(in);
        c.y = 1.3 * luma(x, y) - 0.075 * (luma(x - 1, y - 1) + luma(x + 1, y - 1) +
                                          luma(x - 1, y + 1) + luma(x + 1, y + 1));
        Rgb rgb = ToRgb(c);
        for (double& channel : rgb) {
            channel = curve.At(std::pow(std::max(channel, 0.0), 0.7), 0.5, 2);
        }
        const double whiteness = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
        constexpr double kCaps[] = {0.96, 0.965, 0.95};
        for (std::size_t i = 0; i < 3; ++i) {
            const double lifted =
                std::min(rgb[i] * (1.0 + 0.3 * std::max(whiteness - 0.2, 0.0)), kCaps[i]);
            rgb[i] = 0.4 * rgb[i] + 0.6 * lifted;
        }
        return rgb;
    };
}

using ColorEffects = testing_support::EffectTest;

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

TEST_F(ColorEffects, NashAndMapleGradeLumaAndMapEachChannel) {
    const PixelEffect nash = StylizeModel({{0.0, 1.0, 0.117, 1.0}, {0.6, 0.6}}, 0.9);
    ExpectFollowsModel<GEShaderStylizeNash>(nash, nash, [](GEShader& effect) {
        EXPECT_EQ(effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0) << "an odd answer, kept";
        EXPECT_EQ(effect.SetParam(0, 17, 0, 0, 0), 1);
    });
    const PixelEffect maple = StylizeModel({{0.0, 0.859, 0.0976, 1.0}, {0.6, 0.5}}, 0.5);
    ExpectFollowsModel<GEShaderStylizeMaple>(
        maple, maple, [](GEShader& effect) { EXPECT_EQ(effect.SetParam(0, 17, 0, 0, 0), 1); });
}

TEST_F(ColorEffects, TwoTonesRunDownOrAcrossTheWholeImage) {
    const PixelEffect v =
        TwoToneModel({{0.0, 1.0, 0.0, 1.0}, {0.7, 0.6}}, 0.85, "twoToneMaskV.bmp", false);
    ExpectFollowsModel<GEShaderTwoToneMaskV>(v, v, [](GEShader&) {});
    const PixelEffect h =
        TwoToneModel({{0.0, 1.0, 0.0, 1.0}, {1.0, 0.8}}, 0.7, "twoToneMaskH.bmp", true);
    ExpectFollowsModel<GEShaderTwoToneMaskH>(h, h, [](GEShader&) {});
}

TEST_F(ColorEffects, SplitToningTonesShadowsAndHighlightsApart) {
    for (const int place : {0, 37, 100}) {
        SCOPED_TRACE(place);
        const auto key = GEShaderSplitToningCM::TonesAt(place);
        const std::array<double, 4> tones = {
            static_cast<double>(key[0]), static_cast<double>(key[1]), static_cast<double>(key[2]),
            static_cast<double>(key[3])};
        const auto tone = [tones](Yuv& c) {
            const double bright = std::pow(c.y, 0.6);
            c.u = tones[2] + (tones[0] - tones[2]) * bright;
            c.v = tones[3] + (tones[1] - tones[3]) * bright;
        };
        const Grading grading = {{0.0, 1.0, 0.0, 1.0}, {0.8, 0.7}};
        const PixelEffect wide = SplitToningModel(grading, "mask_vignette_wide.bmp", tone);
        const PixelEffect legacy = SplitToningModel(grading, "mask_vignette_legacy.bmp", tone);
        // 352 x 208 is near enough to 5:3 here.
        CaptureImage image(352, 208);
        image.FillNatural(4);
        const auto prepare = [place](GEShader& effect) {
            effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
            EXPECT_EQ(effect.SetParam(0, place, 0, 0, 0), 1);
            EXPECT_EQ(effect.SetParam(1, 50, 0, 0, 0), 1) << "another group changes nothing";
        };
        ExpectAgrees(Preview<GEShaderSplitToningCM>(image, prepare), ApplyModel(image, wide));
        CaptureImage tall(320, 240);
        tall.FillNatural(4);
        ExpectAgrees(Preview<GEShaderSplitToningCM>(tall, prepare), ApplyModel(tall, legacy));
        const CaptureImage parts = Capture<GEShaderSplitToningCM>(tall, 80, 60, prepare);
        ExpectAgrees(parts, ApplyModel(tall, legacy));
        const Difference difference =
            Compare(parts, Capture<GEShaderSplitToningCM>(tall, 320, 240, prepare));
        EXPECT_LE(difference.lumaMax, 1) << difference.where;
        EXPECT_LE(difference.chromaMax, 1);
    }
    const PixelEffect sc =
        SplitToningModel({{0.0, 1.0, 0.0, 1.0}, {0.6, 0.8}}, "mask_vignette_wide.bmp", [](Yuv& c) {
            const double shift = 0.4 * (c.y - 0.5);
            c.v = 0.5 * (c.v - 0.5 + shift) + 0.5;
            c.u = 0.5 * (c.u - 0.5 - shift) + 0.5;
        });
    ExpectFollowsModel<GEShaderSplitToningSC>(sc, sc, [](GEShader&) {});
}

TEST_F(ColorEffects, TheTonesOfARampHavePlateausAndContinueOutside) {
    const auto at = GEShaderSplitToningCM::TonesAt;
    EXPECT_EQ(at(24), at(25));
    EXPECT_EQ(at(49), at(50));
    EXPECT_EQ(at(74), at(75));
    EXPECT_EQ(at(99), at(100));
    EXPECT_FLOAT_EQ(at(0)[2], 0.705F);
    EXPECT_FLOAT_EQ(at(37)[0], 0.409F + 0.5F * (0.354F - 0.409F));
    EXPECT_FLOAT_EQ(at(100)[3], 0.75F);
    EXPECT_FLOAT_EQ(at(-12)[0], 0.455F - 0.5F * (0.409F - 0.455F));
    EXPECT_EQ(at(110), at(85)) << "on the last segment by the remainder";
    EXPECT_EQ(at(130), at(5)) << "on the first segment by the remainder";
}

TEST_F(ColorEffects, WhiteboardSharpensLiftsAndCaps) {
    CaptureImage image(320, 192);
    image.FillNatural(4);
    const auto prepare = [](GEShader& effect) {
        effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
        EXPECT_EQ(effect.SetParam(0, 50, 0, 0, 0), 0);
    };
    const CaptureImage expected = ApplyModel(image, WhiteboardModel(image));
    ExpectAgrees(Preview<GEShaderWhiteboard>(image, prepare), expected);
    ExpectAgrees(Capture<GEShaderWhiteboard>(image, 320, 192, prepare), expected);
    // A saturated blue has a red far below zero.
    CaptureImage blue(64, 64);
    blue.FillFlat(29, 107, 255);
    const CaptureImage result = Preview<GEShaderWhiteboard>(blue, prepare);
    for (int x = 0; x < 64; ++x) EXPECT_LT(result.luma(x, 20), 60) << "a white speck";
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
        {"ContrastCurveSet.bmp", 10, "[Init] can't load contrast curve tex"},
        {"stylizeColorRamp.bmp", 11, "[Init] \t\tcan't load LUT tex"},
        {"stylizeContrastRamp.bmp", 12, "[Init] \t\tcan't load contrast tex"},
        {"twoToneMaskV.bmp", 13, "[Init] \t\tcan't load Mask tex"},
        {"twoToneMaskH.bmp", 14, "[Init] \t\tcan't load Mask tex"},
        {"mask_vignette_legacy.bmp", 15, "[Init] can't load vignette tex"},
        {"stylizeContrastRamp.bmp", 15, "[Init] can't load contrast tex"},
        {"mask_vignette_wide.bmp", 16, "[Init] \t\tcan't load LUT tex"},
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

}  // namespace
