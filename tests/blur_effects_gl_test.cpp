// Depth of field, tilt-shift and the sketches against a model of the two-pass blur on the CPU.
#include <gtest/gtest.h>
#include <posteffect/TiltShift.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <vector>

#include "effects/DepthOfField.h"
#include "effects/Sketch.h"
#include "effects/TiltShift.h"
#include "tests/support/CaptureImage.h"
#include "tests/support/EffectRunner.h"
#include "tests/support/EffectTest.h"
#include "tests/support/PictureModel.h"

namespace {

using namespace testing_support;

class BlurEffects : public EffectTest {
  protected:
    void TearDown() override {
        EffectTest::TearDown();
        setTiltShiftAngle(0.0F);
    }
};

CaptureImage Scene(int width, int height) {
    return CaptureImage::Scene(width, height, 8);
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

// How a blur is laid out: the steps between samples in texels, the sizes of the texture that holds
// the picture and of the blurred one, and whether the whole texture is blurred or the picture only.
struct Layout {
    double step;
    int width, height;
    int blurWidth, blurHeight;
    bool wholeTexture = false;
};

// The picture blurred as previews do it (texture as large as the picture) and as captures of one
// block with margins do.
TextureModel Blurred(const CaptureImage& image, const Layout& l, int strength) {
    const std::vector<Tap> taps = Taps(strength);
    const double scaleX = static_cast<double>(l.width) / image.width();
    const double scaleY = static_cast<double>(l.height) / image.height();
    // In fractions of the texture the step grows with the image, in those of the image it does not.
    const TextureModel across = Pass(TextureModel(image), l.blurWidth, l.blurHeight, scaleX, scaleY,
                                     l.step / l.width, 0.0, taps);
    return Pass(across, l.blurWidth, l.blurHeight, l.wholeTexture ? 1.0 : 1.0 / scaleX,
                l.wholeTexture ? 1.0 : 1.0 / scaleY, 0.0, l.step / l.height / scaleY, taps);
}

// A preview where the layout's texture is as large as the picture, else a capture.
template <typename Effect>
CaptureImage Draw(const CaptureImage& image, const Layout& l, const Prepare& prepare) {
    if (l.width == image.width()) return Preview<Effect>(image, prepare);
    return Capture<Effect>(image, l.width, l.height, prepare);
}

// The parameters of the effects that leave a part clear, in pixels of a frame of 384 x 240.
struct Focus {
    int strength, x, y, edgeX, edgeY;

    Focus In(const Layout& l) const {
        return {strength, x * l.width / 384, y * l.height / 240, edgeX * l.width / 384,
                edgeY * l.height / 240};
    }
    void Set(GEShader& effect) const {
        EXPECT_EQ(effect.SetParam(0, strength, 0, 0, 0), 0);
        EXPECT_EQ(effect.SetParam(1, x, y, edgeX, edgeY), 0);
        EXPECT_EQ(effect.SetParam(2, 1, 1, 1, 1), 0) << "another group changes nothing";
    }
};
constexpr Focus kFocuses[] = {
    {100, 192, 120, 288, 120}, {13, 96, 60, 96, 120},     {14, 0, 0, 384, 240},
    {75, 192, 120, 192, 120},  {105, 300, 200, 200, 100}, {-20, 192, 120, 60, 60},
    {0, 192, 120, 192, 240},   {7, -400, 900, 0, 0},
};

double SmoothStep(double from, double to, double x) {
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3.0 - 2.0 * t);
}

// From the clear picture to the blurred one where `distance` grows from `from` to `to`.
template <typename Distance>
PixelEffect FocusModel(const CaptureImage& image, const Layout& l, int strength, double from,
                       double to, Distance distance) {
    const double right = l.wholeTexture ? static_cast<double>(image.width()) / l.width : 1.0;
    const double bottom = l.wholeTexture ? static_cast<double>(image.height()) / l.height : 1.0;
    return [=, blurred = Blurred(image, l, strength)](const Rgb& clear, double s, double t) {
        const Rgb blur = ToRgb(blurred.At(s * right, t * bottom));
        const double weight = SmoothStep(from, to, distance(s, t)) * std::min(strength / 75.0, 1.0);
        Rgb out{};
        for (std::size_t c = 0; c < 3; ++c) out[c] = clear[c] + (blur[c] - clear[c]) * weight;
        return out;
    };
}

constexpr double kRatio = 384.0 / 240.0;

TEST_F(BlurEffects, DepthOfFieldFadesIntoTheBlurRoundItsPoint) {
    const CaptureImage image = Scene(384, 240);
    for (const Focus& inFrame : kFocuses) {
        for (const Layout& l : {Layout{1.5, 384, 240, 128, 84}, Layout{1.5, 480, 320, 160, 112}}) {
            SCOPED_TRACE(testing::Message() << inFrame.strength << " in " << l.width);
            const Focus f = inFrame.In(l);
            const double cx = static_cast<double>(f.x) / l.width;
            const double cy = static_cast<double>(f.y) / l.height;
            const double r =
                std::max(0.1, std::hypot(static_cast<double>(f.edgeX) / l.width - cx,
                                         static_cast<double>(f.edgeY) / l.height - cy));
            const auto actual = Draw<GEShaderDoF>(image, l, [&](GEShader& effect) {
                EXPECT_EQ(effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0);
                f.Set(effect);
            });
            const auto distance = [=](double s, double t) {
                return std::hypot(s - cx, (t - cy) / kRatio);
            };
            ExpectAgrees(actual, ApplyModel(image, FocusModel(image, l, f.strength, r - 0.075,
                                                              r + 0.075, distance)));
        }
    }
}

TEST_F(BlurEffects, TiltShiftKeepsABandOfAnySlopeInPreviewsAndALevelOneInCaptures) {
    const CaptureImage image = Scene(384, 240);
    const Layout preview = {1.0, 384, 240, 153, 96, true};
    // Blocks large enough for the picture and the overlap that the kernel needs.
    const Layout capture = {1.0, 448, 280, 179, 112, true};
    std::size_t turn = 0;
    for (const Focus& inFrame : kFocuses) {
        const float angle = std::array{0.0F, 30.0F, 90.0F, -60.0F}[turn++ % 4];
        const float usable = angle == 90.0F ? 89.99F : angle;
        setTiltShiftAngle(angle);
        for (const Layout& l : {preview, capture}) {
            SCOPED_TRACE(testing::Message()
                         << inFrame.strength << " at " << angle << " in " << l.width);
            const Focus f = inFrame.In(l);
            const double dx = std::abs(f.edgeX - f.x) / static_cast<double>(l.width);
            const double dy = std::abs(f.edgeY - f.y) / static_cast<double>(l.height);
            const double r = std::max(0.1, std::hypot(dx, dy)) - (1.0 - kRatio) * dx;
            const double slope =
                l.width == 384 ? std::tan(static_cast<double>(usable) * 3.1415926 / 180) : 0.0;
            const auto actual = Draw<GEShaderTS>(image, l, [&](GEShader& effect) {
                if (l.width == 384) {
                    EXPECT_EQ(effect.SetCrop(0.25F, 0.25F, 0.5F, 0.5F), 1) << "shows all the same";
                }
                f.Set(effect);
            });
            const auto distance = [=](double s, double t) {
                return std::abs(slope * (s - static_cast<double>(f.x) / l.width) + t -
                                static_cast<double>(f.y) / l.height) /
                       std::hypot(slope, 1.0);
            };
            ExpectAgrees(
                actual,
                ApplyModel(image, FocusModel(image, l, f.strength, (r - 0.075) * (r - 0.075),
                                             (r + 0.075) * (r + 0.075), distance)));
            EXPECT_EQ(tiltShiftAngle(), usable);
        }
    }
    for (const float unusable : {180.0F, std::nanf("")}) {
        setTiltShiftAngle(unusable);
        Preview<GEShaderTS>(image);
        EXPECT_EQ(tiltShiftAngle(), 179.99F) << unusable;
    }

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
    // No line on the second.
    for (const CaptureImage& image :
         {Scene(384, 240), CaptureImage::Flat(384, 240, 150, 140, 120)}) {
        for (const Layout& l : {Layout{2.0, 384, 240, 128, 79}, Layout{2.0, 544, 384, 181, 127}}) {
            SCOPED_TRACE(testing::Message()
                         << (color ? "color-sketch in " : "sketch in ") << l.width);
            const auto actual = Draw<Effect>(image, l, [](GEShader& effect) {
                EXPECT_EQ(effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F), 0);
                EXPECT_EQ(effect.SetParam(0, 50, 0, 0, 0), 0);
            });
            // A pixel at a threshold may go either way.
            EXPECT_LE(ShareApart(actual, ApplyModel(image, SketchModel(image, l, color))), 0.01);
        }
    }
}

