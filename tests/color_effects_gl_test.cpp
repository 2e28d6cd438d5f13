// The colour effects against their maths on the CPU, with the look-up files that are shipped and
// with made-up ones.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
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
#include "tests/support/SystemRoot.h"

namespace {

using namespace testing_support;

Rgb Clamped(Rgb color) {
    for (double& channel : color) channel = std::clamp(channel, 0.0, 1.0);
    return color;
}

Rgb Times(Rgb color, double factor) {
    for (double& channel : color) channel *= factor;
    return color;
}

// Each channel through its curve, of which the file's stored blue is the first channel.
Rgb Curved(const TextureModel& curves, const Rgb& in, double row) {
    const Rgb c = Clamped(in);
    return {curves.At(c[0], row)[2], curves.At(c[1], row)[1], curves.At(c[2], row)[0]};
}

PixelEffect VintageModel(const char* file) {
    return
        [curves = LookUp(file)](const Rgb& in, double, double) { return Curved(curves, in, 0.0); };
}

// Grey, by the curve's opposite channels.
PixelEffect ContrastModel() {
    return [curve = LookUp("CurveCross.bmp")](const Rgb& in, double, double) {
        const Rgb c = Clamped(in);
        const double grey = 0.299 * curve.At(c[0], 0.0)[0] + 0.587 * curve.At(c[1], 0.0)[1] +
                            0.114 * curve.At(c[2], 0.0)[2];
        return Rgb{grey, grey, grey};
    };
}

// Brighter by its own luma.
Rgb BloomModel(const Rgb& c, double, double) {
    return Times(c, 3.5 * (0.3 * c[0] + 0.59 * c[1] + 0.11 * c[2]));
}

struct Yvu {
    double y, v, u;
};

// Back through the shaders' matrix.
Yvu ToYvu(const Rgb& c) {
    constexpr double kRed = 0.714 / 1.402;
    constexpr double kBlue = 0.344 / 1.772;
    const double y = (c[1] + kRed * c[0] + kBlue * c[2]) / (1.0 + kRed + kBlue);
    return {y, (c[0] - y) / 1.402 + 0.5, (c[2] - y) / 1.772 + 0.5};
}

// Luma range, then two rows of the contrast ramp: red of the first, green of the second.
struct Grading {
    double clip[4];
    double rows[2];

