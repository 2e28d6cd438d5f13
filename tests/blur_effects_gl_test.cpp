// Depth of field, tilt-shift and the sketches against a model of the two-pass blur on the CPU.
#include <gtest/gtest.h>
#include <posteffect/TiltShift.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

#include "effects/DepthOfField.h"
#include "effects/Sketch.h"
#include "effects/TiltShift.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
#include "tests/support/PictureModel.h"

namespace {

using testing_support::ApplyModel;
using testing_support::Capture;
using testing_support::CaptureImage;
using testing_support::ExpectAgrees;
using testing_support::InitEffect;
using testing_support::PixelEffect;
using testing_support::Preview;
using testing_support::Rgb;
using testing_support::ShareApart;
using testing_support::Source;
using testing_support::TextureModel;
using testing_support::ToRgb;

class BlurEffects : public testing_support::EffectTest {
  protected:
    void TearDown() override {
        EffectTest::TearDown();
        setTiltShiftAngle(0.0F);
    }
};

CaptureImage Scene(int width, int height) {
    CaptureImage image(width, height);
    image.FillScene(8);
    return image;
}

// A Gaussian's weights met by the steps in the order in which the shader meets them.
struct Tap {
    int step;
    double weight;
};

std::vector<Tap> Taps(int strength) {
    const int selector = strength / 7;
    const double sigma = selector >= 2 && selector <= 14 ? 0.2 + 0.2 * selector : 0.4;
    const int steps[] = {-5, -4, -3, -2, -1, 0, 1, 2, 3, 4, 5, -6, -7, 6, 7};
    double sum = 0.0;
    const auto gauss = [&](int d) { return std::exp(-d * d / (2.0 * sigma * sigma)); };
    for (int d = -7; d <= 7; ++d) sum += gauss(d);
    std::vector<Tap> taps;
    for (int i = 0; i < 15; ++i) taps.push_back({steps[i], gauss(i - 7) / sum});
    return taps;
}

constexpr int kWidest = 98;  // a strength whose kernel is the sketches'

// One pass: `width` x `height` texels over the part (0, 0) .. (right, bottom) of the input.
TextureModel Pass(const TextureModel& input, int width, int height, double right, double bottom,
                  double stepX, double stepY, const std::vector<Tap>& taps) {
    std::vector<TextureModel::Texel> texels;
    for (int j = 0; j < height; ++j) {
        for (int i = 0; i < width; ++i) {
            TextureModel::Texel sum{};
            for (const Tap& tap : taps) {
                const auto texel = input.At((i + 0.5) / width * right + tap.step * stepX,
                                            (j + 0.5) / height * bottom + tap.step * stepY);
                for (std::size_t c = 0; c < 3; ++c) sum[c] += tap.weight * texel[c];
            }
            texels.push_back(sum);
        }
    }
    return {width, height, std::move(texels)};
}

// How a blur is laid out: the sizes of the picture and of the texture that holds it, and the size
// of the blurred picture.
struct Layout {
    double step;  // texels
    int width, height;
    int textureWidth, textureHeight;
    int blurWidth, blurHeight;
};

// The picture blurred as previews do it (texture as large as the picture) and as captures of one
// block with margins do.
TextureModel Blurred(const CaptureImage& image, const Layout& l, int strength) {
    const double w = l.width;
    const double h = l.height;
    const std::vector<Tap> taps = Taps(strength);
    const double scaleX = l.textureWidth / w;
    const double scaleY = l.textureHeight / h;
    // In fractions of the texture the step grows with the image, in those of the image it does not.
    const TextureModel across = Pass(TextureModel(image), l.blurWidth, l.blurHeight, scaleX, scaleY,
                                     l.step / l.textureWidth, 0.0, taps);
    return Pass(across, l.blurWidth, l.blurHeight, 1.0 / scaleX, 1.0 / scaleY, 0.0,
                l.step / l.textureHeight / scaleY, taps);
}

double SmoothStep(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

template <typename Distance>
PixelEffect FocusModel(TextureModel blurred, double from, double to, double mixWeight,
                       Distance distance, double right = 1.0, double bottom = 1.0) {
    return [=, blurred = std::move(blurred)](const Rgb& clear, double s, double t) {
        const auto texel = blurred.At(s * right, t * bottom);
        const Rgb blur = ToRgb(texel[0], texel[1], texel[2]);
        const double weight = SmoothStep(from, to, distance(s, t)) * mixWeight;
        Rgb out{};
        for (std::size_t c = 0; c < 3; ++c) out[c] = clear[c] + (blur[c] - clear[c]) * weight;
        return out;
    };
}

struct FocusCase {
    int strength, x, y, edgeX, edgeY;
};
constexpr FocusCase kFocusCases[] = {
    {100, 192, 120, 288, 120}, {13, 96, 60, 96, 120},     {14, 0, 0, 384, 240},
    {75, 192, 120, 192, 120},  {105, 300, 200, 200, 100}, {-20, 192, 120, 60, 60},
    {0, 192, 120, 192, 240},   {7, -400, 900, 0, 0},
};

double MixWeight(int strength) {
    return strength < 75 ? strength / 75.0 : 1.0;
}

TEST_F(BlurEffects, DepthOfFieldFadesIntoTheBlurRoundItsPoint) {
    const CaptureImage image = Scene(384, 240);
    for (const FocusCase& c : kFocusCases) {
        SCOPED_TRACE(c.strength);
        const auto prepareFor = [&](int width, int height) {
            return [&c, width, height](GEShader& effect) {
                EXPECT_EQ(effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0);
                EXPECT_EQ(effect.SetParam(0, c.strength, 0, 0, 0), 0);
                EXPECT_EQ(effect.SetParam(1, c.x * width / 384, c.y * height / 240,
                                          c.edgeX * width / 384, c.edgeY * height / 240),
                          0);
                EXPECT_EQ(effect.SetParam(2, 1, 1, 1, 1), 0);
            };
        };
        const auto model = [&](const Layout& layout, double mapped, double mappedY) {
            const double cx = std::trunc(c.x * mapped) / (384 * mapped);
            const double cy = std::trunc(c.y * mappedY) / (240 * mappedY);
            const double ex = std::trunc(c.edgeX * mapped) / (384 * mapped);
            const double ey = std::trunc(c.edgeY * mappedY) / (240 * mappedY);
            const double r = std::max(0.1, std::hypot(ex - cx, ey - cy));
            return FocusModel(
                Blurred(image, layout, c.strength), r - 0.075, r + 0.075, MixWeight(c.strength),
                [=](double s, double t) { return std::hypot(s - cx, (t - cy) / (384.0 / 240.0)); });
        };
        ExpectAgrees(Preview<GEShaderDoF>(image, prepareFor(384, 240)),
                     ApplyModel(image, model({1.5, 384, 240, 384, 240, 128, 84}, 1.0, 1.0)));
        ExpectAgrees(Capture<GEShaderDoF>(image, 480, 320, prepareFor(480, 320)),
                     ApplyModel(image, model({1.5, 384, 240, 480, 320, 160, 112}, 480 / 384.0,
                                             320 / 240.0)));
    }
}

TEST_F(BlurEffects, TiltShiftKeepsABandOfAnySlopeInPreviewsAndALevelOneInCaptures) {
    const CaptureImage image = Scene(384, 240);
    const double ratio = 384.0 / 240.0;
    int turn = 0;
    for (const FocusCase& c : kFocusCases) {
        const float angle =
            std::array{0.0F, 30.0F, 90.0F, -60.0F}[static_cast<unsigned>(turn++ % 4)];
        SCOPED_TRACE(std::to_string(c.strength) + " at " + std::to_string(angle));
        setTiltShiftAngle(angle);
        const double dx = std::abs(c.edgeX - c.x) / 384.0;
        const double dy = std::abs(c.edgeY - c.y) / 240.0;
        const double r = std::max(0.1, std::hypot(dx, dy)) - (1.0 - ratio) * dx;
        const double from = (r - 0.075) * (r - 0.075);
        const double to = (r + 0.075) * (r + 0.075);
        const double slope =
            std::tan((angle == 90.0F ? 89.99 : static_cast<double>(angle)) * 3.1415926 / 180);
        const auto prepare = [&c](GEShader& effect) {
            EXPECT_EQ(effect.SetCrop(0.25F, 0.25F, 0.5F, 0.5F), 1) << "shows all the same";
            EXPECT_EQ(effect.SetParam(0, c.strength, 0, 0, 0), 0);
            EXPECT_EQ(effect.SetParam(1, c.x, c.y, c.edgeX, c.edgeY), 0);
        };
        const Layout preview = {1.0, 384, 240, 384, 240, 153, 96};
        ExpectAgrees(Preview<GEShaderTS>(image, prepare),
                     ApplyModel(image, FocusModel(Blurred(image, preview, c.strength), from, to,
                                                  MixWeight(c.strength), [&](double s, double t) {
                                                      return std::abs(slope * (s - c.x / 384.0) +
                                                                      t - c.y / 240.0) /
                                                             std::hypot(slope, 1.0);
                                                  })));
        EXPECT_EQ(tiltShiftAngle(), angle == 90.0F ? 89.99F : angle);
        // Blocks large enough for the picture and the overlap that the kernel needs.
        const CaptureImage still = Capture<GEShaderTS>(image, 448, 280, [&](GEShader& effect) {
            effect.SetParam(0, c.strength, 0, 0, 0);
            effect.SetParam(1, c.x * 448 / 384, c.y * 280 / 240, c.edgeX * 448 / 384,
                            c.edgeY * 280 / 240);
        });
        const int x = c.x * 448 / 384;
        const int y = c.y * 280 / 240;
        const double sdx = std::abs(c.edgeX * 448 / 384 - x) / 448.0;
        const double sdy = std::abs(c.edgeY * 280 / 240 - y) / 280.0;
        const double sr = std::max(0.1, std::hypot(sdx, sdy)) - (1.0 - ratio) * sdx;
        // The whole texture is blurred; of it the picture's part is shown.
        const std::vector<Tap> taps = Taps(c.strength);
        const TextureModel across =
            Pass(TextureModel(image), 179, 112, 448 / 384.0, 280 / 240.0, 1.0 / 448, 0.0, taps);
        const TextureModel both = Pass(across, 179, 112, 1.0, 1.0, 0.0, 240.0 / 280 / 280, taps);
        ExpectAgrees(
            still, ApplyModel(image, FocusModel(
                                         both, (sr - 0.075) * (sr - 0.075),
                                         (sr + 0.075) * (sr + 0.075), MixWeight(c.strength),
                                         [&](double, double t) { return std::abs(t - y / 280.0); },
                                         384 / 448.0, 240 / 280.0)));
    }
    setTiltShiftAngle(180.0F);
    Preview<GEShaderTS>(image, [](GEShader&) {});
    EXPECT_EQ(tiltShiftAngle(), 179.99F);
    setTiltShiftAngle(std::nanf(""));
    EXPECT_EQ(tiltShiftAngle(), 179.99F);

    // The widest picture in the narrowest blocks: overlaps leave nothing of them.
    Source source(image, 2, 64);
    GEShaderTS effect;
    ASSERT_TRUE(InitEffect(effect, source, true));
    uint8_t untouched = 0;
    EXPECT_EQ(effect.ProcFrame(nullptr, &untouched, 715827882, 2), 0);
}

PixelEffect SketchModel(const CaptureImage& image, const Layout& layout, bool color) {
    return [=, clear = TextureModel(image), blurred = Blurred(image, layout, kWidest)](
               const Rgb&, double s, double t) {
        auto blur = blurred.At(s, t);
        const bool line = ((1.0 - blur[0] + clear.At(s, t)[0]) / 2.0 - 0.484375) * 64.0 < 0.3;
        const double gray = line ? 0.0 : std::floor(blur[0] * 8.0 + 0.5) / 8.0 * 0.8 + 0.2;
        if (line || !color) return Rgb{gray, gray, gray};
        return ToRgb(gray, blur[1], blur[2]);
    };
}

template <typename Effect>
void ExpectSketches(bool color) {
    const CaptureImage image = Scene(384, 240);
    const auto prepare = [](GEShader& effect) {
        EXPECT_EQ(effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0);
        EXPECT_EQ(effect.SetParam(0, 50, 0, 0, 0), 0);
    };
    // A pixel at a threshold may go either way.
    EXPECT_LE(ShareApart(
                  Preview<Effect>(image, prepare),
                  ApplyModel(image, SketchModel(image, {2.0, 384, 240, 384, 240, 128, 79}, color))),
              0.01);
    EXPECT_LE(ShareApart(Capture<Effect>(image, 544, 384, prepare),
                         ApplyModel(image, SketchModel(image, {2.0, 384, 240, 544, 384, 181, 127},
                                                       color))),
              0.01);
    CaptureImage flat(64, 64);
    flat.FillFlat(150, 140, 120);
    const CaptureImage paper = Preview<Effect>(flat, [](GEShader&) {});
    const double step = std::floor(150 / 255.0 * 8.0 + 0.5) / 8.0 * 0.8 + 0.2;
    for (int x = 0; x < 64; ++x) EXPECT_NEAR(paper.luma(x, 9), step * 255, 2) << "no line";
    EXPECT_NEAR(paper.chroma(9, 9, 0), color ? 140 : 128, 2);
}

TEST_F(BlurEffects, SketchDrawsLinesOnGreys) {
    ExpectSketches<GEShaderSketch>(false);
}

TEST_F(BlurEffects, ColorSketchDrawsLinesOnColours) {
    ExpectSketches<GEShaderColorSketch>(true);
}

TEST_F(BlurEffects, ACropStaysWithTheClassUntilTheNextOne) {
    const CaptureImage image = Scene(192, 128);
    const auto shown = [&](bool whole) {
        return Preview<GEShaderSketch>(image,
                                       [=](GEShader& effect) {
                                           if (whole) effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
                                       })
            .bytes();
    };
    const auto all = shown(true);
    Preview<GEShaderSketch>(image, [](GEShader& e) { e.SetCrop(0.5F, 0.0F, 0.5F, 0.5F); });
    EXPECT_NE(shown(false), all);
    EXPECT_EQ(shown(true), all);
    EXPECT_EQ(shown(false), all);
}

// Mean step of the luma from each of these columns (rows) to the next.
double MeanStep(const CaptureImage& image, const std::vector<int>& places, bool columns) {
    double sum = 0.0;
    const int length = columns ? image.height() : image.width();
    for (const int place : places) {
        for (int i = 0; i < length; ++i) {
            const int a = columns ? image.luma(place - 1, i) : image.luma(i, place - 1);
            const int b = columns ? image.luma(place, i) : image.luma(i, place);
            sum += std::abs(b - a);
        }
    }
    return sum / static_cast<double>(places.size() * static_cast<std::size_t>(length));
}

// How much larger the luma's step is across the blocks' borders than a pixel beside them.
template <typename Effect>
std::array<double, 2> SeamRatios(const CaptureImage& image, int blockWidth, int blockHeight,
                                 int stepX, int stepY) {
    const CaptureImage result =
        Capture<Effect>(image, blockWidth, blockHeight, [&](GEShader& effect) {
            effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
            effect.SetParam(0, 100, 0, 0, 0);
            effect.SetParam(1, blockWidth / 2, blockHeight / 2, blockWidth * 3 / 4,
                            blockHeight / 2);
        });
    const auto ratio = [&](int step, int side, bool columns) {
        std::vector<int> at;
        std::vector<int> beside;
        for (int place = step; place < side - 2; place += step) {
            at.push_back(place);
            beside.push_back(place - 1);
            beside.push_back(place + 1);
        }
        return MeanStep(result, at, columns) / MeanStep(result, beside, columns);
    };
    return {ratio(stepX, image.width(), true), ratio(stepY, image.height(), false)};
}

// Blocks of a little more than a third of the picture, as the command chooses them. The blurred
// picture's outermost half texel is as flat as its edge, so where all is blurred the whole of a
// texel's step comes at the border: less than one level here, against two beside it.
TEST_F(BlurEffects, BlocksOfAThirdJoinWithoutVisibleSeams) {
    CaptureImage image(2000, 1500);
    image.FillScene(8);
    constexpr int kWidth = 800;
    constexpr int kHeight = 600;
    const int halfX = 14;  // five steps of 2000 / 800 pixels, even
    const int halfY = 13;
    const struct {
        const char* effect;
        std::array<double, 2> ratios;
        double most;
    } rows[] = {
        {"dof", SeamRatios<GEShaderDoF>(image, kWidth, kHeight, kWidth - 64, kHeight - 64), 1.5},
        {"tilt-shift",
         SeamRatios<GEShaderTS>(image, kWidth, kHeight, kWidth - 2 * halfX, kHeight - 2 * halfY),
         1.1},
        {"sketch", SeamRatios<GEShaderSketch>(image, kWidth, kHeight, kWidth - 128, kHeight - 128),
         1.1},
        {"color-sketch",
         SeamRatios<GEShaderColorSketch>(image, kWidth, kHeight, kWidth - 128, kHeight - 128), 1.1},
    };
    for (const auto& row : rows) {
        EXPECT_LT(row.ratios[0], row.most) << row.effect;
        EXPECT_LT(row.ratios[1], row.most) << row.effect;
        RecordProperty(std::string(row.effect) + " columns", std::to_string(row.ratios[0]));
        RecordProperty(std::string(row.effect) + " rows", std::to_string(row.ratios[1]));
    }
}

}  // namespace
