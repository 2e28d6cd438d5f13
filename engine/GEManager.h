// Owns the worker's EGL context, the input texture and the current effect; chooses the effect by
// number and hands frames, parameters and crops on to it.
//
// Constructed (EGL ready or not), Init, ChooseEffect, frames, Deinit (all but EGL is released),
// Init again or destruction. Operations return 1 for success and 0 for failure. Thread: one worker,
// from construction to destruction.
#pragma once

#include <EGL/egl.h>
#include <posteffect/Export.h>

#include <cstdint>

class GEShader;
class GLFbo;
class GLTexture;
class IYUVConverter;
struct ANativeWindowBuffer;

class POSTEFFECT_API GEManager {
  public:
    // Sets EGL up and makes the context current. A failure shows in Init.
    GEManager();
    ~GEManager();
    GEManager(const GEManager&) = delete;
    GEManager& operator=(const GEManager&) = delete;

    // Wraps `buffer`, which stays the caller's, as the input texture of w x h pixels. (x, y, w, h)
    // becomes the viewport; bufW, bufH and the reserved argument are not used. `cb` stays the
    // caller's.
    int Init(ANativeWindowBuffer* buffer, unsigned int bufW, unsigned int bufH,
             unsigned int reserved, unsigned int x, unsigned int y, unsigned int w, unsigned int h,
             IYUVConverter* cb);
    int Deinit();

    // Replaces the current effect. 0 and 99 drop it and fail; numbers from 19 on fail and leave it.
    int ChooseEffect(unsigned int number, unsigned char bCapture);
    bool hasEffect() const { return m_pCurrShader != nullptr; }

    // Preview: the input texture through the effect.
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h);
    // Capture: `out` receives w x h luma bytes and the chroma after them.
    int ProcFrame(unsigned char* in, unsigned char* out, int w, int h);
    int ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int w, int h);

    // Group 1 carries two points in display coordinates, which are mapped into the viewport.
    int SetParam(unsigned int index, int a, int b, int c, int d);
    int SetCrop(float x, float y, float w, float h);
    // Copies the effect's result to the planes of a preview frame.
    int MemcpyYUV(void* dstY, void* dstUV);

    void FPS();

    // Mirror's fold, taken over when that effect is created.
    bool m_bLandscaped = false;

  private:
    bool SetUpEGL();
    void TearDownEGL();
    // The context may have been lost, or the display pulled away, since the last use: one rebuild.
    bool EnsureCurrent();
    bool ReadyForCapture() const;
    int FinishCapture(int result, uint32_t started, int w, int h) const;

    EGLDisplay m_eglDisplay = EGL_NO_DISPLAY;
    EGLConfig m_config = nullptr;
    EGLSurface m_surface = EGL_NO_SURFACE;
    EGLContext m_context = EGL_NO_CONTEXT;
    bool m_bDisplayInitialized = false;
    bool m_bEGLReady = false;
    bool m_bInit = false;
    bool m_bCapture = false;
    int m_nLastEffect = -1;
    GEShader* m_pCurrShader = nullptr;
    GEShader* m_pShaderBypass = nullptr;
    GLTexture* m_pSrcTexture = nullptr;
    GLFbo* m_pDstFbo = nullptr;
    unsigned m_nOutput = 0;
    int m_nX = -1;  // the viewport, pixels
    int m_nY = -1;
    int m_nW = -1;
    int m_nH = -1;
    int m_nDispWidth = -1;  // pixels
    int m_nDispHeight = -1;
    int m_nReserved = 0;
    IYUVConverter* m_pConverter = nullptr;
};
