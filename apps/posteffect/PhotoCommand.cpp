// posteffect photo: filters pictures into others.
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/InputFile.h"
#include "apps/posteffect/NearestName.h"
#include "apps/posteffect/OptionText.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PhotoFilter.h"
#include "apps/posteffect/PhotoPlan.h"
#include "apps/posteffect/PictureFormat.h"
#include "apps/posteffect/Progress.h"

namespace posteffect {
namespace {

constexpr int kThumbnailSide = 160;  // pixels; what EXIF asks for
constexpr int kMaximumJobs = 256;

enum class KeptMetadata { kAll, kIcc, kNone };

struct PhotoOptions {
    std::vector<PhotoFilter> chain;
    std::optional<int> quality = kDefaultQuality;  // 1 to 100; none: as the input's
    KeptMetadata metadata = KeptMetadata::kAll;
    bool upright = true;        // turn the pixels as the file says
    bool force = false;         // replace what is there
    bool skipExisting = false;  // leave what is there
    bool keepGoing = false;     // with the other photos after a fault
    int jobs = 1;
};

// The longer side as EXIF wants it, never larger than the picture.
std::vector<std::uint8_t> MakeThumbnail(const std::string& name, const Picture& picture,
                                        int quality) {
    const Size size = picture.size();
    const int longer = std::max({size.width, size.height, kThumbnailSide});
    const auto scaled = [longer](int side) {
        return std::max(1, static_cast<int>(std::int64_t{side} * kThumbnailSide / longer));
    };
    JpegPicture thumbnail;
    thumbnail.planes = ShrinkPicture(picture, {scaled(size.width), scaled(size.height)});
    return EncodeJpeg(name, thumbnail, quality);
}

void Drop(KeptMetadata kept, Picture* picture) {
    if (kept == KeptMetadata::kAll) return;
    std::vector<JpegSegment>& segments = picture->segments;
    segments.erase(std::remove_if(segments.begin(), segments.end(),
                                  [kept](const JpegSegment& segment) {
                                      return kept == KeptMetadata::kNone || !IsIcc(segment);
                                  }),
                   segments.end());
    picture->density.reset();
    if (kept == KeptMetadata::kNone) picture->grayIcc.clear();
}

// Streams have no name that tells: they get what came in.
const PictureFormat* OutputFormat(const OutputFile& output, const std::string& path) {
    if (output.isStream()) return nullptr;
    const PictureFormat* format = FormatOfExtension(path);
    if (format) return format;
    throw Failure(kExitUnsupported, path,
                  "its name does not tell the format: end it in " + KnownExtensions());
}

// One photo from its file to the new one. Thread: any.
class PhotoJob {
  public:
    PhotoJob(const PhotoOptions& options, PhotoService* service)
        : m_options(options), m_service(*service) {}

    void run(const PhotoTask& task, bool alone) {
        const OutputFile output(task.output, task.input, m_options.force);
        const PictureFormat* wanted = OutputFormat(output, task.output);
        const std::string name = InputName(task.input);
        Progress progress;
        FileBytes file = ReadInput(task.input);
        const PictureFormat& source = FormatOfInput(name, file);
        const PictureFormat& target = wanted ? *wanted : source;
        Picture picture = source.decode(name, file);
        const Size size = picture.size();
        if (alone) progress.enableFor(name, size.width, size.height);
        if (std::max(size.width, size.height) > target.maximumSide) {
            throw Failure(kExitUnsupported, name,
                          std::string("a ") + target.name + " file holds at most " +
                              std::to_string(target.maximumSide) +
                              " pixels a side: choose another format for the output");
        }
        const bool changed = Changes(m_options.chain);
        const Exif exif(picture.segments);
        const bool turned = m_options.upright && exif.orientation() != 1;
        const bool same = !m_options.quality && !turned && !changed && &source == &kJpegFormat &&
                          &target == &kJpegFormat;
        if (!same) file = {};
        if (turned) {
            progress.stage("turning");
            TurnUpright(&picture, exif.orientation());
            if (picture.coding && SwapsSides(exif.orientation())) picture.coding->transpose();
        }
        if (changed) {
            progress.stage("filtering");
            MakePlanes(&picture);
            m_service.filter(name, m_options.chain, &picture.planes);
        }
        progress.stage("encoding");
        if (turned || (exif.hasThumbnail() && changed)) {
            exif.update(
                picture.size(), m_options.upright,
                [&](int quality) { return MakeThumbnail(name, picture, quality); },
                &picture.segments);
        }
        Drop(m_options.metadata, &picture);
        const FileBytes result = same ? RewriteJpeg(name, file, picture)
                                      : target.encode(name, &picture, m_options.quality);
        progress.stage("writing");
        output.write(result);
        progress.done();
    }

