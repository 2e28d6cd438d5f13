// posteffect doctor: what works on this machine, and what to install where something does not.
#include <posteffect/EffectCatalog.h>
#include <posteffect/Renderer.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "apps/common/ServiceSession.h"
#include "apps/common/TrialFrame.h"
#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/JsonText.h"
#include "apps/posteffect/RendererJson.h"
#include "apps/posteffect/StandardOutput.h"

namespace posteffect {
namespace {

constexpr const char* kPlatformVariable = "POSTEFFECT_EGL";
constexpr const char* kPlatforms[] = {"default", "surfaceless", "device"};
constexpr const char* kWindowVariables[] = {"DISPLAY", "WAYLAND_DISPLAY", "EGL_PLATFORM"};
constexpr const char* kDriverPackages =
    "apt-get install libegl1 libegl-mesa0 libgl1-mesa-dri libgles2";

// Which files an effect reads, joined by '|'.
struct EffectFiles {
    const char* nick;
    const char* files;
};
constexpr EffectFiles kEffectFiles[] = {
    {"vintage",
     "CurveCross.bmp|CurveCold.bmp|CurveWarm.bmp|CurveSepia.bmp|mask_vignette_wide.bmp|"
     "mask_vignette_legacy.bmp"},
    {"dots", "dot_mask_0.bmp|dot_mask_1.bmp|dot_mask_2.bmp|dot_mask_3.bmp"},
    {"contrast", "CurveCross.bmp|mask_vignette_wide.bmp|mask_vignette_legacy.bmp"},
    {"whiteboard", "ContrastCurveSet.bmp"},
    {"maple", "stylizeColorRamp.bmp|stylizeContrastRamp.bmp"},
    {"nash", "stylizeColorRamp.bmp|stylizeContrastRamp.bmp"},
    {"two-tone-v", "twoToneMaskV.bmp|stylizeContrastRamp.bmp"},
    {"two-tone-h", "twoToneMaskH.bmp|stylizeContrastRamp.bmp"},
    {"split-toning", "mask_vignette_wide.bmp|mask_vignette_legacy.bmp|stylizeContrastRamp.bmp"},
    {"split-toning-color", "mask_vignette_wide.bmp|stylizeContrastRamp.bmp"},
};

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream stream(text);
    for (std::string part; std::getline(stream, part, separator);) {
        if (!part.empty()) parts.push_back(part);
    }
    return parts;
}

std::string Variable(const char* name) {
    const char* value = std::getenv(name);
    return value != nullptr ? value : "";
}

std::optional<PostEffectRenderer> Renderer() {
    PostEffectRenderer renderer{};
    if (describeRenderer(&renderer) != 0) return std::nullopt;
    return renderer;
}

// Why this platform's display was the first to be tried.
std::string PlatformReason() {
    const std::string asked = Variable(kPlatformVariable);
    if (!asked.empty()) return std::string(kPlatformVariable) + " is " + asked;
    for (const char* name : kWindowVariables) {
        if (!Variable(name).empty()) return std::string(name) + " is set, so default comes first";
    }
    return "no window system, so surfaceless comes first";
}

struct Platform {
    std::string name;
    std::string renderer;  // empty: cannot be used
};

std::vector<Platform> TryPlatforms() {
    const char* const before = std::getenv(kPlatformVariable);
    const std::optional<std::string> kept =
        before != nullptr ? std::optional<std::string>(before) : std::nullopt;
    std::vector<Platform> platforms;
    for (const char* platform : kPlatforms) {
        setenv(kPlatformVariable, platform, 1);
        const auto renderer = Renderer();
        platforms.push_back({platform, renderer ? renderer->renderer : ""});
    }
    if (kept) {
        setenv(kPlatformVariable, kept->c_str(), 1);
    } else {
        unsetenv(kPlatformVariable);
    }
    return platforms;
}

struct LookUpFile {
    std::string name;
    std::string path;
    bool found = false;
    std::vector<std::string> effects;  // that read it
};

std::vector<LookUpFile> FindLookUpFiles() {
    std::vector<LookUpFile> files;
    for (const EffectFiles& row : kEffectFiles) {
        for (const std::string& name : Split(row.files, '|')) {
            auto file = std::find_if(files.begin(), files.end(), [&name](const LookUpFile& known) {
                return known.name == name;
            });
            if (file == files.end()) {
                std::array<char, 4096> path{};
                const bool found = findLookUpFile(name.c_str(), path.data(), path.size()) == 0;
                file = files.insert(file, {name, path.data(), found, {}});
            }
            file->effects.emplace_back(row.nick);
        }
    }
    return files;
}

std::vector<std::string> BrokenEffects() {
    std::vector<std::string> broken;
    ServiceSession session;
    session.run([](IPostEffect& s) { return s.start(); });
    for (const EffectInfo& effect : kEffects) {
        if (!PassesTrialFrame(&session, effect)) broken.emplace_back(effect.nick);
    }
    return broken;
}

// Where installations of our own put plug-ins; Debian's GStreamer does not search there.
constexpr const char* kLocalPrefix = "/usr/local/lib";

// The folders that GStreamer searches, and the local ones.
std::vector<std::string> PluginFolders() {
    std::vector<std::string> folders;
    for (const char* name : {"GST_PLUGIN_PATH_1_0", "GST_PLUGIN_PATH"}) {
        const auto more = Split(Variable(name), ':');
        folders.insert(folders.end(), more.begin(), more.end());
    }
    for (const char* name : {"GST_PLUGIN_SYSTEM_PATH_1_0", "GST_PLUGIN_SYSTEM_PATH"}) {
        const auto system = Split(Variable(name), ':');
        if (system.empty()) continue;
        // It stands for all the usual ones.
        folders.insert(folders.end(), system.begin(), system.end());
        return folders;
    }
    const std::string home = Variable("HOME");
    if (!home.empty()) folders.push_back(home + "/.local/share/gstreamer-1.0/plugins");
    for (const char* prefix : {"/usr/lib", "/usr/lib64", kLocalPrefix}) {
        folders.push_back(std::string(prefix) + "/" POSTEFFECT_LIBRARY_TRIPLET "/gstreamer-1.0");
        folders.push_back(std::string(prefix) + "/gstreamer-1.0");
    }
    return folders;
}

// Empty when it is nowhere.
std::string FindPlugin() {
    for (const std::string& folder : PluginFolders()) {
        std::string path = folder + "/libgstposteffect.so";
        if (access(path.c_str(), R_OK) == 0) return path;
    }
    return "";
}

struct Findings {
    std::optional<PostEffectRenderer> renderer;
    std::string reason;
    std::vector<Platform> platforms;
    std::vector<LookUpFile> files;
    std::vector<std::string> brokenEffects;
    std::string plugin;
    std::vector<std::string> advice;

