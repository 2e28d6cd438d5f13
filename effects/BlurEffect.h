// What the effects with a blur share: the picture is blurred at reduced size in two passes, along
// the rows and along the columns, and a last pass makes the result from the clear and the blurred
// picture. Effects differ by their traits, their last program and its uniforms.
#pragma once

#include <array>
#include <memory>

#include "effects/BlurKernels.h"
#include "engine/GEShader.h"
#include "gl/GLFbo.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

struct BlurTraits {
    LogTag& log;
    // The blur's targets are this part of the picture's width and height.
    unsigned widthPart, widthWhole;
    unsigned heightPart, heightWhole;
    float step;        // between taps, pixels of the picture
    int margin;        // pixels fetched round each capture block
    bool followsCrop;  // shows the crop only
    bool largeSizeUp;  // captures have a last program of their own
};

// One of the two passes: 15 taps along a line.
class POSTEFFECT_API GLProgBlur : public GLTableProgram {
  public:
    explicit GLProgBlur(LogTag& log);
};

class POSTEFFECT_API BlurEffect : public GEShader {
  public:
    ~BlurEffect() override;

    using GEShader::SetCrop;
    int Deinit() override;
    int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    using GEShader::ProcFrame;
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) override;
    // Answers 0, and the step between taps follows the width of the crop that was set before this
    // one; but effects that show the whole picture only remember the crop, as the base does.
    int SetCrop(float x, float y, float w, float h) override;
    // Kept for callers of old; does nothing.
    virtual int SetCrop(int x, int y, int w, int h);
    // Spreads the taps, in texture coordinates; the horizontal step follows the crop's width.
    void SetupPixelStep(float stepX, float stepY);

  protected:
    explicit BlurEffect(const BlurTraits& traits) : m_traits(traits) {}

    // Everything an Init makes: targets, programs, taps. 0 on failure.
    int InitBlur(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
                 unsigned int h, unsigned char bCapture, IYUVConverter* cb);
    // The last step of an Init.
    int FinishInit();
    unsigned blurWidth() const { return m_uBlurW; }
    unsigned blurHeight() const { return m_uBlurH; }

    // New programs, owned by the effect from then on.
    virtual GLProgBlur* CreateBlurProgram() const = 0;
    virtual GLProgram* CreateSizeUpProgram() const = 0;
    // Sets the last pass's uniforms; the program is current.
    virtual void SetSizeUpUniforms(GLProgram&) {}
    // The part of the source texture that previews show. It outlives the effect: a crop stays in
    // force for the class until another is set.
    virtual QuadCoords& previewQuad() const = 0;

    virtual void BeginCapture(int, int) {}
    virtual void BeginBlock(const CaptureBlock& block);

    const BlurTraits& m_traits;
    const BlurKernel* m_pfGaussian = &SelectBlurKernel(kWidestBlur);
    // Texture coordinates of the current frame or block: m_texCoord for the clear picture, and
    QuadCoords m_blurInputCoord = kQuadCoords;   // of the source in the first pass
    QuadCoords m_blurOutputCoord = kQuadCoords;  // of the first target in the second pass
    QuadCoords m_blurredCoord = kQuadCoords;     // of the second target in the last pass

  private:
    // x, y of each neighbour.
    static constexpr std::size_t kNeighbours = kBlurTaps - 1;
    using PixelShift = std::array<float, 2 * kNeighbours>;

    void SetPixelStepForPreview();
    bool InitTarget(const char* name, std::unique_ptr<GLTexture>* texture);
    bool ShowsWholeFrame() const;
    // Both false when their program cannot be used.
    bool DrawBlurPass(GLFbo& target, GLTexture* input, const PixelShift& shift,
                      const QuadCoords& coords);
    bool DrawSizeUpPass();

    std::unique_ptr<GLTexture> m_pTexKOpH;
    std::unique_ptr<GLTexture> m_pTexKOpV;
    std::unique_ptr<GLFbo> m_pFboKOpH;
    std::unique_ptr<GLFbo> m_pFboKOpV;
    std::unique_ptr<GLProgBlur> m_pBlurProg;
    std::unique_ptr<GLProgram> m_pSizeUpProg;
    unsigned m_uBlurW = 0;  // pixels
    unsigned m_uBlurH = 0;
    PixelShift m_afPixelShiftX{};
    PixelShift m_afPixelShiftY{};
    // Between taps in capture, texture coordinates: the blur covers the same share of the whole
    // image as of a preview.
    float m_captureStepX = 0.0F;
    float m_captureStepY = 0.0F;
    bool m_bHoldsObjects = false;  // an Init has begun since the last Deinit
    bool m_bSoftware = false;      // draws for a software renderer
};
