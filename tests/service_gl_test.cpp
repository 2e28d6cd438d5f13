// The service through its factory and interface, as an embedder uses it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>
#include <posteffect/Renderer.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>

#include "tests/support/CaptureImage.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PictureModel.h"
#include "tests/support/Service.h"

namespace {

using testing_support::ApplyModel;
using testing_support::CaptureImage;
using testing_support::Compare;
using testing_support::Difference;
using testing_support::LogCapture;
using testing_support::Service;
using testing_support::VignetteModel;

constexpr char kVignette[] = "GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272";
constexpr char kNone[] = "GPU-effect=0;GE-param0=0,0,0,0;GE-param1=0,0,0,0";

CaptureImage Natural(int width, int height) {
    CaptureImage image(width, height);
    image.FillNatural(static_cast<unsigned>(width * 7 + height));
    return image;
}

TEST(Service, PreviewFramesComeOutVignettedInPlace) {
    const Service service;
    for (const auto& [width, height] : {std::pair{640, 480}, {720, 480}, {854, 98}, {34, 18}}) {
        SCOPED_TRACE(std::to_string(width) + "x" + std::to_string(height));
        CaptureImage frame = Natural(width, height);
        const CaptureImage expected = ApplyModel(
            frame,
            VignetteModel(480 * width / 960 / static_cast<double>(width) - 0.5,
                          272 * height / 544 / static_cast<double>(height) - 0.5,
                          (912 * width / 960 - 480 * width / 960) / static_cast<double>(width),
                          0.215, static_cast<double>(width) / height));
        ASSERT_EQ(service->setParameters(android::String8(kVignette)), 0);
        ASSERT_EQ(service->startPreview(width, height), 0);
        ASSERT_EQ(service->setCrop(0, 0, width, height), 0);
        ASSERT_EQ(service->handlePreview(-1, frame.data(), 0), 0);
        const Difference difference = Compare(frame, expected);
        EXPECT_LE(difference.lumaMax, 2) << difference.where;
        EXPECT_LE(difference.chromaMax, 2);
    }
}

TEST(Service, CapturesComeOutVignettedWhateverTheBlocksAndTheOffsets) {
    const Service service;
    ASSERT_EQ(service->setParameters(android::String8(kVignette)), 0);
    struct {
        int width, height, blockWidth, blockHeight;
    } const cases[] = {
        {1000, 750, 640, 480}, {1000, 750, 1024, 768}, {4000, 300, 1024, 768},
        {2, 2, 64, 64},        {1002, 752, 96, 1000},  {640, 480, 176, 144},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.width) + " in blocks of " + std::to_string(c.blockWidth));
        const CaptureImage original = Natural(c.width, c.height);
        const double center = 480 * c.blockWidth / 960 / static_cast<double>(c.blockWidth);
        const double middle = 272 * c.blockHeight / 544 / static_cast<double>(c.blockHeight);
        const double edge = 912 * c.blockWidth / 960 / static_cast<double>(c.blockWidth);
        const CaptureImage expected =
            ApplyModel(original, VignetteModel(center - 0.5, middle - 0.5, edge - center, 0.215,
                                               static_cast<double>(c.width) / c.height));
        ASSERT_EQ(service->startPreview(c.blockWidth, c.blockHeight), 0);
        ASSERT_EQ(service->setCrop(0, 0, c.width, c.height), 0);
        CaptureImage image = Natural(c.width, c.height);
        ASSERT_EQ(
            service->handleCapture(c.width, c.height, -1, image.data(), 0, image.chromaOffset()),
            0);
        const Difference difference = Compare(image, expected);
        EXPECT_LE(difference.lumaMax, 2) << difference.where;
        EXPECT_LE(difference.chromaMax, 2);
    }
}