    bool filesAreMissing() const {
        return std::any_of(files.begin(), files.end(),
                           [](const LookUpFile& file) { return !file.found; });
    }
    int exitCode() const {
        if (!renderer) return kExitNoGpu;
        return filesAreMissing() || !brokenEffects.empty() ? kExitSomeFailed : kExitDone;
    }
};

std::vector<std::string> Advice(const Findings& findings) {
    std::vector<std::string> advice;
    if (!findings.renderer) {
        advice.push_back(std::string("No GPU or software renderer can be used: ") +
                         kDriverPackages);
        if (!Variable(kPlatformVariable).empty()) {
            advice.push_back(std::string(kPlatformVariable) + " is set: try without it");
        }
    } else if (findings.renderer->isSoftware != 0) {
        advice.emplace_back(
            "No GPU takes part: where there is one, install its driver (Mesa's are in "
            "libgl1-mesa-dri) and see that /dev/dri may be opened (group render)");
    }
    if (findings.filesAreMissing()) {
        advice.emplace_back("Look-up files are missing: install posteffect again (make install)");
        if (!Variable("POSTEFFECT_SYSROOT").empty()) {
            advice.emplace_back("POSTEFFECT_SYSROOT is set: the files are looked for there only");
        }
    } else if (findings.renderer && !findings.brokenEffects.empty()) {
        advice.emplace_back("Effects fail: POSTEFFECT_LOG=error posteffect doctor tells why");
    }
    if (findings.plugin.rfind(kLocalPrefix, 0) == 0) {
        const std::string folder = findings.plugin.substr(0, findings.plugin.rfind('/'));
        advice.push_back("GStreamer has to be told of its plug-in: GST_PLUGIN_PATH=" + folder);
    }
    if (findings.plugin.empty()) {
        advice.emplace_back(
            "The GStreamer plug-in is not installed, which only video needs: apt-get install "
            "libgstreamer-plugins-base1.0-dev gstreamer1.0-tools gstreamer1.0-plugins-good, then "
            "build and install posteffect again");
    }
    return advice;
}

Findings Examine() {
    Findings findings;
    findings.renderer = Renderer();
    findings.reason = PlatformReason();
    findings.platforms = TryPlatforms();
    findings.files = FindLookUpFiles();
    if (findings.renderer) findings.brokenEffects = BrokenEffects();
    findings.plugin = FindPlugin();
    findings.advice = Advice(findings);
    return findings;
}

std::string Joined(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) text += (text.empty() ? "" : ", ") + word;
    return text;
}