  private:
    const PhotoOptions& m_options;
    PhotoService& m_service;
};

// Many photos: decoded and encoded side by side, filtered one after the other.
class PhotoBatch {
  public:
    PhotoBatch(std::vector<PhotoTask> tasks, const PhotoOptions& options)
        : m_tasks(std::move(tasks)), m_options(options), m_progress(isatty(STDERR_FILENO) == 1) {}

    int run() {
        std::vector<std::thread> helpers;
        const std::size_t count =
            std::min(m_tasks.size(), static_cast<std::size_t>(m_options.jobs));
        for (std::size_t i = 1; i < count; ++i) {
            try {
                helpers.emplace_back([this] { work(); });
            } catch (const std::system_error&) {
                break;  // those that there are do it
            }
        }
        work();
        for (std::thread& helper : helpers) helper.join();
        if (m_failed == 0) return kExitDone;
        if (!m_options.keepGoing) throw *m_failure;
        throw Failure(kExitSomeFailed,
                      std::to_string(m_failed) + " of " + std::to_string(m_tasks.size()) +
                          (m_tasks.size() == 1 ? " photo" : " photos"),
                      "not done: see the lines above");
    }

  private:
    void work() {
        for (std::size_t i = 0; (i = m_next.fetch_add(1)) < m_tasks.size();) {
            if (m_failed > 0 && !m_options.keepGoing) return;
            const std::optional<Failure> failure = attempt(m_tasks[i]);
            const std::lock_guard<std::mutex> lock(m_mutex);
            ++m_done;
            if (failure) {
                ++m_failed;
                // Of several the first photo's, however the threads ran.
                if (!m_failure || i < m_failureIndex) {
                    m_failure = failure;
                    m_failureIndex = i;
                }
                if (m_options.keepGoing) std::fprintf(stderr, "posteffect: %s\n", failure->what());
            } else if (m_progress && m_tasks.size() > 1) {
                std::fprintf(stderr, "%zu/%zu %s\n", m_done, m_tasks.size(),
                             m_tasks[i].output.c_str());
            }
        }
    }

    std::optional<Failure> attempt(const PhotoTask& task) {
        const std::string name = InputName(task.input);
        try {
            std::error_code error;
            if (m_options.skipExisting && std::filesystem::exists(task.output, error)) return {};
            PhotoJob(m_options, &m_service).run(task, m_tasks.size() == 1);
            return {};
        } catch (const Failure& failure) {
            return failure;
        } catch (const std::bad_alloc&) {
            return Failure(kExitSomeFailed, name, "not enough memory: use a smaller picture");
        } catch (const std::exception& fault) {
            return Failure(kExitSomeFailed, name, fault.what());
        }
    }

