// What must hold for each of the effects alike.
#include <gtest/gtest.h>
#include <posteffect/EffectCatalog.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "engine/EffectTable.h"
#include "gl/RendererKind.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/CommaLocale.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/LogCapture.h"

namespace {

using posteffect::kEffects;
using testing_support::CaptureImage;
using testing_support::InitEffect;
using testing_support::LiveGLObjects;
using testing_support::Source;

using EveryEffect = testing_support::EffectTest;

// Values far outside their ranges, points outside the picture and points that coincide.
constexpr int kParameters[][8] = {
    {50, 0, 0, 0, 480, 272, 720, 272},
    {0, 0, 0, 0, 0, 0, 0, 0},
    {100, 0, 0, 0, 2000, -3000, 2000, -3000},
    {-2000000000, 0, 0, 0, 2147483647, -2147483647, -5, 7},
};

struct Crop {
    float x, y, w, h;
};
constexpr Crop kCrops[] = {
    {0.0F, 0.0F, 1.0F, 1.0F},   {0.0F, 0.0F, 0.0F, 0.0F}, {0.25F, 0.3F, 0.5F, 0.4F},
    {0.99F, 0.99F, 1.0F, 1.0F}, {0.5F, 0.5F, 1.0F, 1.0F}, {0.3F, 0.0F, 0.001F, 0.001F},
    {-1.0F, 0.0F, 0.5F, 0.5F},
};

TEST_F(EveryEffect, StaysWithinItsMemoryWhateverItIsGiven) {
    const struct {
        int width, height, blockWidth, blockHeight;
    } sizes[] = {
        {2, 2, 64, 64},       {20, 20, 130, 98},   {34, 18, 64, 64},      {62, 30, 176, 144},
        {642, 482, 176, 144}, {1000, 750, 96, 80}, {1002, 752, 640, 480}, {333, 201, 160, 130},
        {2870, 40, 720, 480}, {64, 2000, 32, 2},
    };
    std::size_t run = 0;
    std::size_t refused = 0;
    for (const auto& size : sizes) {
        CaptureImage image(size.width, size.height);
        image.FillNatural(2);
        for (const auto& effect : kEffects) {
            if (effect.number == 0) continue;
            // Each effect meets each size, with the parameters and crops in turn.
            const auto& p = kParameters[run % std::size(kParameters)];
            const Crop& crop = kCrops[run % std::size(kCrops)];
            SCOPED_TRACE(std::string(effect.nick) + " " + std::to_string(size.width) + " in " +
                         std::to_string(size.blockWidth) + " run " + std::to_string(run));
            ++run;
            Source source(image, size.blockWidth, size.blockHeight);
            const std::unique_ptr<GEShader> shader(
                CreateEffect(static_cast<unsigned>(effect.number)));
            ASSERT_TRUE(InitEffect(*shader, source, true));
            shader->SetParam(0, p[0], p[1], p[2], p[3]);
            shader->SetParam(1, p[4], p[5], p[6], p[7]);
            shader->SetCrop(crop.x, crop.y, crop.w, crop.h);
            CaptureImage out(size.width, size.height);
            const std::vector<uint8_t> before = out.bytes();
            const int result = shader->ProcFrame(image.data(), image.data() + image.chromaOffset(),
                                                 out.data(), size.width, size.height);
            if (result == 0) {
                ++refused;
                EXPECT_EQ(out.bytes(), before);
            }
        }
    }
    // Cells of less than a pixel, blocks smaller than two margins, overlaps larger than a block.
    EXPECT_LT(refused, run / 8);
}

// Before an Init, after a Deinit when the source has gone, and before a capture that makes its
// targets itself.
TEST_F(EveryEffect, RefusesToDrawWithoutItsTargets) {
    CaptureImage image(64, 32);
    const testing_support::LogCapture log;
    for (const auto& effect : kEffects) {
        if (effect.number == 0) continue;
        SCOPED_TRACE(effect.nick);
        const std::unique_ptr<GEShader> shader(CreateEffect(static_cast<unsigned>(effect.number)));
        const auto refuses = [&] {
            shader->SetCrop(0.25F, 0.25F, 0.5F, 0.5F);
            const std::size_t before = log.errors().size();
            EXPECT_EQ(shader->ProcBlock(0, 0, 64, 32), 0);
            ASSERT_EQ(log.errors().size(), before + 1);
            EXPECT_EQ(log.errors().back(), "[ProcBlock] effect not initialized");
            EXPECT_FALSE(shader->BlockCopyYUV(image.data(), image.data(), 64, 32, 0, 0, 64, 32));
        };
        refuses();
        {
            Source source(image, 64, 32);
            ASSERT_TRUE(InitEffect(*shader, source, true));
            if (shader->GetYDataBuf() == nullptr) refuses();
            shader->Deinit();
        }
        refuses();
    }
}

// This context's programs, or only the newest, go without their owners.
void DeletePrograms(bool all) {
    DeleteKeptPrograms(eglGetCurrentContext());
    glUseProgram(0);
    for (GLuint name = 1000; name > 0; --name) {
        if (!glIsProgram(name)) continue;
        glDeleteProgram(name);
        if (!all) return;
    }
}

TEST_F(EveryEffect, LeavesTheStateAsItWasWhereAPassFails) {
    CaptureImage image(64, 32);
    for (const auto& effect : kEffects) {
        if (effect.number == 0) continue;
        for (const bool all : {true, false}) {
            SCOPED_TRACE(std::string(effect.nick) + (all ? "" : ", last pass"));
            Source source(image, 64, 32);
            const std::unique_ptr<GEShader> shader(
                CreateEffect(static_cast<unsigned>(effect.number)));
            ASSERT_TRUE(InitEffect(*shader, source, false));
            DeletePrograms(all);
            EXPECT_EQ(shader->ProcBlock(0, 0, 64, 32), 0);
            EXPECT_FALSE(glIsEnabled(GL_SCISSOR_TEST));
            GLint filter = 0;
            glActiveTexture(GL_TEXTURE0);
            source.texture()->Bind();
            glGetTexParameteriv(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, &filter);
            EXPECT_EQ(filter, GL_LINEAR);
        }
    }
}

// The lines by which readers of logs know an effect's programs, in order.
TEST_F(EveryEffect, LogsTheLocationsOfItsPrograms) {
    const char* const input = " SAMPLER_INPUT_TEX";
    const char* const curve = " SAMPLER_INPUT_TEX SAMPLER_VIGNETTE SAMPLER_CURVE";
    const char* const ramp =
        " SAMPLER_INPUT_TEX SAMPLER_TEX_LUT SAMPLER_TEX_CONTRAST UNIFORM_CLIP UNIFORM_CONTROL"
        " UNIFORM_TINT";
    const char* const mask =
        " SAMPLER_INPUT_TEX SAMPLER_TEX_MASK SAMPLER_TEX_CONTRAST UNIFORM_CLIP UNIFORM_CONTROL";
    const std::tuple<int, const char*, const char*> cases[] = {
        {1, "GEShaderVintage", curve},
        {2, "GEShaderDoF",
         " SAMPLER_INPUT_TEX UNIFORM_GAUSSIAN_KERNEL UNIFORM_PIXEL_SHIFT SAMPLER_BLUR_TEX"
         " SAMPLER_CLEAR_TEX UNIFORM_CENTER UNIFORM_DIST_SQUARE UNIFORM_WH_RATIO_SQ"
         " UNIFORM_MIX_WEIGHT SAMPLER_MAT_YUV2RGB ATTRIB_GLOBAL_TEX_COORD"},
        {4, "GEShaderVignette",
         " SAMPLER_INPUT_TEX UNIFORM_CENTER UNIFORM_RADIUS UNIFORM_SCREENRATIO"},
        {6, "GEShaderContrast", curve},
        {8, "GEShaderMirror", input},
        {9, "GEShaderBloom", input},
        {10, "GEShaderWhiteboard",
         " SAMPLER_INPUT_TEX SAMPLER_CURVE UNIFORM_LOC_TEXELSIZE UNIFORM_LOC_CONTROLLER"},
        {11, "GEShaderStylizeMaple", ramp},
        {12, "GEShaderStylizeNash", ramp},
        {13, "GEShaderTwoToneMaskV", mask},
        {14, "GEShaderTwoToneMaskH", mask},
        {3, "GEShaderFisheye", input},
    };
    SetDrawingWay(DrawingWay::kForGPU);
    CaptureImage image(64, 32);
    Source source(image, 64, 32);
    for (const auto& [number, tag, names] : cases) {
        const std::unique_ptr<GEShader> shader(CreateEffect(static_cast<unsigned>(number)));
        const testing_support::LogCapture log;
        // Fisheye loads its program with the capture.
        ASSERT_TRUE(InitEffect(*shader, source, number != 3));
        std::string logged;
        for (const std::string& line : log.texts(tag)) {
            const bool isLocation = line.rfind("[Load] ", 0) == 0 && std::isupper(line[7]);
            if (isLocation) logged.append(" ").append(line, 7, line.find(' ', 7) - 7);
        }
        EXPECT_EQ(logged, names) << kEffects[static_cast<std::size_t>(number)].nick;
    }
    SetDrawingWay(DrawingWay::kByRenderer);
}

std::vector<uint8_t> Draw(int number, const CaptureImage& image, const Crop& crop, bool capture) {
    const int width = image.width();
    const int height = image.height();
    Source source(image, capture ? width / 2 + 34 : width, capture ? height / 2 + 34 : height);
    const std::unique_ptr<GEShader> shader(CreateEffect(static_cast<unsigned>(number)));
    EXPECT_TRUE(InitEffect(*shader, source, capture));
    shader->SetParam(0, 60, 0, 0, 0);
    shader->SetParam(1, 480, 272, 720, 272);
    shader->SetCrop(crop.x, crop.y, crop.w, crop.h);
    CaptureImage out(width, height);
    auto* planes = const_cast<unsigned char*>(image.data());  // read only
    if (capture) {
        shader->ProcFrame(planes, planes + image.chromaOffset(), out.data(), width, height);
    } else {
        source.FillWhole();
        EXPECT_TRUE(shader->ProcFrame(0U, 0U, 0, 0));
        shader->MemcpyYUV(out.data(), out.data() + out.chromaOffset());
    }
    return out.bytes();
}

TEST_F(EveryEffect, DrawsTheSameWhicheverEffectWasThereBefore) {
    CaptureImage image(64, 48);
    image.FillScene(3);
    Source source(image, 64, 48);
    const android::sp<android::GraphicBuffer> buffer(new android::GraphicBuffer(64, 48, 1, 0x130));
    ASSERT_TRUE(m_manager.Init(buffer->getNativeBuffer(), 64, 48, 0, 0, 0, 64, 48, &source));
    const auto draw = [&](int number) {
        EXPECT_TRUE(m_manager.ChooseEffect(static_cast<unsigned>(number), 0));
        m_manager.SetParam(0, 60, 0, 0, 0);
        m_manager.SetParam(1, 480, 272, 720, 272);
        m_manager.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
        source.convertRect(nullptr, 0, 0, 0, 0, 0, 0);
        EXPECT_TRUE(m_manager.ProcFrame(0U, 0U, 0, 0));
        CaptureImage result(64, 48);
        m_manager.MemcpyYUV(result.data(), result.data() + result.chromaOffset());
        return result.bytes();
    };
    constexpr int kCount = static_cast<int>(posteffect::kEffectCount);
    std::vector<std::vector<uint8_t>> fresh(kCount);
    for (int number = 1; number < kCount; ++number) {
        m_manager.ChooseEffect(0, 0);
        fresh[static_cast<std::size_t>(number)] = draw(number);
    }
    const int live = LiveGLObjects();
    for (int before = 1; before < kCount; ++before) {
        for (int number = 1; number < kCount; ++number) {
            draw(before);
            EXPECT_EQ(draw(number), fresh[static_cast<std::size_t>(number)])
                << kEffects[static_cast<std::size_t>(number)].nick << " after "
                << kEffects[static_cast<std::size_t>(before)].nick;
        }
    }
    EXPECT_EQ(LiveGLObjects(), live);
    m_manager.Deinit();
}

// Constants in the texts and the rest of what suits software renderers changes no byte, but for a
// curve's place that lies right between two, however the process writes its numbers.
TEST_F(EveryEffect, DrawsTheSameForSoftwareAndForGPUs) {
    const testing_support::CommaLocale locale;
    std::vector<std::pair<int, int>> sizes = {{250, 130}};
#ifndef __SANITIZE_ADDRESS__  // slow, and this is about bytes
    sizes.emplace_back(4000, 34);
#endif
    for (const auto& [width, height] : sizes) {
        CaptureImage image(width, height);
        image.FillNatural(5);
        for (const auto& effect : kEffects) {
            if (effect.number == 0) continue;
            for (const Crop& crop : {kCrops[0], kCrops[2]}) {
                for (const bool capture : {false, true}) {
                    SCOPED_TRACE(std::string(effect.nick) + (capture ? " still " : " preview ") +
                                 std::to_string(width) + " crop " + std::to_string(crop.x));
                    const auto draw = [&](DrawingWay way) {
                        SetDrawingWay(way);
                        return Draw(effect.number, image, crop, capture);
                    };
                    const auto forGPUs = draw(DrawingWay::kForGPU);
                    const auto forSoftware = draw(DrawingWay::kForSoftware);
                    int apart = 0;
                    int furthest = 0;
                    for (std::size_t i = 0; i < forGPUs.size(); ++i) {
                        const int difference = std::abs(forSoftware[i] - forGPUs[i]);
                        apart += difference != 0 ? 1 : 0;
                        furthest = std::max(furthest, difference);
                    }
                    EXPECT_LE(furthest, 1);
                    EXPECT_LE(apart, static_cast<int>(forGPUs.size() / 100000));
                }
            }
        }
    }
    SetDrawingWay(DrawingWay::kByRenderer);
}

}  // namespace