    double operator()(double luma) const {
        static const TextureModel ramp = LookUp("stylizeContrastRamp.bmp");
        luma = std::clamp(luma - clip[0], 0.0, clip[1] - clip[0]) * (clip[3] - clip[2]) /
                   (clip[1] - clip[0]) +
               clip[2];
        return ramp.At(ramp.At(luma, rows[0])[2], rows[1])[1];
    }
};

// Graded luma, then what the look does with the pixel.
template <typename Finish>
PixelEffect GradedModel(const Grading& grading, Finish finish) {
    return [=](const Rgb& in, double s, double t) {
        Yvu c = ToYvu(in);
        c.y = grading(c.y);
        return finish(c, s, t);
    };
}

// Each channel mapped by a row of the colour ramp.
PixelEffect StylizeModel(const Grading& grading, double row) {
    const auto colors = LookUp("stylizeColorRamp.bmp");
    return GradedModel(grading, [=](const Yvu& graded, double, double) {
        return Curved(colors, ToRgb(graded.y, graded.v, graded.u), row);
    });
}

// A mask of colours down the whole image, or across it.
PixelEffect TwoToneModel(const Grading& grading, double dimmed, const char* file, bool across) {
    const auto mask = LookUp(file);
    return GradedModel(grading, [=](const Yvu& graded, double s, double t) {
        Rgb c = ToRgb(graded.y, graded.v, graded.u);
        const auto light = across ? mask.At(t, s) : mask.At(s, t);
        for (std::size_t i = 0; i < 3; ++i) c[i] *= std::min(light[i] * dimmed, 1.0);
        return c;
    });
}

// Shadows and highlights toned apart.
PixelEffect SplitToningCMModel(int place) {
    return GradedModel({{0.0, 1.0, 0.0, 1.0}, {0.8, 0.7}}, [=](const Yvu& c, double, double) {
        const auto key = GEShaderSplitToningCM::TonesAt(place);
        const auto toned = [&](std::size_t i) {
            const auto shadow = static_cast<double>(key[i + 2]);
            return shadow + (static_cast<double>(key[i]) - shadow) * std::pow(c.y, 0.6);
        };
        return ToRgb(c.y, toned(1), toned(0));
    });
}

PixelEffect SplitToningSCModel() {
    return GradedModel({{0.0, 1.0, 0.0, 1.0}, {0.6, 0.8}}, [](const Yvu& c, double, double) {
        const double shift = 0.4 * (c.y - 0.5);
        return ToRgb(c.y, 0.5 * (c.v - 0.5 + shift) + 0.5, 0.5 * (c.u - 0.5 - shift) + 0.5);
    });
}

// Sharpened luma, a curve, whites lifted and capped.
PixelEffect WhiteboardModel(const CaptureImage& image) {
    return [&image, curve = LookUp("ContrastCurveSet.bmp")](const Rgb& in, double s, double t) {
        const auto luma = [&](int x, int y) {
            return image.luma(std::clamp(x, 0, image.width() - 1),
                              std::clamp(y, 0, image.height() - 1)) /
                   255.0;
        };
        const int x = static_cast<int>(s * image.width());
        const int y = static_cast<int>(t * image.height());
        Yvu c = ToYvu(in);
        c.y = 1.3 * luma(x, y) - 0.075 * (luma(x - 1, y - 1) + luma(x + 1, y - 1) +
                                          luma(x - 1, y + 1) + luma(x + 1, y + 1));
        Rgb rgb = ToRgb(c.y, c.v, c.u);
        for (double& channel : rgb) {
            channel = curve.At(std::pow(std::max(channel, 0.0), 0.7), 0.5)[2];
        }
        const double whiteness = 0.299 * rgb[0] + 0.587 * rgb[1] + 0.114 * rgb[2];
        const Rgb lifted = Times(rgb, 1.0 + 0.3 * std::max(whiteness - 0.2, 0.0));
        constexpr double kCaps[] = {0.96, 0.965, 0.95};
        for (std::size_t i = 0; i < 3; ++i) {
            rgb[i] = 0.4 * rgb[i] + 0.6 * std::min(lifted[i], kCaps[i]);
        }
        return rgb;
    };
}

template <typename Effect>
std::unique_ptr<GEShader> Make() {
    return std::make_unique<Effect>();
}

using ColorEffects = EffectTest;

// The vignette's mask by the picture's ratio: of 16:9, of 4:3, and of about 5:3.
using Masks = std::array<const char*, 3>;
constexpr char kWide[] = "mask_vignette_wide.bmp";
constexpr char kLegacy[] = "mask_vignette_legacy.bmp";
constexpr Masks kNoMask = {};
constexpr Masks kByRatio = {kWide, kLegacy, kLegacy};
constexpr Masks kFiveToThreeIsWide = {kWide, kLegacy, kWide};
constexpr Masks kAlwaysWide = {kWide, kWide, kWide};

PixelEffect Masked(const PixelEffect& effect, const char* file) {
    if (file == nullptr) return effect;
    return [effect, mask = LookUp(file)](const Rgb& in, double s, double t) {
        return Times(effect(in, s, t), mask.At(s, t)[0]);
    };
}

// Preview as a whole, capture in one block and in many.
TEST_F(ColorEffects, EachFollowsItsModelWhateverTheBlocks) {
    const struct {
        const char* name;
        std::unique_ptr<GEShader> (*make)();
        int parameter, answer, cropAnswer;  // an effect's answers are odd, and kept
        Masks masks;
        PixelEffect model;
    } rows[] = {
        {"cross", Make<GEShaderVintage>, 0, 0, 1, kByRatio, VintageModel("CurveCross.bmp")},
        {"cold", Make<GEShaderVintage>, 1, 0, 1, kByRatio, VintageModel("CurveCold.bmp")},
        {"warm", Make<GEShaderVintage>, 2, 0, 1, kByRatio, VintageModel("CurveWarm.bmp")},
        {"sepia", Make<GEShaderVintage>, 3, 0, 1, kNoMask, VintageModel("CurveSepia.bmp")},
        {"contrast", Make<GEShaderContrast>, 0, 0, 1, kByRatio, ContrastModel()},
        {"bloom", Make<GEShaderBloom>, 100, 1, 1, kNoMask, BloomModel},
        {"nash", Make<GEShaderStylizeNash>, 17, 1, 0, kNoMask,
         StylizeModel({{0.0, 1.0, 0.117, 1.0}, {0.6, 0.6}}, 0.9)},
        {"maple", Make<GEShaderStylizeMaple>, 17, 1, 1, kNoMask,
         StylizeModel({{0.0, 0.859, 0.0976, 1.0}, {0.6, 0.5}}, 0.5)},
        {"two tones down", Make<GEShaderTwoToneMaskV>, 0, 1, 1, kNoMask,
         TwoToneModel({{0.0, 1.0, 0.0, 1.0}, {0.7, 0.6}}, 0.85, "twoToneMaskV.bmp", false)},
        {"two tones across", Make<GEShaderTwoToneMaskH>, 0, 1, 1, kNoMask,
         TwoToneModel({{0.0, 1.0, 0.0, 1.0}, {1.0, 0.8}}, 0.7, "twoToneMaskH.bmp", true)},
        {"toning 0", Make<GEShaderSplitToningCM>, 0, 1, 1, kFiveToThreeIsWide,
         SplitToningCMModel(0)},
        {"toning 37", Make<GEShaderSplitToningCM>, 37, 1, 1, kFiveToThreeIsWide,
         SplitToningCMModel(37)},
        {"toning 100", Make<GEShaderSplitToningCM>, 100, 1, 1, kFiveToThreeIsWide,
         SplitToningCMModel(100)},
        {"toning SC", Make<GEShaderSplitToningSC>, 0, 1, 1, kAlwaysWide, SplitToningSCModel()},
    };
    for (const auto& row : rows) {
        const auto prepare = [&row](GEShader& shader) {
            EXPECT_EQ(shader.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), row.cropAnswer);
            shader.SetParam(0, 1, 0, 0, 0);
            EXPECT_EQ(shader.SetParam(0, row.parameter, 0, 0, 0), row.answer);
            EXPECT_EQ(shader.SetParam(1, 2, 0, 0, 0), row.answer) << "another group";
        };
        constexpr int kSizes[][3] = {{320, 180, 5}, {320, 240, 4}, {320, 192, 4}};
        for (std::size_t i = 0; i < 3; ++i) {
            const auto& [width, height, parts] = kSizes[i];
            SCOPED_TRACE(testing::Message() << row.name << " at " << width << "x" << height);
            const CaptureImage image = CaptureImage::Natural(width, height, 4);
            const CaptureImage expected = ApplyModel(image, Masked(row.model, row.masks[i]));
            ExpectAgrees(Preview(*row.make(), image, prepare), expected);
            const auto whole = Capture(*row.make(), image, width, height, prepare);
            ExpectAgrees(whole, expected);
            // Blocks of the picture's own ratio, which picks the mask.
            ExpectWithin(1, Capture(*row.make(), image, width / parts, height / parts, prepare),
                         whole);
        }
        // Colours whose red or blue lies far outside.
        for (const CaptureImage& image :
             {CaptureImage::Flat(64, 48, 76, 255, 85), CaptureImage::Flat(64, 48, 29, 107, 255)}) {
            SCOPED_TRACE(testing::Message() << row.name << " of luma " << int{image.luma(0, 0)});
            ExpectWithin(3, Preview(*row.make(), image, prepare),
                         ApplyModel(image, Masked(row.model, row.masks[1])));
        }
    }
}

