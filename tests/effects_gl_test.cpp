// Effects driven directly, against a model of their maths on the CPU.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>
#include <ui/GraphicBuffer.h>

#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "effects/Bypass.h"
#include "effects/Vignette.h"
#include "engine/YUVPrograms.h"
#include "gl/GLFbo.h"
#include "gl/GLTexture.h"
#include "gl/RendererKind.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
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
using testing_support::LogCapture;
using testing_support::Preview;
using testing_support::Rgb;
using testing_support::Source;
using testing_support::VignetteModel;

Rgb Identity(const Rgb& color, double, double) {
    return color;
}

using Effects = testing_support::EffectTest;

void ExpectClose(const CaptureImage& actual, const CaptureImage& expected, int most) {
    const Difference difference = Compare(actual, expected);
    EXPECT_LE(difference.lumaMax, most) << difference.where;
    EXPECT_LE(difference.chromaMax, most);
    // The software renderer's own roundings lean by 0.06; half a level would be a fault of ours.
    EXPECT_LT(std::abs(difference.lumaMeanSigned), 0.25);
}

void Whole(GEShader& effect) {
    effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
}

TEST_F(Effects, BypassKeepsColoursAndPlacesAtEveryWidth) {
    for (const int width : {2, 4, 6, 10, 16, 18, 22, 34, 40, 126, 130, 642, 854, 1366}) {
        for (const int height : {2, 18, 98}) {
            SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
            CaptureImage image(width, height);
            image.FillNatural(static_cast<unsigned>(width));
            ExpectClose(Preview<GEShaderBypass>(image, [](GEShader&) {}),
                        ApplyModel(image, Identity), 1);
            if (HasFailure()) return;
        }
    }
}

TEST_F(Effects, BypassLeavesGreysExactAndDoesNotSwapChroma) {
    for (int grey = 0; grey <= 255; grey += 15) {
        CaptureImage image(32, 4);
        image.FillFlat(static_cast<uint8_t>(grey), 128, 128);
        const CaptureImage result = Preview<GEShaderBypass>(image, [](GEShader&) {});
        EXPECT_NEAR(result.luma(5, 1), grey, 1);
        EXPECT_NEAR(result.chroma(5, 1, 0), 128, 1);
        EXPECT_NEAR(result.chroma(5, 1, 1), 128, 1);
    }
    CaptureImage red(32, 4);
    red.FillFlat(76, 255, 85);
    const CaptureImage result = Preview<GEShaderBypass>(red, [](GEShader&) {});
    EXPECT_GT(result.chroma(0, 0, 0), 240);
    EXPECT_NEAR(result.chroma(0, 0, 1), 85, 2);
}

struct CaptureCase {
    int width, height, blockWidth, blockHeight;
};
// Blocks that fit, blocks pulled back, blocks larger than the picture, widths that are no multiple
// of 4, 16 or 32, odd pictures.
constexpr CaptureCase kCaptureCases[] = {
    {640, 480, 640, 480}, {1000, 750, 640, 480}, {1002, 752, 176, 144}, {62, 30, 64, 64},
    {20, 16, 64, 48},     {2, 2, 32, 2},         {1996, 98, 1000, 64},  {642, 482, 130, 98},
    {334, 210, 96, 1000}, {2870, 64, 720, 48},   {33, 35, 32, 16},      {1001, 51, 64, 30},
};

std::string Name(const CaptureCase& c) {
    return std::to_string(c.width) + "x" + std::to_string(c.height) + " in " +
           std::to_string(c.blockWidth) + "x" + std::to_string(c.blockHeight);
}

TEST_F(Effects, CapturesComeOutAlikeWhateverTheBlocks) {
    for (const CaptureCase& c : kCaptureCases) {
        SCOPED_TRACE(Name(c));
        CaptureImage image(c.width, c.height);
        image.FillNatural(3);
        const CaptureImage expected =
            c.width % 2 == 0 && c.height % 2 == 0 ? ApplyModel(image, Identity) : [&] {
                CaptureImage copy(c.width, c.height);
                std::copy_n(image.data(), image.size(), copy.data());
                return copy;
            }();
        const CaptureImage actual =
            Capture<GEShaderBypass>(image, c.blockWidth, c.blockHeight, [](GEShader&) {});
        const Difference difference = Compare(actual, expected);
        EXPECT_LE(difference.lumaMax, 2) << difference.where;
    }
}

