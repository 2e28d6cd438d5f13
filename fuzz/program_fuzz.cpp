// Program files in any shape: they load or fail, and a program made from text works after them.
#include <EGL/egl.h>

#include "effects/Bypass.h"
#include "engine/GEManager.h"
#include "fuzz/FuzzFile.h"
#include "fuzz/FuzzInput.h"
#include "gl/GECommon.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static GEManager manager;  // its context is current from here on
    FUZZ_CHECK(eglGetCurrentContext() != EGL_NO_CONTEXT);
    const FuzzFile file(bytes, size);
    {
        GLProgBypass program;
        if (program.LoadBinary(file.path().c_str())) {
            FUZZ_CHECK(size > sizeof(GLenum) && glIsProgram(program.name()) == GL_TRUE);
            glUseProgram(program.name());
            FUZZ_CHECK(glGetError() == GL_NO_ERROR);
            glUseProgram(0);
        }
    }
    DrainGLErrors();
    if (size % 64 == 0) {  // takes far longer than the rest
        GLProgBypass program;
        FUZZ_CHECK(program.Load() != 0);
    }
    return 0;
}