TEST_F(BlurEffects, SketchesDrawLinesOnGreysOrColours) {
    ExpectSketches<GEShaderSketch>(false);
    ExpectSketches<GEShaderColorSketch>(true);
}

TEST_F(BlurEffects, ACropStaysWithTheClassUntilTheNextOne) {
    const CaptureImage image = Scene(192, 128);
    const auto shown = [&image](const Prepare& prepare) {
        return Preview<GEShaderSketch>(image, prepare).bytes();
    };
    const Prepare whole = [](GEShader& effect) { effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F); };
    const auto all = shown(whole);
    shown([](GEShader& effect) { effect.SetCrop(0.5F, 0.0F, 0.5F, 0.5F); });
    EXPECT_NE(shown({}), all);
    EXPECT_EQ(shown(whole), all);
    EXPECT_EQ(shown({}), all);
}

// How much larger the luma's steps are across the borders of blocks of this size than a pixel
// beside them.
double SeamRatio(const CaptureImage& image, int block, bool columns) {
    const int side = columns ? image.width() : image.height();
    const int length = columns ? image.height() : image.width();
    double at = 0.0;
    double beside = 0.0;
    for (int border = block; border < side - 2; border += block) {
        for (int i = 0; i < length; ++i) {
            const auto step = [&](int to) {
                return std::abs(columns ? image.luma(to, i) - image.luma(to - 1, i)
                                        : image.luma(i, to) - image.luma(i, to - 1));
            };
            at += step(border);
            beside += (step(border - 1) + step(border + 1)) / 2.0;
        }
    }
    return at / beside;
}