TEST(Service, AnswersEveryCallInEveryStateWithAStatusAndLeavesFramesAlone) {
    CaptureImage image = Natural(64, 48);
    const std::vector<uint8_t> before = image.bytes();
    const int uv = image.chromaOffset();
    destroyPostEffect(nullptr);

    std::unique_ptr<IPostEffect, void (*)(IPostEffect*)> owner(createPostEffect(),
                                                               destroyPostEffect);
    IPostEffect* service = owner.get();
    EXPECT_EQ(service->stop(), 0) << "never started";
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), -1);
    EXPECT_EQ(service->stopPreview(), 0);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, uv), 0) << "no effect yet";
    EXPECT_EQ(service->setCrop(1, 2, 3, 4), 0);

    ASSERT_EQ(service->start(), 0);
    ASSERT_EQ(service->start(), 0) << "twice is harmless";
    EXPECT_EQ(service->startPreview(64, 48), 0);
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 0) << "effect 0 passes frames through";
    EXPECT_EQ(service->handlePreview(-1, nullptr, 0), 0);

    EXPECT_EQ(service->setParameters(android::String8("GPU-effect=A")), 0);
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 0) << "no such effect";
    EXPECT_EQ(service->setParameters(android::String8(";;=;GPU-effect;=4;x")), 0);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, uv), 0);

    setenv("POSTEFFECT_SYSROOT", "/nowhere", 1);
    EXPECT_EQ(service->setParameters(android::String8("GPU-effect=5")), 0);
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 2) << "its files are not there";
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, uv), 3);
    unsetenv("POSTEFFECT_SYSROOT");

    EXPECT_EQ(service->setParameters(android::String8(kVignette)), 0);
    for (const auto& [w, h] : {std::pair{0, 0},
                               {-2, -2},
                               {63, 48},
                               {64, 47},
                               {1, 2},
                               {100000, 2},
                               {INT_MAX - 1, INT_MAX - 1}}) {
        SCOPED_TRACE(w);
        EXPECT_EQ(service->startPreview(w, h), 0);
        EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 2);
        EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, uv), 3);
    }
    EXPECT_EQ(service->startPreview(64, 48), 0);
    EXPECT_EQ(service->handlePreview(-1, nullptr, 0), 2);
    EXPECT_EQ(service->handlePreview(-1, image.data(), -1), 2);
    EXPECT_EQ(service->handleCapture(64, 48, -1, nullptr, 0, uv), 3);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), -1, uv), 3);
    EXPECT_EQ(service->handleCapture(64, 48, -1, image.data(), 0, -1), 3);
    for (const auto& [w, h] : {std::pair{0, 48},
                               {64, 0},
                               {-64, 48},
                               {1, 1},
                               {INT_MAX, INT_MAX},
                               {65536, 65536},
                               {46341, 46341}}) {
        EXPECT_EQ(service->handleCapture(w, h, -1, image.data(), 0, uv), 3) << w << "x" << h;
    }
    EXPECT_EQ(image.bytes(), before);

    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 0) << "still alive";
    EXPECT_NE(image.bytes(), before);
    const std::vector<uint8_t> filtered = image.bytes();
    setenv("POSTEFFECT_SYSROOT", "/nowhere", 1);
    EXPECT_EQ(service->setParameters(android::String8("GPU-effect=5")), 0);
    EXPECT_EQ(service->setCrop(1, 2, 3, 4), 0);
    for (int i = 0; i < 2; ++i) EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 2);
    EXPECT_EQ(image.bytes(), filtered);
    unsetenv("POSTEFFECT_SYSROOT");
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), 0) << "they are there again";
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(service->stop(), 0);
    EXPECT_EQ(service->handlePreview(-1, image.data(), 0), -1) << "stop ends the preview";
}

// Pictures whose memory ends at an unmapped page: a byte too far ends the test.
TEST(Service, TouchesNothingOutsideThePlanesAtAnySizeBlockAndCrop) {
    const Service service;
    ASSERT_EQ(service->setParameters(android::String8(kVignette)), 0);
    for (const auto& [bw, bh] : {std::pair{64, 64}, {130, 98}, {720, 480}, {1000, 1000}, {2, 2}}) {
        ASSERT_EQ(service->startPreview(bw, bh), 0);
        for (const auto& [w, h] : {std::pair{2, 2},
                                   {3, 3},
                                   {16, 16},
                                   {20, 20},
                                   {34, 18},
                                   {62, 31},
                                   {101, 75},
                                   {642, 48},
                                   {1002, 52}}) {
            if (bw == 2 && w * h > 1000) continue;  // thousands of blocks
            for (const auto& [cx, cy, cw, ch] : {std::tuple{0, 0, w, h},
                                                 {0, 0, 1, 1},
                                                 {w - 1, h - 1, 1, 1},
                                                 {w / 2, h / 2, w, h},
                                                 {-5, -5, w, h},
                                                 {0, 0, 0, 0},
                                                 {1, 1, w - 1, h - 1}}) {
                CaptureImage image(w, h);
                service->setCrop(cx, cy, cw, ch);
                ASSERT_EQ(service->handleCapture(w, h, -1, image.data(), 0, image.chromaOffset()),
                          0)
                    << w << "x" << h << " in " << bw << "x" << bh;
            }
        }
        if (bw < 16) continue;
        CaptureImage frame(bw, bh);
        service->setCrop(bw / 2, bh / 2, bw, bh);
        ASSERT_EQ(service->handlePreview(-1, frame.data(), 0), 0);
    }
}

