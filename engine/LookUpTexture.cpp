#include "engine/LookUpTexture.h"

#include <array>
#include <cmath>
#include <memory>
#include <string>

#include "gl/GLTexture.h"
#include "gl/Log.h"
#include "gl/RendererKind.h"
#include "platform/DevicePath.h"

namespace {

constexpr const char* kOwnFolder = "/sdcard/lantern/";
constexpr const char* kSystemFolder = "/system/media/GPU/";

void ClampToEdge(GLTexture& texture) {
    texture.SetParameteri(GL_TEXTURE_WRAP_S, GL_CLAMP_TO_EDGE);
    texture.SetParameteri(GL_TEXTURE_WRAP_T, GL_CLAMP_TO_EDGE);
}

std::unique_ptr<GLTexture> LoadFrom(const char* folder, const char* name, unsigned format) {
    auto texture = std::make_unique<GLTexture>();
    const std::string path = std::string(folder) + name;
    if (!texture->LoadBMP(path.c_str(), format, GL_UNSIGNED_BYTE, 0)) return nullptr;
    ClampToEdge(*texture);
    return texture;
}

bool IsRatio(float ratio, float expected) {
    return std::abs(ratio - expected) < 0.0001F;
}

}  // namespace

std::string SystemLookUpFile(const char* name) {
    return platform::ResolveDevicePath((std::string(kSystemFolder) + name).c_str());
}

GLTexture* LoadLookUp(const char* name, unsigned format, LookUpPath path) {
    if (path == LookUpPath::kOwnCopyFirst) {
        if (auto own = LoadFrom(kOwnFolder, name, format)) return own.release();
    }
    return LoadFrom(kSystemFolder, name, format).release();
}

GLTexture* LoadVignetteMask(LogTag& log, int width, int height, LookUpPath path) {
    LOG_INFO(log, "[%s] Creating vignette texture", "Init");
    const float ratio = static_cast<float>(width) / static_cast<float>(height);
    LOG_INFO(log, "[%s] ratio %f", "Init", static_cast<double>(ratio));
    const bool wide = IsRatio(ratio, 1.7777778F) || IsRatio(ratio, 1.6666666F);
    GLTexture* mask = LoadLookUp(wide ? "mask_vignette_wide.bmp" : "mask_vignette_legacy.bmp",
                                 GL_LUMINANCE, path);
    // Log readers know the mask's failure by the warm curve's words.
    if (mask == nullptr) LOG_ERROR(log, "[%s] can't load warm tex", "Init");
    return mask;
}

GLTexture* CreateWhiteTexture(LogTag& log) {
    constexpr unsigned kSide = 16;
    // Whole bytes are what software renderers sample best; white is white.
    const unsigned type = DrawsForSoftware() ? GL_UNSIGNED_BYTE : GL_UNSIGNED_SHORT_5_6_5;
    std::array<unsigned char, std::size_t{kSide} * kSide * 3> white{};
    white.fill(0xFF);
    auto texture = std::make_unique<GLTexture>();
    if (!texture->Init(GL_RGB, type, kSide, kSide, 0)) {
        LOG_ERROR(log, "[%s] can't init empty leak texture", "Init");
        return nullptr;
    }
    if (!texture->UpdateNormalTexture(white.data(), kSide, kSide)) {
        LOG_ERROR(log, "[%s] can't UpdateNormalTexture for empty texture", "Init");
        return nullptr;
    }
    ClampToEdge(*texture);
    texture->SetParameteri(GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    texture->SetParameteri(GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    return texture.release();
}