// Blocks of a little more than a third of the picture, as the command chooses them. The blurred
// picture's outermost half texel is as flat as its edge, so where all is blurred the whole of a
// texel's step comes at the border: less than one level here, against two beside it.
TEST_F(BlurEffects, BlocksOfAThirdJoinWithoutVisibleSeams) {
    const CaptureImage image = Scene(2000, 1500);
    const struct {
        const char* name;
        std::unique_ptr<GEShader> effect;
        int lostX, lostY;  // of a block's sides, to margins or overlaps
        double most;
    } rows[] = {
        {"dof", std::make_unique<GEShaderDoF>(), 64, 64, 1.5},
        // Five steps of 2000 / 800 pixels, even; of 1500 / 600.
        {"tilt-shift", std::make_unique<GEShaderTS>(), 2 * 14, 2 * 13, 1.1},
        {"sketch", std::make_unique<GEShaderSketch>(), 128, 128, 1.1},
        {"color-sketch", std::make_unique<GEShaderColorSketch>(), 128, 128, 1.1},
    };
    for (const auto& row : rows) {
        const CaptureImage result = Capture(*row.effect, image, 800, 600, [](GEShader& effect) {
            effect.SetCrop(0.0F, 0.0F, 1.0F, 1.0F);
            effect.SetParam(0, 100, 0, 0, 0);
            effect.SetParam(1, 400, 300, 600, 300);
        });
        EXPECT_LT(SeamRatio(result, 800 - row.lostX, true), row.most) << row.name;
        EXPECT_LT(SeamRatio(result, 600 - row.lostY, false), row.most) << row.name;
    }
}

}  // namespace