TEST_F(ColorEffects, LooksThatAreNotThereChangeNothing) {
    const CaptureImage image = CaptureImage::Natural(64, 48, 4);
    const auto expectIgnored = [&image](GEShader& effect, int look, int absent) {
        const auto shownAfter = [&](const std::vector<int>& looks) {
            const Prepare choose = [&](GEShader& shader) {
                const LogCapture log;
                for (const int each : looks) EXPECT_EQ(shader.SetParam(0, each, 0, 0, 0), 0);
                const std::vector<std::string> wrong(looks.size() - 1, "[SetParam] wrong param");
                EXPECT_EQ(log.errors(), wrong);
            };
            return Preview(effect, image, choose).bytes();
        };
        EXPECT_EQ(shownAfter({look, absent, -1}), shownAfter({look}));
    };
    GEShaderVintage vintage;
    expectIgnored(vintage, 2, 4);
    GEShaderContrast contrast;
    expectIgnored(contrast, 0, 1);
}

TEST_F(ColorEffects, TheTonesOfARampHavePlateausAndContinueOutside) {
    const auto at = GEShaderSplitToningCM::TonesAt;
    for (const int end : {24, 49, 74, 99}) EXPECT_EQ(at(end), at(end + 1)) << end;
    EXPECT_FLOAT_EQ(at(0)[2], 0.705F);
    EXPECT_FLOAT_EQ(at(37)[0], 0.409F + 0.5F * (0.354F - 0.409F));
    EXPECT_FLOAT_EQ(at(100)[3], 0.75F);
    EXPECT_FLOAT_EQ(at(-12)[0], 0.455F - 0.5F * (0.409F - 0.455F));
    EXPECT_EQ(at(110), at(85)) << "on the last segment by the remainder";
    EXPECT_EQ(at(130), at(5)) << "on the first segment by the remainder";
}

