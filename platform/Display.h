// The EGL display that workers share. Several workers of one process use one display, so
// initialisation and termination are counted here, under one process-wide mutex.
// Thread: any; each call pairs with the worker that makes it.
#pragma once

#include <EGL/egl.h>

namespace platform {

// The display that this process renders with; EGL_NO_DISPLAY when the machine has none.
EGLDisplay GetDisplay();

// How the display of the last GetDisplay was come by: "default", "surfaceless" or "device"; empty
// before, and when there was none.
const char* DisplayKind();

// Whether the CPU and the GPU work on the same memory of a graphics buffer.
bool SharesBuffers();

// eglInitialize, counted. False (with the EGL error set) when the display cannot be initialised.
EGLBoolean InitializeDisplay(EGLDisplay display, EGLint* major, EGLint* minor);

// Takes one count back. Call it once for each InitializeDisplay that succeeded. The platform may
// hold a display that nobody uses.
EGLBoolean TerminateDisplay(EGLDisplay display);

// eglChooseConfig with `attributes` as given; where that yields no config (displays without
// windows have no window configs) the same list with pbuffers only, then without depth and stencil.
// On success at least one entry of `configs` is set. False with *count 0 when the display has no
// such config at all.
EGLBoolean ChooseConfig(EGLDisplay display, const EGLint* attributes, EGLConfig* configs,
                        EGLint capacity, EGLint* count);

// Fills the extension table below for the context that is current on the calling thread. Called
// once for each context, right after it was made current.
void LoadContextExtensions(EGLDisplay display);

}  // namespace platform
