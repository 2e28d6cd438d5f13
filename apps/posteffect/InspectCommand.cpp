// posteffect inspect: what picture files hold and what photo would do with them.
#include <cstddef>
#include <cstdio>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "apps/posteffect/Arguments.h"
#include "apps/posteffect/Failure.h"
#include "apps/posteffect/InputFile.h"
#include "apps/posteffect/JsonText.h"
#include "apps/posteffect/PictureFacts.h"
#include "apps/posteffect/StandardOutput.h"

namespace posteffect {
namespace {

bool IsKnown(Size size) {
    return size.width > 0 && size.height > 0;
}

std::string KnownSizeText(Size size) {
    return IsKnown(size) ? SizeText(size) : "";
}

std::string ProfileText(const PictureFacts& facts) {
    if (facts.profileBytes == 0) return "";
    return (facts.profileName.empty() ? "without a name" : facts.profileName) + " (" +
           std::to_string(facts.profileBytes) + " bytes)";
}

std::string PlainText(const std::string& name, const PictureFacts& facts) {
    struct Row {
        const char* title;
        std::string text;
    };
    const Row rows[] = {
        {"format", facts.format},
        {"size", KnownSizeText(facts.size)},
        {"coding", facts.coding},
        {"orientation", std::to_string(facts.orientation)},
        {"profile", ProfileText(facts)},
        {"make", facts.make},
        {"model", facts.model},
        {"date", facts.date},
        {"thumbnail", KnownSizeText(facts.thumbnail)},
        {"photo", facts.photo},
    };
    std::string text = name + "\n";
    for (const Row& row : rows) {
        if (row.text.empty()) continue;
        constexpr std::size_t kColumn = 13;
        const std::string title = row.title;
        text += "  " + title + std::string(kColumn - title.size(), ' ') + row.text + "\n";
    }
    return text;
}

// Null where the file does not say.
nlohmann::ordered_json SizeJson(Size size) {
    if (!IsKnown(size)) return nullptr;
    return {{"width", size.width}, {"height", size.height}};
}

nlohmann::ordered_json TextJson(const std::string& text) {
    if (text.empty()) return nullptr;
    return text;
}

nlohmann::ordered_json Json(const std::string& name, const PictureFacts& facts) {
    nlohmann::ordered_json json;
    json["file"] = name;
    json["format"] = facts.format;
    json["size"] = SizeJson(facts.size);
    json["coding"] = TextJson(facts.coding);
    json["orientation"] = facts.orientation;
    json["profile"] = nullptr;
    if (facts.profileBytes > 0) {
        json["profile"] = {{"name", TextJson(facts.profileName)}, {"bytes", facts.profileBytes}};
    }
    json["make"] = TextJson(facts.make);
    json["model"] = TextJson(facts.model);
    json["date"] = TextJson(facts.date);
    json["thumbnail"] = SizeJson(facts.thumbnail);
    json["can_be_filtered"] = facts.canBeFiltered;
    json["photo"] = facts.photo;
    return json;
}

class InspectCommand : public Command {
  public:
    const char* name() const override { return "inspect"; }
    const char* summary() const override { return "say what picture files hold"; }
    void declare(Arguments& arguments) override {
        arguments.flag("--json", "as JSON", &m_json);
        arguments.operands("FILE", "the picture files; - is standard input", &m_files);
    }
    int run() override {
        std::string text;
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        int exitCode = kExitDone;
        for (const std::string& file : m_files) {
            const std::string name = InputName(file);
            try {
                const PictureFacts facts = ReadPictureFacts(name, ReadInput(file));
                text += PlainText(name, facts);
                list.push_back(Json(name, facts));
            } catch (const Failure& failure) {
                // One bad file of several does not hide the others.
                if (m_files.size() == 1) throw;
                std::fprintf(stderr, "posteffect: %s\n", failure.what());
                exitCode = kExitSomeFailed;
            }
        }
        WriteStandardOutput(m_json ? JsonText(list) : text);
        return exitCode;
    }

  private:
    std::vector<std::string> m_files;
    bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> MakeInspectCommand() {
    return std::make_unique<InspectCommand>();
}

}  // namespace posteffect