TEST(Service, FollowsChangesOfEffectSizeAndCropBetweenFrames) {
    const Service service;
    const CaptureImage original = Natural(128, 96);
    const auto preview = [&] {
        CaptureImage frame = Natural(128, 96);
        EXPECT_EQ(service->handlePreview(-1, frame.data(), 0), 0);
        return frame.bytes();
    };
    ASSERT_EQ(service->setParameters(android::String8(kVignette)), 0);
    ASSERT_EQ(service->startPreview(128, 96), 0);
    const std::vector<uint8_t> vignetted = preview();
    EXPECT_NE(vignetted, original.bytes());

    const LogCapture log;
    ASSERT_EQ(service->startPreview(128, 96), 0);
    EXPECT_EQ(preview(), vignetted);
    EXPECT_FALSE(log.contains("handlePreview: isGEInit == false, internalStartPreview = 0."))
        << "the same size keeps the effect";

    ASSERT_EQ(service->setParameters(android::String8(kNone)), 0);
    EXPECT_EQ(preview(), original.bytes());
    EXPECT_TRUE(log.contains("handlePreview: isGEInit == true, internalStopPreview."));

    constexpr char kHardVignette[] = "GPU-effect=4;GE-param0=100,0,0,0;GE-param1=480,272,600,272";
    ASSERT_EQ(service->setParameters(android::String8(kHardVignette)), 0);
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
        ASSERT_EQ(service->setParameters(android::String8(mirror.c_str())), 0);
        EXPECT_TRUE(log.contains("[Prism][setParameters] mpGEMan->m_bLandscaped = " + landscaped));
        mirrored.push_back(preview());
        ASSERT_EQ(service->setParameters(android::String8(kHardVignette)), 0);
    }
    EXPECT_NE(mirrored[0], mirrored[1]);

    CaptureImage image = Natural(300, 200);
    ASSERT_EQ(service->setCrop(0, 0, 300, 200), 0);
    ASSERT_EQ(service->handleCapture(300, 200, -1, image.data(), 0, image.chromaOffset()), 0);
    const LogCapture* after = &log;
    EXPECT_TRUE(after->contains(" cw = 300, ch = 200, vp_w = 128, vp_h = 96."));
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
    const char* const before = std::getenv("POSTEFFECT_EGL");
    const std::string kept = before != nullptr ? before : "";
    setenv("POSTEFFECT_EGL", "none of these", 1);
    PostEffectRenderer renderer{};
    std::memset(&renderer, 1, sizeof(renderer));
    EXPECT_EQ(describeRenderer(&renderer), -1);
    EXPECT_STREQ(renderer.renderer, "");
    EXPECT_EQ(renderer.maxTextureSize, 0);
    if (before != nullptr) {
        setenv("POSTEFFECT_EGL", kept.c_str(), 1);
    } else {
        unsetenv("POSTEFFECT_EGL");
    }
}

// The driver compiles shaders into pages of its own, which have no name.
TEST(Service, NoNamedMemoryIsBothWritableAndExecutable) {
    const Service service;
    ASSERT_EQ(service->setParameters(android::String8(kVignette)), 0);
    ASSERT_EQ(service->startPreview(64, 48), 0);
    CaptureImage frame(64, 48);
    ASSERT_EQ(service->handlePreview(-1, frame.data(), 0), 0);
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
