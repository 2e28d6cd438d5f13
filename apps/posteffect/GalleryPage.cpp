#include "apps/posteffect/GalleryPage.h"

#include <algorithm>
#include <cstddef>
#include <nlohmann/json.hpp>

#include "apps/posteffect/JsonText.h"
#include "apps/posteffect/gallery/PageTemplate.h"

namespace posteffect {
namespace {

std::string Base64(const std::vector<std::uint8_t>& bytes) {
    constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t group = 0;
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t k = 0; k < 3; ++k) group = group << 8U | (k < count ? bytes[i + k] : 0U);
        for (std::size_t k = 0; k < 4; ++k) {
            text.push_back(k <= count ? kDigits[group >> (18U - 6U * k) & 63U] : '=');
        }
    }
    return text;
}

std::string DataUri(const std::vector<std::uint8_t>& jpeg) {
    return "data:image/jpeg;base64," + Base64(jpeg);
}

// File names may hold what would end the script element.
std::string InsideScript(const std::string& json) {
    std::string text;
    text.reserve(json.size());
    for (const char character : json) {
        if (character == '<') {
            text += "\\u003c";
        } else {
            text += character;
        }
    }
    return text;
}

bool IsPlain(char character) {
    constexpr char kPlain[] =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_./=,+";
    return std::string(kPlain).find(character) != std::string::npos;
}

}  // namespace

std::string ShellWord(const std::string& text) {
    if (!text.empty() && std::all_of(text.begin(), text.end(), IsPlain)) return text;
    std::string word = "'";
    for (const char character : text) {
        if (character == '\'') {
            word += "'\\''";
        } else {
            word += character;
        }
    }
    return word + "'";
}

std::string GalleryPage(const std::vector<GalleryPicture>& pictures) {
    nlohmann::ordered_json data = nlohmann::ordered_json::array();
    for (const GalleryPicture& picture : pictures) {
        nlohmann::ordered_json json;
        json["name"] = picture.name;
        json["width"] = picture.size.width;
        json["height"] = picture.size.height;
        json["original"] = DataUri(picture.original);
        json["results"] = nlohmann::ordered_json::array();
        for (const GalleryResult& result : picture.results) {
            json["results"].push_back({{"effect", result.effect},
                                       {"title", result.title},
                                       {"summary", result.summary},
                                       {"command", result.command},
                                       {"image", DataUri(result.jpeg)}});
        }
        data.push_back(std::move(json));
    }
    constexpr char kPlace[] = "{{data}}";
    std::string page = kPageTemplate;
    page.replace(page.find(kPlace), sizeof(kPlace) - 1, InsideScript(JsonText(data)));
    return page;
}

}  // namespace posteffect