// To the level, which models of colours are not compared to.
TEST_F(ColorEffects, ContrastLeavesNoTint) {
    const CaptureImage grey = Preview<GEShaderContrast>(CaptureImage::Natural(64, 48, 4));
    for (const uint8_t* chroma = grey.data() + grey.chromaOffset();
         chroma != grey.data() + grey.size(); ++chroma) {
        ASSERT_NEAR(*chroma, 128, 1);
    }
}

TEST_F(ColorEffects, WhiteboardSharpensLiftsAndCaps) {
    // The second has a red far below zero.
    for (const CaptureImage& image :
         {CaptureImage::Natural(320, 192, 4), CaptureImage::Flat(64, 64, 29, 107, 255)}) {
        const auto prepare = [](GEShader& effect) {
            effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
            EXPECT_EQ(effect.SetParam(0, 50, 0, 0, 0), 0);
        };
        const CaptureImage expected = ApplyModel(image, WhiteboardModel(image));
        ExpectAgrees(Preview<GEShaderWhiteboard>(image, prepare), expected);
        ExpectAgrees(Capture<GEShaderWhiteboard>(image, image.width(), image.height(), prepare),
                     expected);
    }
}

// A root with the shipped look-up files and a person's own folder.
struct OwnFiles : SystemRoot {
    // The default is found before the root changes.
    explicit OwnFiles(
        const std::string& shipped = platform::ResolveDevicePath("/system/media/GPU")) {
        std::filesystem::create_directories(path("/sdcard/lantern"));
        std::filesystem::create_directories(path("/system/media"));
        std::filesystem::copy(shipped, path("/system/media/GPU"));
    }
};

TEST_F(ColorEffects, APersonsOwnCurveWinsOverTheShippedOne) {
    const OwnFiles files;
    Bytes curve = ReadFile(files.path("/system/media/GPU/CurveCross.bmp"));
    for (std::size_t i = 54; i < curve.size(); ++i) curve[i] = (i - 54) % 3 == 2 ? 255 : 0;
    WriteFile(files.path("/sdcard/lantern/CurveCross.bmp"), curve);
    const CaptureImage red = Preview<GEShaderVintage>(CaptureImage(64, 64));
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
        SCOPED_TRACE(testing::Message() << c.file << " of effect " << c.effect);
        const OwnFiles files;
        std::filesystem::remove(files.path("/system/media/GPU/") + c.file);
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
