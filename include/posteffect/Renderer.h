// What the library renders with on this machine, and where it finds its files.
#pragma once

#include <posteffect/Export.h>

extern "C" {

// Texts end with a zero byte and are cut to what fits.
struct PostEffectRenderer {
    char platform[32];  // of the EGL display: "default", "surfaceless", "device"
    char vendor[128];
    char renderer[128];
    char version[128];   // of OpenGL ES
    int isSoftware;      // 1 when no GPU takes part
    int maxTextureSize;  // pixels a side: the limit of frames and of blocks
    int sharesBuffers;   // 1 when CPU and GPU work on the same memory, 0 when it is copied
};

// Brings the display up for a moment on a thread of its own. 0, or -1 when no display, no context
// or no thread is to be had; `renderer` is all zeros then. -1 for null, too. Thread: any.
POSTEFFECT_API int describeRenderer(PostEffectRenderer* renderer);

// Where the library reads the look-up file `name` ("CurveCross.bmp") from, as it is installed; a
// copy that a person has put before it does not count. 0, or -1 when there is no such file that can
// be read; `path`, of `capacity` bytes, is the place then at which it was looked for last. -1 for
// null, too. Thread: any.
POSTEFFECT_API int findLookUpFile(const char* name, char* path, unsigned int capacity);

}  // extern "C"
