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
using namespace testing_support;

Rgb Identity(const Rgb& color, double, double) {
    return color;
}

using Effects = EffectTest;

void ExpectClose(const CaptureImage& actual, const CaptureImage& expected, int most) {
    ExpectWithin(most, actual, expected);
    // The software renderer's own roundings lean by 0.06; half a level would be a fault of ours.
    EXPECT_LT(std::abs(Compare(actual, expected).lumaMeanSigned), 0.25);
}

TEST_F(Effects, BypassKeepsColoursAndPlacesAtEveryWidth) {
    for (const int width : {2, 4, 6, 10, 16, 18, 22, 34, 40, 126, 130, 642, 854, 1366}) {
        for (const int height : {2, 18, 98}) {
            SCOPED_TRACE(testing::Message() << width << "x" << height);
            const auto image = CaptureImage::Natural(width, height, static_cast<unsigned>(width));
            ExpectClose(Preview<GEShaderBypass>(image), ApplyModel(image, Identity), 1);
            if (HasFailure()) return;
        }
    }
}

TEST_F(Effects, BypassLeavesGreysExactAndDoesNotSwapChroma) {
    for (int grey = 0; grey <= 255; grey += 15) {
        const auto image = CaptureImage::Flat(32, 4, static_cast<uint8_t>(grey), 128, 128);
        ExpectWithin(1, Preview<GEShaderBypass>(image), image);
    }
    const auto red = CaptureImage::Flat(32, 4, 76, 255, 85);
    ExpectClose(Preview<GEShaderBypass>(red), ApplyModel(red, Identity), 2);
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

// Hardness, centre and edge, in hundredths of the sides.
constexpr struct {
    int hardness, cx, cy, ex, ey;
} kLights[] = {{50, 50, 50, 95, 50}, {100, 50, 50, 75, 50}, {0, 25, 25, 25, 83}, {50, 0, 0, 0, 0}};

TEST_F(Effects, MatchTheirModelsWhateverTheBlocks) {
    std::size_t turn = 0;
    for (const CaptureCase& c : kCaptureCases) {
        const auto& light = kLights[turn++ % std::size(kLights)];
        SCOPED_TRACE(testing::Message() << c.width << "x" << c.height << " in " << c.blockWidth
                                        << "x" << c.blockHeight);
        const CaptureImage image = CaptureImage::Natural(c.width, c.height, 3);
        const auto plain = Capture<GEShaderBypass>(image, c.blockWidth, c.blockHeight);
        if (c.width % 2 != 0 || c.height % 2 != 0) {  // the model knows even sizes only
            EXPECT_LE(Compare(plain, image).lumaMax, 2);
            continue;
        }
        ExpectWithin(2, plain, ApplyModel(image, Identity));
        const auto expectVignetted = [&](bool capture, int width, int height) {
            const int cx = light.cx * width / 100;
            const int cy = light.cy * height / 100;
            const int ex = light.ex * width / 100;
            const int ey = light.ey * height / 100;
            const Prepare prepare = [&](GEShader& effect) {
                effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
                EXPECT_EQ(effect.SetParam(0, light.hardness, 0, 0, 0), 1);
                EXPECT_EQ(effect.SetParam(1, cx, cy, ex, ey), 1);
            };
            const double w = width;
            const double h = height;
            const auto model =
                VignetteModel(cx / w - 0.5, cy / h - 0.5, std::hypot((ex - cx) / w, (ey - cy) / h),
                              (100 - light.hardness) * 0.37 / 100 + 0.03, 1.0 * c.width / c.height);
            ExpectClose(capture ? Capture<GEShaderVignette>(image, width, height, prepare)
                                : Preview<GEShaderVignette>(image, prepare),
                        ApplyModel(image, model), 2);
        };
        expectVignetted(false, c.width, c.height);
        expectVignetted(true, c.blockWidth, c.blockHeight);
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
        for (const int i : {0, 1, 2, 3}) {
            const int x = i % 2;
            const int y = i / 2;
            EXPECT_NEAR(result.luma(20 + 80 * x, 20 + 80 * y), 140 + 20 * x + 30 * y, 1) << i;
        }
    }
}

TEST_F(Effects, SetCropTakesPartsOfThePictureOnlyAndElseShowsAll) {
    const CaptureImage image = CaptureImage::Natural(64, 64, 1);
    const auto shown = [&](float x, float y, float w, float h) {
        const Prepare prepare = [=](GEShader& effect) {
            effect.SetParam(1, 32, 32, 320, 32);
            EXPECT_EQ(effect.SetCrop(x, y, w, h), 1);
        };
        return Preview<GEShaderVignette>(image, prepare).bytes();
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

TEST_F(Effects, TheManagerMakesEffectsOnlyOnceItIsThereAndDropsThemForNumbersThatAreNone) {
    CaptureImage image(64, 32);
    const android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 32, 1, 0x130));
    Source source(image, 64, 32);
    const LogCapture log;
    EXPECT_EQ(m_manager.ChooseEffect(4, 0), 0);
    EXPECT_EQ(log.errors().back(), "[ChooseEffect] not inited\n");
    ASSERT_TRUE(m_manager.Init(buffer->getNativeBuffer(), 64, 32, 0, 0, 0, 64, 32, &source));
    for (const auto& effect : posteffect::kEffects) {
        const bool made = m_manager.ChooseEffect(static_cast<unsigned>(effect.number), 1) != 0;
        EXPECT_EQ(made, effect.number != 0) << effect.name;
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
    const int before = LiveGLObjects();
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
    EXPECT_LE(LiveGLObjects() - before, 65);
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
