// The service through its factory and interface, as an embedder uses it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <posteffect/Renderer.h>

#include <climits>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "tests/support/CaptureImage.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PictureModel.h"
#include "tests/support/Service.h"
#include "tests/support/Variable.h"

namespace {

using namespace testing_support;

constexpr char kVignette[] = "GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272";
constexpr char kNone[] = "GPU-effect=0;GE-param0=0,0,0,0;GE-param1=0,0,0,0";

CaptureImage Natural(int width, int height) {
    return CaptureImage::Natural(width, height, static_cast<unsigned>(width * 7 + height));
}

// `actual` is what kVignette makes of a natural picture, with a preview of this size.
void ExpectVignetted(const CaptureImage& actual, int previewWidth, int previewHeight) {
    const auto place = [](int hint, int hintSide, int side) {
        return hint * side / hintSide / static_cast<double>(side);
    };
    const double x = place(480, 960, previewWidth);
    const double y = place(272, 544, previewHeight);
    const CaptureImage original = Natural(actual.width(), actual.height());
    const double aspect = static_cast<double>(actual.width()) / actual.height();
    const auto model =
        VignetteModel(x - 0.5, y - 0.5, place(912, 960, previewWidth) - x, 0.215, aspect);
    ExpectWithin(2, actual, ApplyModel(original, model));
}

TEST(Service, PreviewFramesComeOutVignettedInPlace) {
    const Service service;
    for (const auto& [width, height] : {std::pair{640, 480}, {720, 480}, {854, 98}, {34, 18}}) {
        SCOPED_TRACE(testing::Message() << width << "x" << height);
        CaptureImage frame = Natural(width, height);
        ASSERT_EQ(service.Choose(kVignette), 0);
        ASSERT_EQ(service->startPreview(width, height), 0);
        ASSERT_EQ(service->setCrop(0, 0, width, height), 0);
        ASSERT_EQ(service.Preview(frame), 0);
        ExpectVignetted(frame, width, height);
    }
}

TEST(Service, CapturesComeOutVignettedWhateverTheBlocks) {
    const Service service;
    ASSERT_EQ(service.Choose(kVignette), 0);
    constexpr int kCases[][4] = {{1000, 750, 640, 480},  {1000, 750, 1024, 768},
                                 {4000, 300, 1024, 768}, {2, 2, 64, 64},
                                 {1002, 752, 96, 1000},  {640, 480, 176, 144}};
    for (const auto& [width, height, blockWidth, blockHeight] : kCases) {
        SCOPED_TRACE(testing::Message() << width << " in blocks of " << blockWidth);
        ASSERT_EQ(service->startPreview(blockWidth, blockHeight), 0);
        ASSERT_EQ(service->setCrop(0, 0, width, height), 0);
        CaptureImage image = Natural(width, height);
        ASSERT_EQ(service.Capture(image), 0);
        ExpectVignetted(image, blockWidth, blockHeight);
    }
}

TEST(Service, AnswersEveryCallInEveryStateWithAStatusAndLeavesFramesAlone) {
    CaptureImage image = Natural(64, 48);
    const std::vector<uint8_t> before = image.bytes();
    const int uv = image.chromaOffset();
    destroyPostEffect(nullptr);

    const std::unique_ptr<IPostEffect, void (*)(IPostEffect*)> service(createPostEffect(),
                                                                       destroyPostEffect);
    const auto preview = [&] { return service->handlePreview(-1, image.data(), 0); };
    const auto capture = [&] { return service->handleCapture(64, 48, -1, image.data(), 0, uv); };
    const auto choose = [&](const char* text) {
        EXPECT_EQ(service->setParameters(android::String8(text)), 0);
    };
    EXPECT_EQ(service->stop(), 0) << "never started";
    EXPECT_EQ(preview(), -1);
    EXPECT_EQ(service->stopPreview(), 0);
    EXPECT_EQ(capture(), 0) << "no effect yet";
    EXPECT_EQ(service->setCrop(1, 2, 3, 4), 0);

    ASSERT_EQ(service->start(), 0);
    ASSERT_EQ(service->start(), 0) << "twice is harmless";
    EXPECT_EQ(service->startPreview(64, 48), 0);
    EXPECT_EQ(preview(), 0) << "effect 0 passes frames through";
    EXPECT_EQ(service->handlePreview(-1, nullptr, 0), 0);

    choose("GPU-effect=A");
    EXPECT_EQ(preview(), 0) << "no such effect";
    choose(";;=;GPU-effect;=4;x");
    EXPECT_EQ(capture(), 0);

    {
        const Variable root("POSTEFFECT_SYSROOT", "/nowhere");
        choose("GPU-effect=5");
        EXPECT_EQ(preview(), 2) << "its files are not there";
        EXPECT_EQ(capture(), 3);
    }

    choose(kVignette);
    constexpr int kNoFrames[][2] = {
        {0, 0}, {-2, -2}, {63, 48}, {64, 47}, {1, 2}, {100000, 2}, {INT_MAX - 1, INT_MAX - 1}};
    for (const auto& [w, h] : kNoFrames) {
        SCOPED_TRACE(w);
        EXPECT_EQ(service->startPreview(w, h), 0);
        EXPECT_EQ(preview(), 2);
        EXPECT_EQ(capture(), 3);
    }
    EXPECT_EQ(service->startPreview(64, 48), 0);
    EXPECT_EQ(service->handlePreview(-1, nullptr, 0), 2);
    EXPECT_EQ(service->handlePreview(-1, image.data(), -1), 2);
    EXPECT_EQ(service->handleCapture(64, 48, -1, nullptr, 0, uv), 3);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), -1, uv), 3);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, -1), 3);
    constexpr int kNoImages[][2] = {
        {0, 48}, {64, 0}, {-64, 48}, {1, 1}, {INT_MAX, INT_MAX}, {65536, 65536}, {46341, 46341}};
    for (const auto& [w, h] : kNoImages) {
        EXPECT_EQ(service->handleCapture(w, h, -1, image.data(), 0, uv), 3) << w << "x" << h;
    }
    EXPECT_EQ(image.bytes(), before);

    EXPECT_EQ(preview(), 0) << "still alive";
    EXPECT_NE(image.bytes(), before);
    const std::vector<uint8_t> filtered = image.bytes();
    {
        const Variable root("POSTEFFECT_SYSROOT", "/nowhere");
        choose("GPU-effect=5");
        EXPECT_EQ(service->setCrop(1, 2, 3, 4), 0);
        for (int i = 0; i < 2; ++i) EXPECT_EQ(preview(), 2);
        EXPECT_EQ(image.bytes(), filtered);
    }
    EXPECT_EQ(preview(), 0) << "they are there again";
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(preview(), -1) << "stop ends the preview";
}

