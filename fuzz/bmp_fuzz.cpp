// BMP files in any shape into real textures.
#include <EGL/egl.h>

#include "engine/GEManager.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/FuzzInput.h"
#include "gl/GECommon.h"
#include "gl/GLTexture.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static GEManager manager;  // its context is current from here on
    FUZZ_CHECK(eglGetCurrentContext() != EGL_NO_CONTEXT);
    const struct {
        GLenum format, type;
        unsigned char streaming;
    } kinds[] = {
        {GL_RGB, GL_UNSIGNED_BYTE, 0},        {GL_RGBA, GL_UNSIGNED_BYTE, 0},
        {GL_RGB, GL_UNSIGNED_SHORT_5_6_5, 0}, {GL_LUMINANCE, GL_UNSIGNED_BYTE, 0},
        {GL_RGBA, GL_UNSIGNED_BYTE, 1},
    };
    const FuzzFile file(bytes, size);
    for (const auto& kind : kinds) {
        GLTexture texture;
        texture.LoadBMP(file.path().c_str(), kind.format, kind.type, kind.streaming);
    }
    DrainGLErrors();
    return 0;
}
