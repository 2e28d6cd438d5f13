// Makes what the library relies on fail on purpose: the driver, the system, memory. Stands before
// the real functions in the test executable, and counts only calls that come from it.
#pragma once

#include <cstddef>

namespace testing_support {

enum class Fault : std::size_t {
    kDisplay,        // finding and initialising the display, choosing a config
    kContext,        // eglCreateContext, eglCreatePbufferSurface, eglMakeCurrent
    kImage,          // eglCreateImageKHR of the extension table
    kGenerate,       // glGenTextures, glGenFramebuffers
    kShader,         // glCreateShader
    kProgram,        // glCreateProgram
    kCompileStatus,  // glGetShaderiv
    kLinkStatus,     // glGetProgramiv
    kFramebuffer,    // glCheckFramebufferStatus
    kTexImage,       // glTexImage2D: out of memory
    kSharedMemory,   // memfd_create, ftruncate, mmap
    kThread,         // pthread_create
    kOpen,           // fopen
    kRead,           // fread: a short read
    kNew,            // operator new of the library's own code
    kCount,
};
constexpr auto kFaultCount = static_cast<std::size_t>(Fault::kCount);

const char* NameOf(Fault fault);

// Counts the calls of every kind while it lives, and fails the `nth` (from 1; 0: none) of one kind,
// with all behind it where `lasting`. One at a time; do not allocate in the test meanwhile.
class FaultPlan {
  public:
    explicit FaultPlan(Fault fault = Fault::kDisplay, long nth = 0, bool lasting = false);
    ~FaultPlan();
    FaultPlan(const FaultPlan&) = delete;
    FaultPlan& operator=(const FaultPlan&) = delete;

    static long Calls(Fault fault);
    static long Injected();
};

// EGL images made less destroyed.
int LiveImages();

}  // namespace testing_support