TEST_F(Effects, VignetteMatchesItsModelInPreview) {
    struct {
        int hardness, cx, cy, ex, ey;
    } const cases[] = {
        {50, 160, 120, 304, 120},
        {100, 160, 120, 240, 120},
        {0, 80, 60, 80, 200},
        {50, 0, 0, 0, 0},
    };
    CaptureImage image(320, 240);
    image.FillNatural(5);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.hardness);
        const double radius = std::hypot((c.ex - c.cx) / 320.0, (c.ey - c.cy) / 240.0);
        const double softness = (100 - c.hardness) * 0.37 / 100 + 0.03;
        const CaptureImage actual = Preview<GEShaderVignette>(image, [&](GEShader& effect) {
            Whole(effect);
            EXPECT_EQ(effect.SetParam(0, c.hardness, 0, 0, 0), 1);
            EXPECT_EQ(effect.SetParam(1, c.cx, c.cy, c.ex, c.ey), 1);
        });
        ExpectClose(actual,
                    ApplyModel(image, VignetteModel(c.cx / 320.0 - 0.5, c.cy / 240.0 - 0.5, radius,
                                                    softness, 320.0 / 240.0)),
                    2);
    }
}

TEST_F(Effects, VignetteMatchesItsModelInCaptureWhateverTheBlocks) {
    for (const CaptureCase& c : kCaptureCases) {
        if (c.width % 2 != 0 || c.height % 2 != 0) continue;
        SCOPED_TRACE(Name(c));
        CaptureImage image(c.width, c.height);
        image.FillNatural(9);
        const double w = c.blockWidth;
        const int cx = c.blockWidth / 2;
        const int cy = c.blockHeight / 2;
        const int ex = c.blockWidth;
        const CaptureImage actual =
            Capture<GEShaderVignette>(image, c.blockWidth, c.blockHeight, [&](GEShader& effect) {
                Whole(effect);
                effect.SetParam(0, 50, 0, 0, 0);
                effect.SetParam(1, cx, cy, ex, cy);
            });
        const CaptureImage expected =
            ApplyModel(image, VignetteModel(cx / w - 0.5, 0.0, (ex - cx) / w, 0.215,
                                            static_cast<double>(c.width) / c.height));
        ExpectClose(actual, expected, 2);
    }
}

TEST_F(Effects, ACropFillsTheFrameWithItsPartOfThePicture) {
    // Twice as large: each source pixel becomes 2 x 2, which the linear filter smooths, so compare
    // where the picture is flat: quarters of one colour each.
    CaptureImage image(128, 128);
    for (int y = 0; y < 128; ++y) {
        for (int x = 0; x < 128; ++x) {
            image.data()[y * 128 + x] = static_cast<uint8_t>(60 + x / 32 * 20 + y / 32 * 30);
        }
    }
    const auto prepare = [](GEShader& effect) {
        effect.SetCrop(0.25F, 0.5F, 0.5F, 0.5F);
        effect.SetParam(0, 100, 0, 0, 0);
        effect.SetParam(1, 64, 64, 64 + 128 * 4, 64);
    };
    for (const CaptureImage& result : {Preview<GEShaderVignette>(image, prepare),
                                       Capture<GEShaderVignette>(image, 128, 128, prepare),
                                       Capture<GEShaderVignette>(image, 64, 32, prepare)}) {
        for (const int x : {20, 100}) {
            for (const int y : {20, 100}) {
                const int column = x < 64 ? 1 : 2;
                const int row = y < 64 ? 2 : 3;
                EXPECT_NEAR(result.luma(x, y), 60 + column * 20 + row * 30, 1) << x << "," << y;
            }
        }
    }
}

