// The one table of EGL and GL extension functions. Each worker thread has its own table, filled by
// LoadContextExtensions (platform/Display.h) when its context is made current.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

namespace platform {

struct Extensions {
    // EGL images over graphics buffers. Never null: where the driver cannot import the platform's
    // buffers, the platform layer's own emulation stands here.
    PFNEGLCREATEIMAGEKHRPROC eglCreateImageKHR;
    PFNEGLDESTROYIMAGEKHRPROC eglDestroyImageKHR;
    PFNGLEGLIMAGETARGETTEXTURE2DOESPROC glEGLImageTargetTexture2DOES;

    // GL_NV_fence; null where the context does not name the extension.
    PFNGLGENFENCESNVPROC glGenFencesNV;
    PFNGLDELETEFENCESNVPROC glDeleteFencesNV;
    PFNGLISFENCENVPROC glIsFenceNV;

    // GL_OES_get_program_binary; null where the context does not name the extension.
    PFNGLGETPROGRAMBINARYOESPROC glGetProgramBinaryOES;
    PFNGLPROGRAMBINARYOESPROC glProgramBinaryOES;

    // GL_KHR_debug; null where the context does not name the extension.
    PFNGLDEBUGMESSAGECALLBACKKHRPROC glDebugMessageCallbackKHR;
};

// The calling thread's table. All null before the thread's first context. Tests may replace
// entries.
Extensions& ContextExtensions();

// Told by the framebuffer wrapper when `texture` becomes a colour attachment in the current
// context: from then on a cache operation on the graphics buffer behind it moves pixels from the
// GPU to the CPU instead of the other way. Other textures are ignored.
void NoteColorAttachment(GLuint texture);

}  // namespace platform
