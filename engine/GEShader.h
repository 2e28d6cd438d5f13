// The base of every effect: the interface through which the manager drives it, and what effects
// share: source texture, viewport, block state, crop, and the conversion of results back to YUV.
//
// The owner makes an effect with new, calls Init once, then preview or capture ProcFrames as the
// capture flag says, and deletes it; each effect's destructor calls its own Deinit.
// Operations return 1 for success and 0 for failure. Thread: the worker, with the manager's context
// current.
#pragma once

#include <GLES2/gl2.h>
#include <posteffect/Export.h>

#include <cstdint>
#include <functional>

#include "engine/BlockPlan.h"
#include "engine/IYUVConverter.h"
#include "gl/StandardQuad.h"

class GLFbo;
class GLProgRGBtoUV;
class GLProgRGBtoY;
class GLTexture;
class LogTag;

class POSTEFFECT_API GEShader {
  public:
    GEShader() = default;
    virtual ~GEShader() = default;
    GEShader(const GEShader&) = delete;
    GEShader& operator=(const GEShader&) = delete;

    // `src` holds the input ("yuvx" pixels) and stays the caller's, as does `cb`, through which a
    // capture fetches its blocks. (x, y, w, h) is the viewport in pixels.
    virtual int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                     unsigned int w, unsigned int h, unsigned char bCapture, IYUVConverter* cb);
    virtual int Deinit();
    // Draws the source texture into the converter's RGB target and converts it to YUV.
    virtual int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) = 0;
    // Preview: one whole frame.
    virtual int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) = 0;
    // Capture: the image arrives through the callback; the result, imgW x imgH luma bytes and the
    // chroma after them, goes to `out`.
    virtual int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) = 0;
    // Capture with the captured planes at hand. The base passes on the luma plane and the output.
    virtual int ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int imgW,
                          int imgH);
    virtual int SetParam(unsigned int index, int a, int b, int c, int d) = 0;
    // The part of the picture that is shown, as fractions. What is no such part selects all of it.
    virtual int SetCrop(float x, float y, float w, float h);
    // Whether the frame is wider than high; effects that care are told before Init.
    void SetLandscape(bool landscape) { m_bLandscape = landscape; }
    // CPU addresses of the converted planes.
    virtual void* GetYDataBuf();
    virtual void* GetUVDataBuf();

    // Copies a w x h rectangle of pixels between two streaming textures of one format, on the CPU.
    int BlockCopy(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx, int sy);

    // --- The YUV output converter (YUVOutputConverter.cpp) ---

    // Makes targets and programs for an RGB picture of srcWidth x srcHeight and a YUV image of
    // outWidth x outHeight, after releasing those it had. False at the first failure.
    bool InitYUVConverter(int srcWidth, int srcHeight, int outWidth, int outHeight);
    bool DeinitYUVConverter();
    // Converts the whole RGB target.
    bool ConvertYUV(int x, int y);
    // Converts the part (x, y, w, h) of it; effects pass the whole size, and where the CPU packs
    // the planes that is what is converted.
    bool ConvertYUV(int x, int y, int w, int h);
    // Copies the converted block to (x, y) of an image of imgWidth x imgHeight, less half of the
    // block overlap at its inner left and upper edges. What lies outside the image is left out.
    bool BlockCopyYUV(unsigned char* dstY, unsigned char* dstUV, unsigned imgWidth,
                      unsigned imgHeight, unsigned x, int y, int w, int h);
    // Copies the whole converted frame to planes of its size.
    bool MemcpyYUV(void* dstY, void* dstUV);

  protected:
    int BindSrcTexture();

    // Stores what an effect's Init is given; the first thing each effect's Init does.
    void StoreInitArguments(GLTexture* src, unsigned int out, unsigned int x, unsigned int y,
                            unsigned int w, unsigned int h, unsigned char bCapture, int hintWidth,
                            int hintHeight);

    // Texture coordinates that leave out what rows were rounded up by, each pair logged.
    QuadCoords PartialTexCoord(LogTag& log) const;

    // What a capture logs of each block.
    enum BlockTrace { kTraceNothing, kTraceRuns, kTraceRunsAndPlaces };

    // The conditions for a capture ProcFrame, each with its message under `log`.
    bool ReadyForCapture(LogTag& log) const;
    // Whether there is a target to draw into; its message under `log` otherwise.
    bool ReadyToDraw(LogTag& log) const;
    // Takes the source texture through every block of `plan`: fetches, draws (ProcBlock), copies to
    // `out`. 0 when the plan has no blocks. `beginBlock` comes before a block is fetched, when the
    // members that describe it are set: a virtual operation here would take the slot of what
    // effects add.
    int RunBlocks(LogTag& log, const BlockPlan& plan, unsigned char* out, int imgW, int imgH,
                  BlockTrace trace,
                  const std::function<void(const CaptureBlock&)>& beginBlock = nullptr);
    CaptureGeometry captureGeometry(int imgW, int imgH) const;
    // The fence of a capture.
    void GenerateFence();
    // Converts what was drawn into the RGB target, and waits for the GPU.
    void FinishPicture();

    GLTexture* m_pSrcTexture = nullptr;
    unsigned m_nOutput = 0;
    int m_nX = 0;  // the viewport, pixels; in capture w and h are the current block's
    int m_nY = 0;
    int m_nW = 0;
    int m_nH = 0;
    int m_nRun = 0;       // index of the current block
    int m_nMaxRun = 0;    // blocks of the current capture; 0 between captures
    int m_nOverlapX = 0;  // pixels
    int m_nOverlapY = 0;
    int m_nBlockX = 0;  // place of the current block in the whole image, pixels
    int m_nBlockY = 0;
    int m_nBlockW = 0;
    int m_nBlockH = 0;
    int m_nHintW = 0;
    int m_nHintH = 0;
    bool m_bInit = false;
    bool m_bCapture = false;
    bool m_bLandscape = false;
    GLuint m_nFence = ~0U;

    IYUVConverter* m_pCallback = nullptr;
    CropRect m_crop{0.0F, 0.0F, 0.0F, 0.0F};

    QuadCoords m_texCoord = kQuadCoords;     // of the current frame or block
    QuadCoords m_globalCoord = kQuadCoords;  // of the current block in the whole image

    GLFbo* m_pFboRGB = nullptr;      // what effects draw their result into
    GLTexture* m_pTexRGB = nullptr;  // its pixels

  private:
    void DeleteFence();
    int BlkCpyRGB565(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx, int sy);
    int BlkCpyRGBA8888(GLTexture* dst, int x, int y, int w, int h, GLTexture* src, int sx, int sy);

    bool InitPackedTarget(GLTexture*& texture, GLFbo*& fbo, unsigned rowBytes, unsigned height);
    void DrawPacked(bool luma, const QuadCoords& coords);
    void PackOnCPU();

    bool m_bPacksOnCPU = false;  // instead of drawing the planes
    GLTexture* m_pTexY = nullptr;
    GLFbo* m_pFboY = nullptr;
    GLTexture* m_pTexUV = nullptr;
    GLFbo* m_pFboUV = nullptr;
    GLProgRGBtoY* m_pProgRGBtoY = nullptr;
    GLProgRGBtoUV* m_pProgRGBtoUV = nullptr;

    unsigned m_nOutWidth = 0;  // pixels
    unsigned m_nOutHeight = 0;
    unsigned m_nLumaRowBytes = 0;
    unsigned m_nLumaHeight = 0;
    unsigned m_nChromaRowBytes = 0;
    unsigned m_nChromaHeight = 0;
    unsigned m_nSrcWidth = 0;  // pixels
    unsigned m_nSrcHeight = 0;
    QuadCoords m_lumaCoord = kQuadCoords;
    QuadCoords m_chromaCoord = kQuadCoords;
};
