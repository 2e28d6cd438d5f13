// The effect manager's EGL context: set-up, loss, tear-down.
#include <GLES2/gl2.h>

#include <array>
#include <new>

#include "engine/GEManager.h"
#include "engine/ManagerLog.h"
#include "gl/DebugOutput.h"
#include "gl/GECommon.h"
#include "gl/KeptPrograms.h"
#include "platform/Display.h"

namespace {

constexpr const char* kName = "GEManager";

constexpr EGLint kConfigAttributes[] = {
    EGL_SURFACE_TYPE,
    EGL_WINDOW_BIT | EGL_PBUFFER_BIT,
    EGL_RED_SIZE,
    5,
    EGL_GREEN_SIZE,
    6,
    EGL_BLUE_SIZE,
    5,
    EGL_ALPHA_SIZE,
    EGL_DONT_CARE,
    EGL_DEPTH_SIZE,
    16,
    EGL_STENCIL_SIZE,
    4,
    EGL_RENDERABLE_TYPE,
    EGL_OPENGL_ES2_BIT,
    EGL_NONE,
};
constexpr EGLint kContextAttributes[] = {EGL_CONTEXT_CLIENT_VERSION, 2, EGL_NONE};
constexpr EGLint kSurfaceAttributes[] = {EGL_WIDTH, 1, EGL_HEIGHT, 1, EGL_NONE};

// Errors that a fresh start may cure.
bool IsLoss(EGLint error) {
    return error == EGL_NOT_INITIALIZED || error == EGL_BAD_DISPLAY || error == EGL_BAD_CONTEXT ||
           error == EGL_CONTEXT_LOST;
}

// What passes rely on for the context's whole life.
void SetContextDefaults() {
    glDisable(GL_DITHER);
    // Rows are tight, whatever their length.
    glPixelStorei(GL_UNPACK_ALIGNMENT, 1);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
}

bool LogFailure(const char* call) {
    LOG_DEBUG(gManagerLog, "[%s] %s failed - eglGetError Returned: %d", kName, call, eglGetError());
    return false;
}

bool LogFailure(const char* call, EGLBoolean result) {
    LOG_DEBUG(gManagerLog, "[%s] %s failed: %d - eglGetError Returned: %d", kName, call,
              static_cast<int>(result), eglGetError());
    return false;
}

void LogSuccess(const char* call) {
    LOG_DEBUG(gManagerLog, "[%s] %s successfully", kName, call);
}

}  // namespace

bool GEManager::SetUpEGL() {
    m_eglDisplay = platform::GetDisplay();
    if (m_eglDisplay == EGL_NO_DISPLAY) {
        LOG_DEBUG(gManagerLog, "[%s] m_eglDisplay failed - EGL_NO_DISPLAY", kName);
        return false;
    }
    LogSuccess("m_eglDisplay");

    EGLint major = 0;
    EGLint minor = 0;
    if (!platform::InitializeDisplay(m_eglDisplay, &major, &minor)) {
        return LogFailure("eglInitialize", EGL_FALSE);
    }
    m_bDisplayInitialized = true;
    LogSuccess("eglInitialize");

    std::array<EGLConfig, 10> configs{};
    EGLint count = 0;
    if (!platform::ChooseConfig(m_eglDisplay, kConfigAttributes, configs.data(),
                                static_cast<EGLint>(configs.size()), &count)) {
        return LogFailure("eglChooseConfig", EGL_FALSE);
    }
    LogSuccess("eglChooseConfig");
    m_config = configs[0];

    m_context = eglCreateContext(m_eglDisplay, m_config, EGL_NO_CONTEXT, kContextAttributes);
    if (m_context == EGL_NO_CONTEXT) return LogFailure("eglCreateContext");
    LogSuccess("eglCreateContext");

    m_surface = eglCreatePbufferSurface(m_eglDisplay, m_config, kSurfaceAttributes);
    if (m_surface == EGL_NO_SURFACE) return LogFailure("eglCreatePbufferSurface");
    LogSuccess("eglCreatePbufferSurface");

    if (!eglMakeCurrent(m_eglDisplay, m_surface, m_surface, m_context)) {
        return LogFailure("eglMakeCurrent", EGL_FALSE);
    }
    LogSuccess("eglMakeCurrent");
    m_bEGLReady = true;
    g_eglContext = m_context;
    g_eglDisplay = m_eglDisplay;
    platform::LoadContextExtensions(m_eglDisplay);
    SetContextDefaults();
    InstallDebugOutput();
    LOG_DEBUG(gManagerLog, "[%s] EGL %d.%d, %s, %s, %s", kName, major, minor,
              reinterpret_cast<const char*>(glGetString(GL_VERSION)),
              reinterpret_cast<const char*>(glGetString(GL_VENDOR)),
              reinterpret_cast<const char*>(glGetString(GL_RENDERER)));
    return true;
}

void GEManager::TearDownEGL() {
    const auto announce = [](const char* step) {
        LOG_INFO(gManagerLog, "[%s] %s", "~GEManager", step);
    };
    m_bEGLReady = false;
    DeleteKeptPrograms(m_context);
    // Handles that were never made are passed over.
    announce("eglMakeCurrent");
    if (m_bDisplayInitialized) {
        eglMakeCurrent(m_eglDisplay, EGL_NO_SURFACE, EGL_NO_SURFACE, EGL_NO_CONTEXT);
    }
    announce("eglDestroySurface");
    if (m_surface != EGL_NO_SURFACE) eglDestroySurface(m_eglDisplay, m_surface);
    announce("eglDestroyContext");
    if (m_context != EGL_NO_CONTEXT) eglDestroyContext(m_eglDisplay, m_context);
    announce("eglTerminate");
    if (m_bDisplayInitialized) platform::TerminateDisplay(m_eglDisplay);
    m_surface = EGL_NO_SURFACE;
    m_context = EGL_NO_CONTEXT;
    m_bDisplayInitialized = false;
    g_eglContext = EGL_NO_CONTEXT;
    g_eglDisplay = EGL_NO_DISPLAY;
}

GEManager::GEManager() {
    LOG_INFO(gManagerLog, "[%s] enter", kName);
    try {
        if (SetUpEGL()) LOG_INFO(gManagerLog, "[%s] leave", kName);
    } catch (const std::bad_alloc&) {
        // As when EGL fails: not ready, and the destructor takes down what there is.
        LogFailure("SetUpEGL");
    }
}

GEManager::~GEManager() {
    constexpr const char* kDestructor = "~GEManager";
    LOG_INFO(gManagerLog, "[%s] enter", kDestructor);
    if (m_pSrcTexture != nullptr) Deinit();
    TearDownEGL();
    // The thread ends: what EGL keeps for it goes too.
    eglReleaseThread();
    LOG_INFO(gManagerLog, "[%s] leave", kDestructor);
}

bool GEManager::EnsureCurrent() {
    if (!m_bEGLReady) return false;
    if (eglMakeCurrent(m_eglDisplay, m_surface, m_surface, m_context)) return true;
    if (!IsLoss(eglGetError())) return false;
    TearDownEGL();
    return SetUpEGL();
}
