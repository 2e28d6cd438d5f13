// The environment variables that the library reads, all of them.
#pragma once

#include <string>

namespace platform {

// POSTEFFECT_LOG: levels by tag; kelplog.h says how. Empty when unset.
std::string LogLevels();

// POSTEFFECT_SYSROOT: the folder that device paths lie below. Empty when unset.
std::string SysRoot();

// POSTEFFECT_EGL: the display to render with, "default", "surfaceless" or "device". Empty when
// unset: the default display where there is a window system, else surfaceless, else the first
// device.
std::string EglPlatform();

// Whether a window system, or EGL itself, has been chosen: DISPLAY, WAYLAND_DISPLAY or
// EGL_PLATFORM.
bool HasWindowSystem();

}  // namespace platform
