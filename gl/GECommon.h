// Error reports and the clock that every GL-using class shares, and the EGL objects that the effect
// manager made current. Thread: the worker.
#pragma once

#include <EGL/egl.h>

#include <cstdint>

// The display and context that this worker's effect manager created; textures compare them with the
// current ones, for diagnosis only. Each worker thread has its own.
extern thread_local EGLDisplay g_eglDisplay;
extern thread_local EGLContext g_eglContext;

// True when eglGetError reports success; else one error line naming the operation `where`, the EGL
// function `call` and the code.
bool CheckEGLError(const char* where, const char* call);

// The same for glGetError. Reads one error; further queued ones are left for the next check.
bool CheckGLError(const char* where, const char* call);

// Discards queued GL errors, so that the next check is not blamed for what came before.
void DrainGLErrors();

// Milliseconds, wrapping modulo 2^32; only differences mean anything.
uint32_t GetTickCount();

// Rows of shared graphics buffers are multiples of 32 pixels long, as allocators like them.
constexpr unsigned RoundUp32(unsigned pixels) {
    return (pixels + 31U) & ~31U;
}

// For "%u" in messages that print an address.
inline unsigned AddressForLog(const void* address) {
    return static_cast<unsigned>(reinterpret_cast<uintptr_t>(address));
}
