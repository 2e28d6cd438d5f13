// Fisheye, dots and mirror against their maths on the CPU.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "effects/Dots.h"
#include "effects/Fisheye.h"
#include "effects/Mirror.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PictureModel.h"

namespace {

using namespace testing_support;

using GeometryEffects = EffectTest;

CaptureImage Scene(int width, int height) {
    return CaptureImage::Scene(width, height, 6);
}

void Whole(GEShader& effect) {
    effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
}

// Where the pixel at (s, t) comes from: the edges of the picture lie on an ellipse in each quarter
// round the centre, and the strength bends the way there.
std::array<double, 2> FisheyePlace(double s, double t, double cx, double cy, double strength) {
    const double x = s - cx;
    const double y = t - cy;
    const double a = x < 0 ? cx : 1.0 - cx;
    const double b = y < 0 ? cy : 1.0 - cy;
    const double rr = std::hypot(x, y);
    const double edge = rr / std::sqrt(x * x / (a * a) + y * y / (b * b));
    const double f = strength - 1.0;
    double r = 0.0;
    if (f > 0.0) {
        const double growth =
            rr * rr * f * 2.0 / (1.0 + std::pow(std::max(0.0, rr - 0.7), 1.6) * 15.0);
        r = (1.0 + growth * 1.5 + growth * rr * rr) * (1.0 - std::sqrt(f) * 0.72);
    } else {
        r = edge * std::pow(rr / edge, strength) / rr;
    }
    return {x * r + cx, y * r + cy};
}

PixelEffect FisheyeModel(const CaptureImage& image, double cx, double cy, int parameter,
                         bool capture) {
    const double strength = 0.6 + parameter * 0.012;
    return [=, frame = TextureModel(image), chroma = TextureModel::ChromaPlane(image)](
               const Rgb&, double s, double t) {
        const auto place = FisheyePlace(s, t, cx, cy, strength);
        if (!capture) return ToRgb(frame.At(place[0], place[1]));
        // Captures wrap round, and smooth the chroma plane by itself.
        const auto pair = chroma.At(place[0], place[1], TextureModel::kRepeat);
        const auto luma = frame.At(place[0], place[1], TextureModel::kRepeat);
        return ToRgb(luma[0], pair[1], pair[2]);
    };
}

TEST_F(GeometryEffects, FisheyeBendsThePictureRoundItsCentre) {
    const struct {
        int strength, x, y;
        double cx, cy;
    } cases[] = {
        {0, 160, 96, 0.5, 0.5},         {33, 160, 96, 0.5, 0.5}, {50, 160, 96, 0.5, 0.5},
        {100, 100, 60, 0.3125, 0.3125}, {20, 3, 190, 0.1, 0.9},  {100, 317, 2, 0.9, 0.1},
    };
    const CaptureImage image = Scene(320, 192);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.strength);
        const auto prepare = [&](GEShader& effect) {
            Whole(effect);
            EXPECT_EQ(effect.SetParam(0, c.strength, 0, 0, 0), 1);
            EXPECT_EQ(effect.SetParam(1, c.x, c.y, 0, 0), 1);
        };
        ExpectAgrees(Preview<GEShaderFisheye>(image, prepare),
                     ApplyModel(image, FisheyeModel(image, c.cx, c.cy, c.strength, false)));
        // One tile, and two by two of which the last are cut.
        ExpectAgrees(Capture<GEShaderFisheye>(image, 320, 192, prepare),
                     ApplyModel(image, FisheyeModel(image, c.cx, c.cy, c.strength, true)));
        const CaptureImage large = Scene(1002, 750);
        ExpectAgrees(Capture<GEShaderFisheye>(large, 320, 192, prepare),
                     ApplyModel(large, FisheyeModel(large, c.cx, c.cy, c.strength, true)));
    }
}

TEST_F(GeometryEffects, FisheyeHasNoHoleWhereAnAxisMeetsPixelCentres) {
    for (const int strength : {0, 50, 100}) {
        const auto prepare = [&](GEShader& effect) {
            Whole(effect);
            effect.SetParam(0, strength, 0, 0, 0);
            effect.SetParam(1, 80, 48, 0, 0);
        };
        const auto flat = CaptureImage::Flat(160, 96, 180, 128, 128);
        const auto odd = CaptureImage::Flat(161, 97, 180, 128, 128);  // its middle is a centre
        const CaptureImage frame = Preview<GEShaderFisheye>(flat, prepare);
        const CaptureImage still = Capture<GEShaderFisheye>(odd, 160, 96, prepare);
        for (int x = 0; x < 160; ++x) {
            EXPECT_NEAR(frame.luma(x, 48), 180, 1) << x;
            EXPECT_NEAR(still.luma(x, 48), 180, 1) << x;
        }
    }
}

// Where a crop shows the point (s, t).
struct Shown {
    double x, y, side;  // of a crop as wide as high
};
constexpr Shown kWhole = {0.0, 0.0, 1.0};