// Pictures whose memory ends at an unmapped page: a byte too far ends the test.
TEST(Service, TouchesNothingOutsideThePlanesAtAnySizeBlockAndCrop) {
    const Service service;
    ASSERT_EQ(service.Choose(kVignette), 0);
    constexpr int kBlocks[][2] = {{64, 64}, {130, 98}, {720, 480}, {1000, 1000}, {2, 2}};
    constexpr int kSizes[][2] = {{2, 2},   {3, 3},    {16, 16},  {20, 20},  {34, 18},
                                 {62, 31}, {101, 75}, {642, 48}, {1002, 52}};
    for (const auto& [bw, bh] : kBlocks) {
        ASSERT_EQ(service->startPreview(bw, bh), 0);
        for (const auto& [w, h] : kSizes) {
            if (bw == 2 && w * h > 1000) continue;  // thousands of blocks
            const int crops[][4] = {{0, 0, w, h},         {0, 0, 1, 1},   {w - 1, h - 1, 1, 1},
                                    {w / 2, h / 2, w, h}, {-5, -5, w, h}, {0, 0, 0, 0},
                                    {1, 1, w - 1, h - 1}};
            for (const auto& [cx, cy, cw, ch] : crops) {
                CaptureImage image(w, h);
                service->setCrop(cx, cy, cw, ch);
                ASSERT_EQ(service.Capture(image), 0) << w << "x" << h << " in " << bw << "x" << bh;
            }
        }
        if (bw < 16) continue;
        CaptureImage frame(bw, bh);
        service->setCrop(bw / 2, bh / 2, bw, bh);
        ASSERT_EQ(service.Preview(frame), 0);
    }
}

