#include "platform/Display.h"

#include <EGL/eglext.h>
#include <android/log.h>
#include <kelplog.h>

#include <array>
#include <mutex>
#include <string>
#include <vector>

#include "platform/linux/Environment.h"

namespace platform {

namespace {

std::mutex gMutex;
// Under the mutex: the display in use and how many workers use it.
EGLDisplay gDisplay = EGL_NO_DISPLAY;
const char* gKind = "";
int gUsers = 0;

bool Initializes(EGLDisplay display) {
    return display != EGL_NO_DISPLAY && eglInitialize(display, nullptr, nullptr);
}

EGLDisplay PlatformDisplay(EGLenum platform, void* native) {
    const auto get = reinterpret_cast<PFNEGLGETPLATFORMDISPLAYEXTPROC>(
        eglGetProcAddress("eglGetPlatformDisplayEXT"));
    return get != nullptr ? get(platform, native, nullptr) : EGL_NO_DISPLAY;
}

EGLDisplay DefaultDisplay() {
    return eglGetDisplay(EGL_DEFAULT_DISPLAY);
}

EGLDisplay SurfacelessDisplay() {
    return PlatformDisplay(EGL_PLATFORM_SURFACELESS_MESA, nullptr);
}

EGLDisplay FirstDeviceDisplay() {
    const auto query =
        reinterpret_cast<PFNEGLQUERYDEVICESEXTPROC>(eglGetProcAddress("eglQueryDevicesEXT"));
    std::array<EGLDeviceEXT, 16> devices{};
    EGLint count = 0;
    if (query == nullptr || !query(static_cast<EGLint>(devices.size()), devices.data(), &count)) {
        return EGL_NO_DISPLAY;
    }
    for (EGLint i = 0; i < count; ++i) {
        const EGLDisplay display =
            PlatformDisplay(EGL_PLATFORM_DEVICE_EXT, devices[static_cast<std::size_t>(i)]);
        if (Initializes(display)) return display;
    }
    return EGL_NO_DISPLAY;
}

struct Source {
    const char* name;
    EGLDisplay (*get)();
};
constexpr Source kSources[] = {
    {"default", DefaultDisplay},
    {"surfaceless", SurfacelessDisplay},
    {"device", FirstDeviceDisplay},
};

// Somebody who misspells a kind should not have to guess why there is no display.
void ReportUnknown(const std::string& asked) {
    for (const Source& source : kSources) {
        if (asked == source.name) return;
    }
    constexpr const char* kTag = "Display";
    constexpr unsigned kErrorBit = 0x10;
    unsigned mask = 0;
    __kelplog_init_mask(kTag, kErrorBit, &mask);
    if (mask == 0) return;
    __android_log_print(ANDROID_LOG_ERROR, kTag,
                        "POSTEFFECT_EGL is \"%s\"; use default, surfaceless or device",
                        asked.c_str());
}

struct Found {
    EGLDisplay display = EGL_NO_DISPLAY;
    const char* kind = "";
};

// The first display of the asked-for kinds that initialises. The default display is tried first
// only where there is a window system: elsewhere drivers take long to find that there is none.
Found FindDisplay() {
    const std::string asked = EglPlatform();
    if (!asked.empty()) ReportUnknown(asked);
    for (const Source& source : kSources) {
        const bool isDefault = source.get == DefaultDisplay;
        if (asked.empty() ? isDefault && !HasWindowSystem() : asked != source.name) continue;
        const EGLDisplay display = source.get();
        if (Initializes(display)) return {display, source.name};
    }
    // Drivers that know no platforms but their default.
    return asked.empty() ? Found{DefaultDisplay(), kSources[0].name} : Found{};
}

// The list with pbuffers as the only surface type; `flat` without depth and stencil, too.
std::vector<EGLint> WithPbuffersOnly(const EGLint* attributes, bool flat) {
    std::vector<EGLint> list;
    for (; *attributes != EGL_NONE; attributes += 2) {
        if (flat && (*attributes == EGL_DEPTH_SIZE || *attributes == EGL_STENCIL_SIZE)) continue;
        list.push_back(attributes[0]);
        list.push_back(attributes[0] == EGL_SURFACE_TYPE ? EGL_PBUFFER_BIT : attributes[1]);
    }
    list.push_back(EGL_NONE);
    return list;
}

}  // namespace

EGLDisplay GetDisplay() {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (gUsers == 0) {
        const Found found = FindDisplay();
        gDisplay = found.display;
        gKind = found.kind;
    }
    return gDisplay;
}

const char* DisplayKind() {
    const std::lock_guard<std::mutex> lock(gMutex);
    return gKind;
}

bool SharesBuffers() {
    // Buffers are plain memory here, and images over them are emulated with copies.
    return false;
}

EGLBoolean InitializeDisplay(EGLDisplay display, EGLint* major, EGLint* minor) {
    const std::lock_guard<std::mutex> lock(gMutex);
    // Again for each user: harmless where it is initialised, and a cure where somebody else in the
    // process has terminated it meanwhile.
    if (!eglInitialize(display, major, minor)) return EGL_FALSE;
    ++gUsers;
    return EGL_TRUE;
}

EGLBoolean TerminateDisplay(EGLDisplay display) {
    const std::lock_guard<std::mutex> lock(gMutex);
    if (display == EGL_NO_DISPLAY || gUsers == 0) return EGL_FALSE;
    // The display itself is held until the process ends. Terminating it and initialising it again
    // takes the software renderer twice as long as making and destroying a context (5 ms against
    // 2.5 ms), and its heap creeps up; held, the heap stays where it is.
    --gUsers;
    return EGL_TRUE;
}

EGLBoolean ChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs,
                        EGLint capacity, EGLint* count) {
    const auto choose = [=](const EGLint* list) {
        *count = 0;
        return eglChooseConfig(display, list, configs, capacity, count) && *count > 0;
    };
    if (choose(attributes)) return EGL_TRUE;
    // Nothing is drawn to the surface itself.
    if (choose(WithPbuffersOnly(attributes, false).data())) return EGL_TRUE;
    return choose(WithPbuffersOnly(attributes, true).data()) ? EGL_TRUE : EGL_FALSE;
}

}  // namespace platform