// Cells of one colour each, from the cell's centre, times the mask. Their size is a part of the
// picture's height, between a 68th and a 30th.
PixelEffect DotsModel(const CaptureImage& image, int size, const Shown& crop = kWhole) {
    const double cell = image.height() * (1.0 / 68 + size / 100.0 * (1.0 / 30 - 1.0 / 68));
    return [=, frame = TextureModel(image),
            dots = LookUp(size >= 51 ? "dot_mask_2.bmp" : "dot_mask_1.bmp")](const Rgb&, double s,
                                                                             double t) {
        const double x = s * frame.width() / cell;
        const double y = t * frame.height() / cell;
        Rgb out =
            ToRgb(frame.At(crop.x + crop.side * (std::floor(x) + 0.5) * cell / frame.width(),
                           crop.y + crop.side * (std::floor(y) + 0.5) * cell / frame.height()));
        const auto dot = dots.At(x, y, TextureModel::kRepeat);
        for (std::size_t c = 0; c < 3; ++c) out[c] = std::clamp(out[c], 0.0, 1.0) * dot[c];
        return out;
    };
}

TEST_F(GeometryEffects, DotsTakeOneColourACellAndCellsRunOnOverBlocks) {
    for (const int size : {0, 50, 51, 100, 130}) {
        SCOPED_TRACE(size);
        const auto prepare = [&](GEShader& effect) {
            Whole(effect);
            EXPECT_EQ(effect.SetParam(0, size, 0, 0, 0), 1);
            EXPECT_EQ(effect.SetParam(1, 7, 7, 7, 7), 1) << "another group changes nothing";
        };
        const CaptureImage image = Scene(384, 240);
        ExpectAgrees(Preview<GEShaderDot>(image, prepare),
                     ApplyModel(image, DotsModel(image, size)));
        // The preview's size does not matter to captures.
        const CaptureImage large = Scene(1402, 1000);
        ExpectAgrees(Capture<GEShaderDot>(large, 384, 240, prepare),
                     ApplyModel(large, DotsModel(large, size)));
    }
}

TEST_F(GeometryEffects, DotsOfACropAreTheDotsOfThatPart) {
    const CaptureImage image = Scene(640, 480);
    const auto prepare = [](GEShader& effect) {
        effect.SetCrop(0.25F, 0.5F, 0.5F, 0.5F);
        effect.SetParam(0, 50, 0, 0, 0);
    };
    const CaptureImage expected = ApplyModel(image, DotsModel(image, 50, {0.25, 0.5, 0.5}));
    // Cells' colours are single samples, so edges beside a cell's centre count.
    EXPECT_LE(ShareApart(Capture<GEShaderDot>(image, 320, 240, prepare), expected), 0.03);
    EXPECT_LE(ShareApart(Preview<GEShaderDot>(image, prepare), expected), 0.03);
}

TEST_F(GeometryEffects, DotsOfNoSizeAreRefusedInCapturesAndHarmlessInPreviews) {
    CaptureImage image = Scene(320, 240);
    for (const int size : {-79, -100000, 1000000}) {
        Preview<GEShaderDot>(image, [&](GEShader& e) { e.SetParam(0, size, 0, 0, 0); });
        Source source(image, 320, 240);
        GEShaderDot effect;
        ASSERT_TRUE(InitEffect(effect, source, true));
        effect.SetParam(0, size, 0, 0, 0);
        CaptureImage out(320, 240);
        const std::vector<uint8_t> before = out.bytes();
        EXPECT_EQ(effect.ProcFrame(image.data(), image.data() + image.chromaOffset(), out.data(),
                                   320, 240),
                  0);
        EXPECT_EQ(out.bytes(), before);
        EXPECT_EQ(effect.ProcFrame(image.data(), out.data(), 320, 240), 0) << "without chroma";
        EXPECT_EQ(out.bytes(), before);
    }
}

// Folded about the middle of each of so many parts.
PixelEffect MirrorModel(const CaptureImage& image, bool landscape, int parts) {
    return [=, frame = TextureModel(image)](const Rgb&, double s, double t) {
        double& place = landscape ? s : t;
        const double part = std::floor(place * parts);
        const double within = place * parts - part;
        place = (part + std::min(within, 1.0 - within)) / parts;
        return ToRgb(frame.At(s, t));
    };
}

// Of pictures as a whole, of blocks each by itself.
TEST_F(GeometryEffects, MirrorFoldsAboutTheMiddleOfWhatItIsGiven) {
    const CaptureImage image = Scene(320, 192);
    for (const bool landscape : {true, false}) {
        SCOPED_TRACE(landscape ? "landscape" : "portrait");
        const LogCapture log;
        GEShaderMirror effect;
        effect.SetLandscape(landscape);
        const auto prepare = [](GEShader& e) { EXPECT_EQ(e.SetParam(0, 1, 2, 3, 4), 1); };
        const CaptureImage expected = ApplyModel(image, MirrorModel(image, landscape, 1));
        ExpectAgrees(Preview(effect, image, prepare), expected);
        ExpectAgrees(Capture(effect, image, 320, 192, prepare), expected);
        ExpectAgrees(Capture(effect, image, 64, 96, prepare),
                     ApplyModel(image, MirrorModel(image, landscape, landscape ? 5 : 2)));
        EXPECT_TRUE(log.contains(landscape ? "[Prism] load Landscape mirror shader"
                                           : "[Prism] load Protrait mirror shader"));
    }
}

}  // namespace
