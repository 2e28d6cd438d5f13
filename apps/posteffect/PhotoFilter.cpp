#include "apps/posteffect/PhotoFilter.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "apps/common/ServiceSession.h"
#include "apps/posteffect/BlockSize.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/GpuFault.h"
#include "apps/posteffect/Orientation.h"

namespace posteffect {
namespace {

int Pixels(double fraction, int side) {
    return static_cast<int>(std::lround(fraction * side));
}

int Capture(ServiceSession& session, const PhotoFilter& filter, Size block,
            SemiPlanarFrame* frame) {
    const android::String8 parameters(
        FlattenParameters(*filter.chosen.effect, filter.chosen.values).c_str());
    const Size size = frame->size;
    const int lumaBytes = static_cast<int>(frame->lumaBytes());
    // Always sent: the library keeps the rectangle of an earlier picture otherwise.
    const Part crop = filter.crop.value_or(Part());
    const int left = std::min(Pixels(crop.x, size.width), size.width - 1);
    const int top = std::min(Pixels(crop.y, size.height), size.height - 1);
    const int width = std::clamp(Pixels(crop.width, size.width), 1, size.width - left);
    const int height = std::clamp(Pixels(crop.height, size.height), 1, size.height - top);
    int status = session.run([&](IPostEffect& s) { return s.setParameters(parameters); });
    if (status == kPostEffectOk) {
        status =
            session.run([&](IPostEffect& s) { return s.startPreview(block.width, block.height); });
    }
    if (status == kPostEffectOk) {
        status = session.run([&](IPostEffect& s) { return s.setCrop(left, top, width, height); });
    }
    if (status == kPostEffectOk) {
        status = session.run([&](IPostEffect& s) {
            return s.handleCapture(size.width, size.height, -1, frame->bytes.data(), 0, lumaBytes);
        });
    }
    return status;
}

// Fisheye takes a picture as one texture, dots so many of their rows: no blocks make that smaller.
bool ExceedsTextures(const PhotoFilter& filter, Size picture, int largest) {
    if (largest == 0) return false;  // not known
    if (filter.chosen.effect->number == kEffectFisheye) {
        return std::max(picture.width, picture.height) > largest;
    }
    constexpr int kRowsOfTexture = 16;
    for (std::size_t i = 0; i < filter.chosen.values.size(); ++i) {
        if (filter.chosen.effect->options.first[i].target == OptionTarget::kCellRows) {
            return picture.height / filter.chosen.values[i].x * kRowsOfTexture > largest;
        }
    }
    return false;
}

Failure Explain(const std::string& name, const PhotoFilter& filter, Size picture, Size block,
                int largestTexture, int status) {
    if (status == kPostEffectBusy) {
        return {kExitSomeFailed, name, "no thread for the work: end other programs and try again"};
    }
    if (const auto fault = FindGpuFault(name, *filter.chosen.effect)) return *fault;
    if (ExceedsTextures(filter, picture, largestTexture)) {
        return {kExitUnsupported, name,
                std::string("effect ") + filter.chosen.effect->nick +
                    " takes more of it at once than the " + std::to_string(largestTexture) +
                    " pixels a side that the GPU can: use a smaller picture"};
    }
    if (filter.block) {
        return {kExitWrongUse, "--block " + SizeText(block),
                "not possible for this picture on this GPU: choose another, or leave it out"};
    }
    return {kExitSomeFailed, name,
            "more than the GPU's or the computer's memory takes in blocks of " + SizeText(block) +
                ": choose smaller ones with --block"};
}

// Folds top over bottom.
bool IsPortraitFold(const PhotoFilter& filter) {
    return filter.chosen.effect->number == kEffectMirror && filter.chosen.values[0].x == 0.0;
}

// The mirror folds about the middle of a buffer whose rows are whole units of 32 pixels: with as
// much more on either side, that is the middle of the picture.
SidePadding FoldPadding(const PhotoFilter& filter, Size picture) {
    if (filter.chosen.effect->number != kEffectMirror || IsPortraitFold(filter)) return {};
    constexpr int kRowUnit = 32;
    const int width = RoundUp(picture.width, 2);
    const int missing = RoundUp(width, kRowUnit) - width;
    const int left = missing / 4 * 2;
    return {left, missing - left};
}

// The index of the effect's band angle among its options, or none.
std::optional<std::size_t> AngleIndex(const EffectInfo& effect) {
    for (std::size_t i = 0; i < effect.options.count; ++i) {
        if (effect.options.first[i].target == OptionTarget::kBandAngle) return i;
    }
    return std::nullopt;
}

// A dot smaller than a pixel is none.
void CheckCellRows(const PhotoFilter& filter, Size picture) {
    for (std::size_t i = 0; i < filter.chosen.values.size(); ++i) {
        const EffectOption& option = filter.chosen.effect->options.first[i];
        if (option.target != OptionTarget::kCellRows ||
            filter.chosen.values[i].x <= picture.height) {
            continue;
        }
        throw Failure(kExitWrongUse, std::string("--") + option.name,
                      "more rows of dots than rows of pixels, of which there are " +
                          std::to_string(picture.height) + ": choose fewer, or a larger picture");
    }
}

// An upright band is the level one of the picture lying on its side.
bool HasUprightBand(const PhotoFilter& filter) {
    const auto angle = AngleIndex(*filter.chosen.effect);
    if (!angle || filter.chosen.values[*angle].x == 0.0) return false;
    if (std::abs(filter.chosen.values[*angle].x) == 90.0) return true;
    throw Failure(kExitWrongUse, "--angle", "of a still is 0 (level) or 90 (upright)");
}

PhotoFilter LyingOnItsSide(PhotoFilter filter) {
    for (std::size_t i = 0; i < filter.chosen.values.size(); ++i) {
        if (IsPoint(filter.chosen.effect->options.first[i])) {
            std::swap(filter.chosen.values[i].x, filter.chosen.values[i].y);
        }
    }
    filter.chosen.values[*AngleIndex(*filter.chosen.effect)] = {};
    if (filter.block) std::swap(filter.block->width, filter.block->height);
    return filter;
}

}  // namespace

bool Changes(const std::vector<PhotoFilter>& chain) {
    return std::any_of(chain.begin(), chain.end(), [](const PhotoFilter& filter) {
        return filter.chosen.effect->number != kEffectBypass;
    });
}

PhotoService::PhotoService() = default;

PhotoService::~PhotoService() = default;

void PhotoService::filter(const std::string& name, const std::vector<PhotoFilter>& chain,
                          YuvPicture* picture) {
    const std::lock_guard<std::mutex> lock(m_mutex);
    for (const PhotoFilter& filter : chain) {
        if (filter.chosen.effect->number != kEffectBypass) apply(name, filter, picture);
    }
}

// Asked for while the session holds the display up, which is the greater part of the work.
const PostEffectRenderer& PhotoService::renderer() {
    if (!m_renderer) describeRenderer(&m_renderer.emplace());
    return *m_renderer;
}

void PhotoService::apply(const std::string& name, const PhotoFilter& filter, YuvPicture* picture) {
    if (HasUprightBand(filter)) {
        constexpr int kTransposed = 5;  // as EXIF counts orientations
        TurnUpright(picture, kTransposed);
        apply(name, LyingOnItsSide(filter), picture);
        TurnUpright(picture, kTransposed);
        return;
    }
    CheckCellRows(filter, picture->size());
    const SidePadding padding = FoldPadding(filter, picture->size());
    SemiPlanarFrame frame = TakeSemiPlanar(picture, padding);
    if (!m_session) m_session = std::make_unique<ServiceSession>();
    int status = m_session->run([](IPostEffect& service) { return service.start(); });
    const Size block = filter.block ? *filter.block
                                    : ChooseBlockSize(frame.size, *filter.chosen.effect, renderer(),
                                                      IsPortraitFold(filter));
    if (status == kPostEffectOk) status = Capture(*m_session, filter, block, &frame);
    if (status != kPostEffectOk) {
        m_session.reset();
        throw Explain(name, filter, frame.size, block, renderer().maxTextureSize, status);
    }
    FromSemiPlanar(frame, picture, padding);
}

}  // namespace posteffect