    const std::vector<PhotoTask> m_tasks;
    const PhotoOptions& m_options;
    const bool m_progress;
    PhotoService m_service;
    std::atomic<std::size_t> m_next{0};
    std::atomic<std::size_t> m_failed{0};
    std::mutex m_mutex;  // what follows, and standard error
    std::size_t m_done = 0;
    std::optional<Failure> m_failure;
    std::size_t m_failureIndex = 0;
};

// The index of the word among the choices.
std::size_t Choose(const std::string& option, const std::string& word,
                   const std::vector<std::string>& choices) {
    const auto found = std::find(choices.begin(), choices.end(), word);
    if (found == choices.end()) {
        throw Failure(kExitWrongUse, option + " " + word, "takes " + JoinNames(choices, "or"));
    }
    return static_cast<std::size_t>(found - choices.begin());
}

class PhotoCommand : public Command {
  public:
    const char* name() const override { return "photo"; }
    const char* summary() const override { return "filter photos"; }
    void declare(Arguments& arguments) override {
        arguments.operands("IN",
                           "the pictures to filter: files (JPEG, PNG, WebP, TIFF), folders, quoted "
                           "patterns like '*.jpg'; - is standard input. Without -o the second of "
                           "two is the file to write",
                           &m_inputs);
        arguments.option("-o,--output", "OUT",
                         "a file, a folder (there, or ending in /), a pattern with {stem}, {name}, "
                         "{ext} and {effect}, or - for standard output. The name's end tells the "
                         "format",
                         &m_output);
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
        arguments.option("--quality", "Q",
                         "of the JPEG or WebP written (1..100, default " +
                             std::to_string(kDefaultQuality) +
                             "), or keep: as fine as the input, and the same samples where no "
                             "effect changes them",
                         &m_quality);
        arguments.option("--metadata", "M",
                         "keep (default) all, icc: only the colour profile, strip: nothing",
                         &m_metadata);
        arguments.option("--orient", "O",
                         "auto (default): upright first, ignore: as stored, and still marked so",
                         &m_orient);
        arguments.option("--jobs", "N", "photos at a time; the processors by default", &m_jobs);
        arguments.flag("-r,--recursive", "folders with all below them", &m_recursive);
        arguments.flag("--keep-going", "tell of a photo that fails and go on with the others",
                       &m_keepGoing);
        arguments.flag("--skip-existing", "leave out photos whose output exists", &m_skipExisting);
        arguments.flag("--force", "replace outputs that exist", &m_force);
    }
    int run() override {
        PhotoOptions options;
        PhotoRequest request;
        const std::vector<ChosenEffect> effects = m_effect.resolveChain();
        for (const ChosenEffect& chosen : effects) {
            PhotoFilter& filter = options.chain.emplace_back();
            filter.chosen = chosen;
            if (m_block) filter.block = ParseBlock(*m_block);
            request.effect +=
                (request.effect.empty() ? "" : "+") + std::string(chosen.effect->nick);
        }
        if (m_crop) setCrop(&options.chain);
        if (m_quality == "keep") {
            options.quality.reset();
        } else if (m_quality) {
            options.quality = ParseQuality(*m_quality);
        }
        if (m_metadata) {
            options.metadata = static_cast<KeptMetadata>(
                Choose("--metadata", *m_metadata, {"keep", "icc", "strip"}));
        }
        if (m_orient) options.upright = Choose("--orient", *m_orient, {"auto", "ignore"}) == 0;
        options.jobs = std::max(1, static_cast<int>(std::thread::hardware_concurrency()));
        if (m_jobs) options.jobs = ParseWhole("jobs", *m_jobs, 1, kMaximumJobs);
        if (m_force && m_skipExisting) {
            throw Failure(kExitWrongUse, "--skip-existing", "and --force exclude each other");
        }
        options.force = m_force;
        options.skipExisting = m_skipExisting;
        options.keepGoing = m_keepGoing;
        request.inputs = m_inputs;
        request.output = m_output;
        request.recursive = m_recursive;
        return PhotoBatch(PlanPhotos(request), options).run();
    }

  private:
    // To the one effect of the chain that can crop.
    void setCrop(std::vector<PhotoFilter>* chain) const {
        PhotoFilter* taker = nullptr;
        for (PhotoFilter& filter : *chain) {
            if (!filter.chosen.effect->cropsStills) continue;
            if (taker) {
                throw Failure(kExitWrongUse, "--crop",
                              "more than one of the effects takes it: run them one by one");
            }
            taker = &filter;
        }
        if (!taker) {
            throw Failure(kExitWrongUse, "--crop",
                          std::string("effect ") + chain->front().chosen.effect->nick +
                              " always shows the whole picture: leave it out");
        }
        taker->crop = ParseCrop(*m_crop);
    }

    std::vector<std::string> m_inputs;
    std::optional<std::string> m_output;
    EffectArguments m_effect;
    std::optional<std::string> m_crop;
    std::optional<std::string> m_block;
    std::optional<std::string> m_quality;
    std::optional<std::string> m_metadata;
    std::optional<std::string> m_orient;
    std::optional<std::string> m_jobs;
    bool m_recursive = false;
    bool m_keepGoing = false;
    bool m_skipExisting = false;
    bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> MakePhotoCommand() {
    return std::make_unique<PhotoCommand>();
}

}  // namespace posteffect