std::string Line(const std::string& title, const std::string& text) {
    constexpr std::size_t kColumn = 16;
    return title + std::string(kColumn - std::min(kColumn - 1, title.size()), ' ') + text + "\n";
}

std::string PlainText(const Findings& findings) {
    std::string text;
    if (findings.renderer) {
        const PostEffectRenderer& renderer = *findings.renderer;
        text += Line("Renderer", std::string(renderer.renderer) +
                                     (renderer.isSoftware != 0 ? " (software)" : " (GPU)"));
        text += Line("Vendor", renderer.vendor);
        text += Line("Version", renderer.version);
        text += Line("EGL platform", std::string(renderer.platform) + " (" + findings.reason + ")");
        text += Line("Largest frame", std::to_string(renderer.maxTextureSize) + " pixels a side");
        text += Line("Buffers", renderer.sharesBuffers != 0 ? "shared with the GPU"
                                                            : "copied to and from the GPU");
    } else {
        text += Line("Renderer", "none (" + findings.reason + ")");
    }
    for (const Platform& platform : findings.platforms) {
        text += Line("  " + platform.name,
                     platform.renderer.empty() ? "cannot be used" : platform.renderer);
    }
    std::size_t found = 0;
    for (const LookUpFile& file : findings.files) found += file.found ? 1 : 0;
    text += Line("Look-up files",
                 std::to_string(found) + " of " + std::to_string(findings.files.size()) + " found");
    for (const LookUpFile& file : findings.files) {
        text += (file.found ? "  found    " : "  MISSING  ") + file.path + " (" +
                Joined(file.effects) + ")\n";
    }
    text += Line("Effects", !findings.renderer ? "none works"
                            : findings.brokenEffects.empty()
                                ? "all work"
                                : "these fail: " + Joined(findings.brokenEffects));
    text += Line("GStreamer", findings.plugin.empty() ? "plug-in not found" : findings.plugin);
    for (const std::string& line : findings.advice) text += line + "\n";
    return text;
}

std::string Json(const Findings& findings) {
    nlohmann::ordered_json json;
    json["renderer"] = nullptr;
    if (findings.renderer) json["renderer"] = RendererJson(*findings.renderer);
    json["platform_reason"] = findings.reason;
    json["platforms"] = nlohmann::ordered_json::array();
    for (const Platform& platform : findings.platforms) {
        json["platforms"].push_back({{"platform", platform.name},
                                     {"works", !platform.renderer.empty()},
                                     {"renderer", platform.renderer}});
    }
    json["files"] = nlohmann::ordered_json::array();
    for (const LookUpFile& file : findings.files) {
        json["files"].push_back({{"file", file.name},
                                 {"path", file.path},
                                 {"found", file.found},
                                 {"effects", file.effects}});
    }
    json["failing_effects"] = findings.brokenEffects;
    json["gstreamer_plugin"] = nullptr;
    if (!findings.plugin.empty()) json["gstreamer_plugin"] = findings.plugin;
    json["advice"] = findings.advice;
    return JsonText(json);
}

class DoctorCommand : public Command {
  public:
    const char* name() const override { return "doctor"; }
    const char* summary() const override { return "say what works here and what is missing"; }
    void declare(Arguments& arguments) override { arguments.flag("--json", "as JSON", &m_json); }
    int run() override {
        const Findings findings = Examine();
        WriteStandardOutput(m_json ? Json(findings) : PlainText(findings));
        return findings.exitCode();
    }

  private:
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> MakeDoctorCommand() {
    return std::make_unique<DoctorCommand>();
}

}  // namespace posteffect
