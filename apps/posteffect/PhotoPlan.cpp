#include "apps/posteffect/PhotoPlan.h"

#include <glob.h>

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <map>
#include <system_error>
#include <utility>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/PictureFormat.h"

namespace posteffect {
namespace {

namespace fs = std::filesystem;

struct Source {
    std::string path;
    std::string folder;  // below the folder that was named
};

Failure UnreadableFolder(const std::string& folder, const std::error_code& error) {
    return {kExitUnreadable, folder,
            "cannot be read (" + error.message() + "): check the folder and its permissions"};
}

template <typename Iterator>
void AddPictures(const std::string& folder, std::vector<Source>* sources) {
    std::error_code error;
    std::vector<fs::path> found;
    for (Iterator at(folder, error), end; !error && at != end; at.increment(error)) {
        std::error_code gone;  // while we looked
        const bool file = at->is_regular_file(gone);
        if (file && FormatOfExtension(at->path().string())) found.push_back(at->path());
    }
    if (error) throw UnreadableFolder(folder, error);
    if (found.empty()) {
        throw Failure(kExitUnreadable, folder, "no pictures in it: name a file or another folder");
    }
    std::sort(found.begin(), found.end());
    for (const fs::path& path : found) {
        sources->push_back({path.string(), path.parent_path().lexically_relative(folder).string()});
    }
}

void AddPath(const std::string& path, bool recursive, std::vector<Source>* sources) {
    std::error_code error;
    if (!fs::is_directory(path, error)) {
        sources->push_back({path, ""});
    } else if (recursive) {
        AddPictures<fs::recursive_directory_iterator>(path, sources);
    } else {
        AddPictures<fs::directory_iterator>(path, sources);
    }
}

// Shells leave a quoted pattern to us, and one that fits nothing.
std::vector<std::string> Expand(const std::string& word) {
    std::error_code error;
    if (word == "-" || word.find_first_of("*?[") == std::string::npos || fs::exists(word, error)) {
        return {word};
    }
    glob_t found = {};
    const int status = glob(word.c_str(), 0, nullptr, &found);
    std::vector<std::string> paths;
    if (status == 0) paths.assign(found.gl_pathv, found.gl_pathv + found.gl_pathc);
    globfree(&found);
    if (paths.empty()) {
        throw Failure(kExitUnreadable, word, "no file fits it: check the pattern");
    }
    return paths;
}

bool IsFolder(const std::string& path) {
    std::error_code error;
    return (!path.empty() && path.back() == '/') || fs::is_directory(path, error);
}

std::string Replaced(std::string pattern, const Source& source, const std::string& effect) {
    const fs::path path = source.path;
    const std::string extension = path.extension().string();
    const std::map<std::string, std::string> words = {
        {"stem", path.stem().string()},
        {"name", path.filename().string()},
        {"ext", extension.empty() ? "" : extension.substr(1)},
        {"effect", effect}};
    for (std::size_t at = 0; (at = pattern.find('{', at)) != std::string::npos;) {
        const std::size_t end = pattern.find('}', at);
        const auto word = end == std::string::npos
                              ? words.end()
                              : words.find(pattern.substr(at + 1, end - at - 1));
        if (word == words.end()) {
            throw Failure(kExitWrongUse, "--output " + pattern,
                          "a pattern has {stem}, {name}, {ext} and {effect}: check what is in "
                          "braces");
        }
        pattern.replace(at, end - at + 1, word->second);
        at += word->second.size();
    }
    return pattern;
}

std::string OutputFor(const Source& source, const PhotoRequest& request) {
    if (source.path == "-") {
        throw Failure(kExitWrongUse, "standard input",
                      "has no name for a folder or a pattern: name the file to write");
    }
    fs::path output = *request.output;
    if (IsFolder(*request.output)) {
        output /= fs::path(source.path).filename();
    } else {
        output = Replaced(*request.output, source, request.effect);
    }
    if (!source.folder.empty() && source.folder != ".") {
        output = output.parent_path() / source.folder / output.filename();
    }
    return output.string();
}

std::string Canonical(const std::string& path) {
    std::error_code error;
    const fs::path canonical = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? path : canonical.string();
}

void CheckMeetings(const std::vector<PhotoTask>& tasks) {
    std::map<std::string, const PhotoTask*> readers;
    std::map<std::string, const PhotoTask*> writers;
    for (const PhotoTask& task : tasks) readers.emplace(Canonical(task.input), &task);
    for (const PhotoTask& task : tasks) {
        const std::string output = Canonical(task.output);
        const auto [writer, first] = writers.emplace(output, &task);
        if (!first) {
            throw Failure(kExitWrongUse, task.output,
                          "both " + writer->second->input + " and " + task.input +
                              " would be written there: choose another pattern or folder");
        }
        const auto reader = readers.find(output);
        if (reader == readers.end() || reader->second == &task) continue;
        // A file of several names is one's own, which is told where it is opened.
        if (Canonical(task.input) == output) continue;
        throw Failure(kExitWrongUse, task.output,
                      task.input + " would be written over " + reader->second->input +
                          ", another input: choose another pattern or folder");
    }
}

void MakeFolders(const std::vector<PhotoTask>& tasks) {
    for (const PhotoTask& task : tasks) {
        const fs::path folder = fs::path(task.output).parent_path();
        std::error_code error;
        if (folder.empty() || fs::is_directory(folder, error)) continue;
        if (!fs::create_directories(folder, error) && error) {
            throw Failure(
                kExitCannotWrite, folder.string(),
                "cannot be made (" + error.message() + "): choose a folder that you may write to");
        }
    }
}

}  // namespace

std::vector<PhotoTask> PlanPhotos(const PhotoRequest& given) {
    PhotoRequest request = given;
    const bool named = !request.output;
    if (named && request.inputs.size() == 2) {
        request.output = request.inputs.back();
        request.inputs.pop_back();
    } else if (named) {
        throw Failure(kExitWrongUse, request.inputs.size() < 2 ? "OUT" : request.inputs.back(),
                      request.inputs.size() < 2
                          ? "is required: name the file to write, or a folder with -o"
                          : "one word too many: name the file or folder to write with -o");
    }
    std::vector<Source> sources;
    for (const std::string& word : request.inputs) {
        for (const std::string& path : Expand(word)) AddPath(path, request.recursive, &sources);
    }
    const std::string& output = *request.output;
    const bool one = named || (output.find('{') == std::string::npos && !IsFolder(output));
    if (one && sources.size() > 1) {
        throw Failure(kExitWrongUse, output,
                      std::to_string(sources.size()) +
                          " pictures do not go into one file: name a folder, as in -o " + output +
                          "/, or a pattern, as in -o '{stem}-{effect}.{ext}'");
    }
    std::vector<PhotoTask> tasks;
    tasks.reserve(sources.size());
    for (const Source& source : sources) {
        tasks.push_back({source.path, one ? output : OutputFor(source, request)});
    }
    if (one) return tasks;
    CheckMeetings(tasks);
    MakeFolders(tasks);
    return tasks;
}

}  // namespace posteffect
