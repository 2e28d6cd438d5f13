#include "gl/RendererKind.h"

#include <GLES2/gl2.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <string>

namespace {

// As Mesa's renderers that compute on the CPU name themselves, in small letters.
constexpr const char* kSoftwareNames[] = {"llvmpipe", "softpipe", "swrast", "swr"};

std::atomic<DrawingWay> gWay{DrawingWay::kByRenderer};

}  // namespace

bool RendersInSoftware() {
    const GLubyte* text = glGetString(GL_RENDERER);
    if (text == nullptr) return false;
    std::string name(reinterpret_cast<const char*>(text));
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::any_of(std::begin(kSoftwareNames), std::end(kSoftwareNames),
                       [&name](const char* part) { return name.find(part) != std::string::npos; });
}

bool DrawsForSoftware() {
    const DrawingWay way = gWay;
    return way == DrawingWay::kByRenderer ? RendersInSoftware() : way == DrawingWay::kForSoftware;
}

void SetDrawingWay(DrawingWay way) {
    gWay = way;
}