TEST_F(Effects, SetCropTakesPartsOfThePictureOnlyAndElseShowsAll) {
    CaptureImage image(64, 64);
    image.FillNatural(1);
    const auto shown = [&](float x, float y, float w, float h) {
        return Preview<GEShaderVignette>(image,
                                         [=](GEShader& effect) {
                                             effect.SetParam(1, 32, 32, 320, 32);
                                             EXPECT_EQ(effect.SetCrop(x, y, w, h), 1);
                                         })
            .bytes();
    };
    const std::vector<uint8_t> all = shown(0.0F, 0.0F, 1.0F, 1.0F);
    EXPECT_EQ(shown(0.0F, 0.0F, 0.0F, 1.0F), all);
    EXPECT_EQ(shown(-0.1F, 0.0F, 1.0F, 1.0F), all);
    EXPECT_EQ(shown(0.0F, 0.0F, 1.0F, 1.1F), all);
    EXPECT_NE(shown(0.2F, 0.2F, 0.5F, 0.5F), all);
}

// Which entry of its table a virtual operation is called through, from 0.
template <typename Operation>
std::size_t SlotOf(Operation operation) {
    std::uintptr_t offset = 0;
    std::memcpy(&offset, &operation, sizeof(offset));
    return (offset & ~std::uintptr_t{1}) / sizeof(void*);
}

TEST(EffectTable, OperationsKeepTheirSlotsForCallersWithDeclarationsOfTheirOwn) {
    using Crop = int (GEShaderBypass::*)(int, int, int, int);
    EXPECT_EQ(SlotOf(&GEShader::Init), 2U);
    EXPECT_EQ(SlotOf(&GEShader::SetParam), 8U);
    EXPECT_EQ(SlotOf(&GEShader::GetUVDataBuf), 11U);
    EXPECT_EQ(SlotOf(Crop{&GEShaderBypass::SetCrop}), 12U);
}

TEST_F(Effects, OperationsInTheWrongModeOrBeforeInitAreRefusedByName) {
    CaptureImage image(64, 32);
    Source source(image, 64, 32);
    unsigned char out[64 * 32 * 2];
    GEShaderVignette preview;
    GEShaderVignette capture;
    GEShaderBypass raw;
    const LogCapture log;
    EXPECT_EQ(raw.ProcFrame(0U, 0U, 0, 0), 0);
    EXPECT_EQ(raw.SetParam(0, 0, 0, 0, 0), 0);
    EXPECT_EQ(raw.ProcFrame(nullptr, out, 64, 32), 0);
    EXPECT_EQ(raw.Deinit(), 1);
    ASSERT_TRUE(InitEffect(preview, source, false));
    ASSERT_TRUE(capture.Init(source.texture(), 0, 0, 0, 64, 32, 1, nullptr));
    EXPECT_EQ(preview.ProcFrame(nullptr, out, 64, 32), 0);
    EXPECT_EQ(capture.ProcFrame(0U, 0U, 0, 0), 0);
    EXPECT_EQ(capture.ProcFrame(nullptr, out, 64, 32), 0);
    EXPECT_FALSE(preview.BlockCopyYUV(nullptr, out, 64, 32, 0, 0, 64, 32));
    EXPECT_THAT(
        log.errors(),
        ElementsAre("[ProcFrame] effect not initialized", "[SetParam] effect not initialized",
                    "[ProcFrame] effect not initialized", "[ProcFrame] Capture mode only",
                    "[ProcFrame] Preview mode only", "[ProcFrame] callback not registered",
                    testing::HasSubstr("[BlockCopyYUV] pDstYStart (0) or pDstUVStart (")));
}

TEST_F(Effects, TheManagerMakesTheEffectsThatTheCatalogNamesAndNoOthers) {
    CaptureImage image(64, 32);
    const android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 32, 1, 0x130));
    Source source(image, 64, 32);
    const LogCapture log;
    EXPECT_EQ(m_manager.ChooseEffect(4, 0), 0);
    EXPECT_EQ(log.errors().back(), "[ChooseEffect] not inited\n");
    ASSERT_TRUE(m_manager.Init(buffer->getNativeBuffer(), 64, 32, 0, 0, 0, 64, 32, &source));
    for (const posteffect::EffectInfo& effect : posteffect::kEffects) {
        if (effect.number == 0) continue;
        SCOPED_TRACE(effect.name);
        const auto number = static_cast<unsigned>(effect.number);
        EXPECT_EQ(m_manager.ChooseEffect(number, 0), 1);
        EXPECT_EQ(m_manager.ChooseEffect(number, 1), 1);
        EXPECT_TRUE(m_manager.hasEffect());
    }
    for (const unsigned dropping : {0U, 99U}) {
        ASSERT_TRUE(m_manager.ChooseEffect(4, 0));
        EXPECT_EQ(m_manager.ChooseEffect(19, 0), 0);
        EXPECT_TRUE(m_manager.hasEffect()) << "a number outside the table leaves the effect";
        EXPECT_EQ(m_manager.ChooseEffect(dropping, 0), 0);
        EXPECT_FALSE(m_manager.hasEffect());
    }
    EXPECT_EQ(m_manager.ProcFrame(0U, 0U, 0, 0), 0);
    EXPECT_EQ(log.errors().back(), "[GEManager::ProcFrame] no shader selected");
    EXPECT_EQ(m_manager.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0);
    EXPECT_EQ(m_manager.MemcpyYUV(nullptr, nullptr), 0);
    m_manager.Deinit();
}

