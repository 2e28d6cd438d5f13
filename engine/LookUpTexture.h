// Look-up textures: BMP files below the system's media folder, some with a copy that a person has
// put below "/sdcard/lantern/" and that wins.
#pragma once

#include <string>

class GLTexture;
class LogTag;

enum class LookUpPath { kOwnCopyFirst, kSystemOnly };

// The file of this machine that kSystemOnly reads for `name`; it need not exist. Thread: any.
std::string SystemLookUpFile(const char* name);

// A new texture made from the file `name`, clamped to its edges, which the caller owns; null when
// no copy can be read. `format` with GL_UNSIGNED_BYTE. Thread: the worker.
GLTexture* LoadLookUp(const char* name, unsigned format, LookUpPath path);

// The mask that darkens the corners of a frame of width x height pixels: one for wide pictures, one
// for all others. Logs under `log`; null, after its message, when it cannot be read.
GLTexture* LoadVignetteMask(LogTag& log, int width, int height, LookUpPath path);

// A white texture that stands in for a mask. Logs under `log`; null, after its message, on failure.
GLTexture* CreateWhiteTexture(LogTag& log);
