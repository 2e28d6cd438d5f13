// The renderer as JSON, the same in every command that names it.
#pragma once

#include <posteffect/Renderer.h>

#include <nlohmann/json.hpp>

namespace posteffect {

inline nlohmann::ordered_json RendererJson(const PostEffectRenderer& renderer) {
    nlohmann::ordered_json json;
    json["platform"] = renderer.platform;
    json["vendor"] = renderer.vendor;
    json["renderer"] = renderer.renderer;
    json["version"] = renderer.version;
    json["software"] = renderer.isSoftware != 0;
    json["maximum_size"] = renderer.maxTextureSize;
    json["shares_buffers"] = renderer.sharesBuffers != 0;
    return json;
}

}  // namespace posteffect
