// posteffect photo: filters one JPEG file into another.
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/InputFile.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PhotoFilter.h"
#include "apps/posteffect/PlaneScale.h"
#include "apps/posteffect/Progress.h"

namespace posteffect {
namespace {

constexpr int kDefaultQuality = 92;
constexpr int kThumbnailSide = 160;  // pixels; what EXIF asks for

std::vector<std::uint8_t> MakeThumbnail(const std::string& name, const YuvPicture& planes,
                                        int quality) {
    JpegPicture thumbnail;
    thumbnail.planes = ShrinkPicture(planes, kThumbnailSide);
    return EncodeJpeg(name, thumbnail, quality);
}

struct PhotoOptions {
    std::string input;   // "-" is standard input
    std::string output;  // "-" is standard output
    PhotoFilter filter;
    int quality = kDefaultQuality;  // 1 to 100
    bool force = false;             // replace what is there
};

int RunPhoto(const PhotoOptions& options) {
    const std::string name = InputName(options.input);
    const OutputFile output(options.output, options.input, options.force);
    Progress progress;
    JpegPicture picture = DecodeJpeg(name, ReadInput(options.input));
    const Exif exif(picture.segments);
    progress.enableFor(name, picture.planes.y.width, picture.planes.y.height);

    if (exif.orientation() != 1) progress.stage("turning");
    TurnUpright(&picture.planes, exif.orientation());

    progress.stage("filtering");
    FilterPhoto(name, options.filter, &picture.planes);

    progress.stage("encoding");
    const bool changed = options.filter.effect->number != kEffectBypass;
    if (exif.orientation() != 1 || (exif.hasThumbnail() && changed)) {
        exif.update(
            picture.planes.size(),
            [&](int quality) { return MakeThumbnail(name, picture.planes, quality); },
            &picture.segments);
    }
    const std::vector<std::uint8_t> file = EncodeJpeg(name, picture, options.quality);

    progress.stage("writing");
    output.write(file);
    progress.done();
    return kExitDone;
}

class PhotoCommand : public Command {
  public:
    const char* name() const override { return "photo"; }
    const char* summary() const override { return "filter a photo"; }
    void declare(Arguments& arguments) override {
        arguments.operand("IN", "the JPEG file to filter; - is standard input", &m_input);
        arguments.operand("OUT", "the JPEG file to write; - is standard output", &m_output);
        m_effect.declare(arguments);
        arguments.option("--crop", "X,Y,W,H",
                         "show only this part, enlarged to the whole picture; fractions of the "
                         "upright picture",
                         &m_crop);
        arguments.option("--block", "WxH",
                         "filter in blocks of this size; both even; chosen for the picture by "
                         "default. The library counts points in pixels of a block, so small "
                         "blocks are coarse",
                         &m_block);
        arguments.option(
            "--quality", "Q",
            "of the JPEG written (1..100, default " + std::to_string(kDefaultQuality) + ")",
            &m_quality);
        arguments.flag("--force", "replace OUT if it exists", &m_force);
    }
    int run() override {
        const ChosenEffect chosen = m_effect.resolve();
        PhotoOptions options;
        options.input = m_input;
        options.output = m_output;
        options.force = m_force;
        options.filter.effect = chosen.effect;
        options.filter.values = chosen.values;
        if (m_crop) {
            if (!chosen.effect->cropsStills) {
                throw Failure(kExitWrongUse, "--crop",
                              std::string("effect ") + chosen.effect->nick +
                                  " always shows the whole picture: leave it out");
            }
            options.filter.crop = ParseCrop(*m_crop);
        }
        if (m_block) options.filter.block = ParseBlock(*m_block);
        if (m_quality) options.quality = ParseQuality(*m_quality);
        return RunPhoto(options);
    }

  private:
    std::string m_input;
    std::string m_output;
    EffectArguments m_effect;
    std::optional<std::string> m_crop;
    std::optional<std::string> m_block;
    std::optional<std::string> m_quality;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> MakePhotoCommand() {
    return std::make_unique<PhotoCommand>();
}

}  // namespace posteffect