TEST_F(Effects, KeepProgramsForTheNextUserWithinABound) {
    SetDrawingWay(DrawingWay::kForSoftware);
    const auto nameOf = [](float shift) {
        GLProgRGBtoY program;
        program.m_shift[0] = shift;
        EXPECT_TRUE(program.Load());
        return program.name();
    };
    const int before = testing_support::LiveGLObjects();
    const GLuint name = nameOf(0.0F);
    EXPECT_EQ(nameOf(0.0F), name);
    EXPECT_NE(nameOf(0.5F), name) << "other constants";
    {
        // Two users at once; none takes it away from the other.
        GLProgRGBtoY first;
        EXPECT_TRUE(first.Load());
        EXPECT_EQ(nameOf(0.0F), name);
        for (int i = 1; i <= 100; ++i) nameOf(static_cast<float>(i));
        EXPECT_TRUE(glIsProgram(first.name()));
    }
    EXPECT_LE(testing_support::LiveGLObjects() - before, 65);
    EXPECT_EQ(nameOf(100.0F), nameOf(100.0F));
    SetDrawingWay(DrawingWay::kByRenderer);
}

// The planes of a picture as the converter makes them, for an image of the same width.
struct Converted : GEShaderBypass {
    std::vector<uint8_t> planes(const std::vector<uint8_t>& rgba, int width, int height,
                                int outHeight) {
        const auto w = static_cast<unsigned>(width);
        const auto h = static_cast<unsigned>(height);
        const std::size_t lumaBytes = std::size_t{w} * static_cast<unsigned>(outHeight);
        std::vector<uint8_t> planes(lumaBytes +
                                    std::size_t{w} * static_cast<unsigned>(outHeight / 2));
        EXPECT_TRUE(InitYUVConverter(width, height, width, outHeight));
        EXPECT_TRUE(m_pFboRGB->attachedTexture()->UpdateNormalTexture(rgba.data(), w, h));
        EXPECT_TRUE(ConvertYUV(0, 0));
        EXPECT_TRUE(MemcpyYUV(planes.data(), planes.data() + lumaBytes));
        DeinitYUVConverter();
        return planes;
    }
};

TEST_F(Effects, EveryColorIsPackedOnTheCPUAsItIsDrawn) {
    const struct {
        int width, height, outHeight;
    } sizes[] = {{4096, 4096, 4096}, {333, 34, 34}, {2, 2, 2}, {7, 5, 5}, {64, 4096, 16}};
    for (const auto& [width, height, outHeight] : sizes) {
        SCOPED_TRACE(width);
        std::vector<uint8_t> rgba(std::size_t{4} * static_cast<unsigned>(width * height));
        for (std::size_t i = 0; i < rgba.size() / 4; ++i) {
            // Each 24 bits once, neighbours far from one another.
            const uint32_t color = static_cast<uint32_t>(i) * 0x9E3779B1U;
            std::memcpy(&rgba[4 * i], &color, sizeof(color));
        }
        SetDrawingWay(DrawingWay::kForGPU);
        const auto drawn = Converted().planes(rgba, width, height, outHeight);
        SetDrawingWay(DrawingWay::kForSoftware);
        EXPECT_TRUE(Converted().planes(rgba, width, height, outHeight) == drawn);
    }
    SetDrawingWay(DrawingWay::kByRenderer);
}

}  // namespace
