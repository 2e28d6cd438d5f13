// The picture as a grid of coloured dots: each square cell takes one colour, and a mask that
// repeats in every cell makes a dot of it.
#pragma once

#include <GLES2/gl2.h>
#include <ui/GraphicBuffer.h>

#include <array>
#include <memory>

#include "engine/GEShader.h"
#include "gl/GLFbo.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

// The reduction: one texel for each cell.
class POSTEFFECT_API GLProgDotPass1 : public GLTableProgram {
  public:
    GLProgDotPass1();
};

// The enlargement, times the mask.
class POSTEFFECT_API GLProgDotPass2 : public GLTableProgram {
  public:
    GLProgDotPass2();

  protected:
    explicit GLProgDotPass2(const GLProgramTable& table);
};

class POSTEFFECT_API GLProgDotPass2Large : public GLProgDotPass2 {
  public:
    GLProgDotPass2Large();
};

// A reduction that reads the captured planes, and a plain copy: for captures without blocks, which
// no operation makes today.
class POSTEFFECT_API GLProgDotPass1Large : public GLTableProgram {
  public:
    GLProgDotPass1Large();
};

class POSTEFFECT_API GLProgDotPass3Large : public GLTableProgram {
  public:
    GLProgDotPass3Large();
};

class POSTEFFECT_API GEShaderDot : public GEShader {
  public:
    GEShaderDot() = default;
    ~GEShaderDot() override;

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    int Deinit() override;
    // Group 0: a = size of the cells, 0 (68 of them in the frame's height) .. 100 (30 of them).
    int SetParam(unsigned int type, int p0, int p1, int p2, int p3) override;
    int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    // Not supported: does nothing and answers 0.
    int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) override;
    // The capture, in blocks of whole cells.
    int ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int imgW,
                  int imgH) override;
    using GEShader::SetCrop;
    // Kept for callers of old; does nothing.
    virtual int SetCrop(int x, int y, int w, int h);

    // Cleans the CPU cache of the buffer's memory. 1, or 0 on failure.
    int clean_buffer(const android::sp<android::GraphicBuffer>& buffer);

  private:
    static constexpr unsigned kMasks = 4;

    void BeginBlock(const CaptureBlock& block);
    bool InitMasks();
    bool InitSizeDown(unsigned width, unsigned height, GLint wrap);
    bool InitPrograms(GLTexture* src);
    bool InitCaptureSource(int side, IYUVConverter* cb);
    void UploadBlock();
    int ProcCells(unsigned char* out, int imgW, int imgH, float cellSize);

    std::unique_ptr<GLTexture> m_pSizeDownTex;
    std::unique_ptr<GLFbo> m_pSizeDownFbo;
    std::unique_ptr<GLProgram> m_pDotPass1;
    std::unique_ptr<GLProgram> m_pDotPass2;
    std::array<std::unique_ptr<GLTexture>, kMasks> m_apDotMask;
    unsigned m_nMaskIdx = 2;
    float m_fScreenRatio = 1.0F;
    float m_fDotSize = 0.0F;                            // side of a cell, pixels of the frame
    float m_fDotSizeMid = 0.0F;                         // middle of the range of sizes, set once
    android::sp<android::GraphicBuffer> m_spSrcBuffer;  // of a capture's blocks
    std::unique_ptr<GLTexture> m_pBlockTexture;         // over it
    CropRect m_drawnCrop;      // what the reduction maps: captures are fetched through the crop
    float m_captureCell = 0;   // side of a cell, pixels of the captured image
    bool m_bSoftware = false;  // a capture's: whether blocks are uploaded into the target
    int m_reducedBy = 1;       // sides of a capture's blocks over those of the reduced texture
    QuadCoords m_reduceCoord = kQuadCoords;
    QuadCoords m_enlargeCoord = kQuadCoords;
    QuadCoords m_maskCoord = kQuadCoords;
    bool m_bHoldsObjects = false;  // an Init has begun since the last Deinit
};
