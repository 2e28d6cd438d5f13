// posteffect gallery: every effect on photos, as a page and as a sheet.
#include <spawn.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/ContactSheet.h"
#include "apps/posteffect/Exif.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/GalleryPage.h"
#include "apps/posteffect/GalleryVariants.h"
#include "apps/posteffect/InputFile.h"
#include "apps/posteffect/JpegPicture.h"
#include "apps/posteffect/Orientation.h"
#include "apps/posteffect/OutputFile.h"
#include "apps/posteffect/PhotoFilter.h"
#include "apps/posteffect/Picture.h"
#include "apps/posteffect/PictureFormat.h"
#include "apps/posteffect/PlaneScale.h"
#include "apps/posteffect/StandardOutput.h"

namespace posteffect {
namespace {

namespace fs = std::filesystem;

constexpr int kLongerSide = 1280;  // pixels, at most
constexpr int kPageQuality = 82;
constexpr int kSheetQuality = 90;
constexpr int kMaximumSheetHeight = 65500;  // of a JPEG

// The page's pictures are upright and small; of what travels with a photo only its profile counts.
JpegPicture Load(const std::string& path) {
    const std::string name = InputName(path);
    const FileBytes file = ReadInput(path);
    Picture picture = FormatOfInput(name, file).decode(name, file);
    TurnUpright(&picture, Exif(picture.segments).orientation());
    Flatten(&picture);
    MakePlanes(&picture);
    picture.planes = ShrinkPicture(picture.planes, kLongerSide);
    static constexpr char kProfile[] = "ICC_PROFILE";
    auto& segments = picture.segments;
    segments.erase(std::remove_if(segments.begin(), segments.end(),
                                  [](const JpegSegment& segment) {
                                      return !segment.startsWith(kProfile, sizeof(kProfile));
                                  }),
                   segments.end());
    return picture;
}

std::string CommandText(const std::string& input, const GalleryVariant& variant) {
    std::string output = fs::path(input).stem().string() + "-" + variant.effect->nick;
    if (!variant.setting.empty()) output += "-" + variant.setting;
    return "posteffect photo " + ShellWord(input) + " " + ShellWord(output + ".jpg") + " " +
           variant.arguments;
}

// The effect on the picture; none where the picture is too small for these settings.
std::optional<JpegPicture> Filter(PhotoService& service, const std::string& name,
                                  const GalleryVariant& variant, const JpegPicture& original) {
    JpegPicture picture = original;
    try {
        service.filter(name, {{{variant.effect, variant.values}, {}, {}}}, &picture.planes);
    } catch (const Failure& failure) {
        if (failure.code() != kExitWrongUse) throw;
        return std::nullopt;
    }
    return picture;
}

GalleryPicture FilterAll(PhotoService& service, const std::string& path,
                         const std::vector<GalleryVariant>& variants,
                         std::vector<SheetCell>* cells) {
    const std::string name = InputName(path);
    const JpegPicture original = Load(path);
    GalleryPicture gallery;
    gallery.name = name;
    gallery.size = original.planes.size();
    gallery.original = EncodeJpeg(name, original, kPageQuality);
    for (const GalleryVariant& variant : variants) {
        const auto picture = Filter(service, name, variant, original);
        if (!picture) continue;
        const std::string& setting = variant.setting;
        GalleryResult result;
        result.effect = variant.effect->nick;
        result.title = variant.effect->name + (setting.empty() ? "" : ", " + setting);
        result.summary = variant.effect->summary;
        result.command = CommandText(path, variant);
        result.jpeg = EncodeJpeg(name, *picture, kPageQuality);
        cells->push_back({ShrinkForSheet(picture->planes),
                          variant.effect->nick + (setting.empty() ? "" : " " + setting)});
        gallery.results.push_back(std::move(result));
    }
    return gallery;
}

// The folder, made unless it is there; one that was made and stayed empty goes again.
class OutputFolder {
  public:
    explicit OutputFolder(std::string path) : m_path(std::move(path)) {
        std::error_code error;
        m_isNew = fs::create_directories(m_path, error);
        if (!error) return;
        throw Failure(kExitCannotWrite, m_path,
                      "cannot be created (" + error.message() + "): name another folder");
    }
    ~OutputFolder() {
        std::error_code notEmpty;
        if (m_isNew) fs::remove(m_path, notEmpty);
    }
    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

  private:
    std::string m_path;
    bool m_isNew = false;
};

// Where somebody watches; a browser that does not start is no fault of the gallery.
void OpenPage(std::string page) {
    const bool window = std::getenv("DISPLAY") || std::getenv("WAYLAND_DISPLAY");
    if (!window || isatty(STDOUT_FILENO) == 0) return;
    std::string program = "xdg-open";
    char* const words[] = {program.data(), page.data(), nullptr};
    pid_t process = 0;
    posix_spawnp(&process, program.c_str(), nullptr, nullptr, words, environ);
}

class GalleryCommand : public Command {
  public:
    const char* name() const override { return "gallery"; }
    const char* summary() const override { return "show every effect on photos, as a page"; }
    void declare(Arguments& arguments) override {
        arguments.option("-o,--output", "DIR",
                         "the folder for index.html and sheet.jpg, made where it is missing",
                         &m_folder);
        arguments.flag("--force", "replace an earlier gallery", &m_force);
        arguments.flag("--no-open", "do not open the page in a browser", &m_noOpen);
        arguments.operands("IN", "the pictures to show; - is standard input", &m_inputs);
    }
    int run() override {
        if (!m_folder) throw Failure(kExitWrongUse, "-o", "is required: name a folder");
        const std::vector<GalleryVariant> variants = GalleryVariants();
        const auto room =
            static_cast<std::size_t>(kMaximumSheetHeight / SheetHeight(variants.size()));
        if (m_inputs.size() > room) {
            throw Failure(kExitWrongUse, "IN",
                          "too many files for one sheet: give at most " + std::to_string(room));
        }
        const OutputFolder folder(*m_folder);
        const std::string pagePath = *m_folder + "/index.html";
        const std::string sheetPath = *m_folder + "/sheet.jpg";
        const OutputFile page(pagePath, m_inputs.front(), m_force);
        const OutputFile sheet(sheetPath, m_inputs.front(), m_force);

        std::vector<GalleryPicture> pictures;
        std::vector<SheetCell> cells;
        PhotoService service;
        for (const std::string& input : m_inputs) {
            pictures.push_back(FilterAll(service, input, variants, &cells));
            FinishRow(&cells);
        }
        JpegPicture sheetPicture;
        sheetPicture.planes = ComposeSheet(cells);
        sheet.write(EncodeJpeg(sheetPath, sheetPicture, kSheetQuality));
        const std::string text = GalleryPage(pictures);
        page.write({text.begin(), text.end()});
        WriteStandardOutput(pagePath + "\n" + sheetPath + "\n");
        if (!m_noOpen) OpenPage(pagePath);
        return kExitDone;
    }

  private:
    std::vector<std::string> m_inputs;
    std::optional<std::string> m_folder;
    bool m_force = false;
    bool m_noOpen = false;
};

}  // namespace

std::unique_ptr<Command> MakeGalleryCommand() {
    return std::make_unique<GalleryCommand>();
}

}  // namespace posteffect