TEST(Service, FollowsChangesOfEffectSizeAndCropBetweenFrames) {
    const Service service;
    const CaptureImage original = Natural(128, 96);
    const auto preview = [&] {
        CaptureImage frame = Natural(128, 96);
        EXPECT_EQ(service.Preview(frame), 0);
        return frame.bytes();
    };
    ASSERT_EQ(service.Choose(kVignette), 0);
    ASSERT_EQ(service->startPreview(128, 96), 0);
    const std::vector<uint8_t> vignetted = preview();
    EXPECT_NE(vignetted, original.bytes());

    const LogCapture log;
    ASSERT_EQ(service->startPreview(128, 96), 0);
    EXPECT_EQ(preview(), vignetted);
    EXPECT_FALSE(log.contains("handlePreview: isGEInit == false, internalStartPreview = 0."))
        << "the same size keeps the effect";

    ASSERT_EQ(service.Choose(kNone), 0);
    EXPECT_EQ(preview(), original.bytes());
    EXPECT_TRUE(log.contains("handlePreview: isGEInit == true, internalStopPreview."));

    constexpr char kHardVignette[] = "GPU-effect=4;GE-param0=100,0,0,0;GE-param1=480,272,600,272";
    ASSERT_EQ(service.Choose(kHardVignette), 0);
    const std::vector<uint8_t> hard = preview();
    EXPECT_NE(hard, vignetted);
    EXPECT_TRUE(log.contains("handlePreview: isGEInit == false, internalStartPreview = 0."));
    EXPECT_EQ(preview(), hard) << "parameters stay until they change";

    ASSERT_EQ(service->setCrop(32, 24, 64, 48), 0);
    const std::vector<uint8_t> cropped = preview();
    EXPECT_NE(cropped, hard);

    std::vector<std::vector<uint8_t>> mirrored;
    for (const std::string landscaped : {"true", "false"}) {
        const char* first = landscaped == "true" ? "1,0,0,0" : "0,0,0,0";
        const std::string mirror = std::string("GPU-effect=8;GE-param0=") + first;
        ASSERT_EQ(service.Choose(mirror.c_str()), 0);
        EXPECT_TRUE(log.contains("[Prism][setParameters] mpGEMan->m_bLandscaped = " + landscaped));
        mirrored.push_back(preview());
        ASSERT_EQ(service.Choose(kHardVignette), 0);
    }
    EXPECT_NE(mirrored[0], mirrored[1]);

    CaptureImage image = Natural(300, 200);
    ASSERT_EQ(service->setCrop(0, 0, 300, 200), 0);
    ASSERT_EQ(service.Capture(image), 0);
    EXPECT_TRUE(log.contains(" cw = 300, ch = 200, vp_w = 128, vp_h = 96."));
    preview();
    EXPECT_EQ(service->stopPreview(), 0);
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(service->start(), 0);
    ASSERT_EQ(service->startPreview(128, 96), 0);
    ASSERT_EQ(service->setCrop(0, 0, 128, 96), 0);
    EXPECT_EQ(preview(), hard) << "parameters outlive a restart";
}

TEST(Renderer, IsDescribedBesideAServiceAndAgain) {
    const Service service;
    PostEffectRenderer first{};
    ASSERT_EQ(describeRenderer(&first), 0);
    EXPECT_THAT(first.platform, testing::AnyOf(testing::StrEq("default"), testing::StrEq("device"),
                                               testing::StrEq("surfaceless")));
    EXPECT_STRNE(first.renderer, "");
    EXPECT_STRNE(first.vendor, "");
    EXPECT_THAT(first.version, testing::StartsWith("OpenGL ES"));
    EXPECT_GE(first.maxTextureSize, 2048);
    EXPECT_EQ(first.sharesBuffers, 0);
    EXPECT_EQ(first.isSoftware == 1, std::strstr(first.renderer, "llvmpipe") != nullptr ||
                                         std::strstr(first.renderer, "softpipe") != nullptr);
    PostEffectRenderer second{};
    ASSERT_EQ(describeRenderer(&second), 0);
    EXPECT_STREQ(second.renderer, first.renderer);

    char path[64];
    EXPECT_EQ(describeRenderer(nullptr), -1);
    EXPECT_EQ(findLookUpFile(nullptr, path, sizeof path), -1);
    EXPECT_EQ(findLookUpFile("CurveCross.bmp", nullptr, sizeof path), -1);
}

TEST(Renderer, IsAllZerosWithoutADisplay) {
    const Variable kind("POSTEFFECT_EGL", "none of these");
    PostEffectRenderer renderer{};
    std::memset(&renderer, 1, sizeof(renderer));
    EXPECT_EQ(describeRenderer(&renderer), -1);
    EXPECT_STREQ(renderer.renderer, "");
    EXPECT_EQ(renderer.maxTextureSize, 0);
}

// The driver compiles shaders into pages of its own, which have no name.
TEST(Service, NoNamedMemoryIsBothWritableAndExecutable) {
    const Service service;
    ASSERT_EQ(service.Choose(kVignette), 0);
    ASSERT_EQ(service->startPreview(64, 48), 0);
    CaptureImage frame(64, 48);
    ASSERT_EQ(service.Preview(frame), 0);
    std::ifstream maps("/proc/self/maps");
    int ours = 0;
    for (std::string line; std::getline(maps, line);) {
        const std::string access = line.substr(line.find(' ') + 1, 4);
        const bool isOurs = line.find("service_gl_test") != std::string::npos ||
                            line.find("/memfd:") != std::string::npos ||
                            line.find("[stack]") != std::string::npos;
        ours += isOurs ? 1 : 0;
        EXPECT_FALSE(isOurs && access[1] == 'w' && access[2] == 'x') << line;
    }
    EXPECT_GT(ours, 2) << "the program, its stack, the frame's buffer";
}

}  // namespace
