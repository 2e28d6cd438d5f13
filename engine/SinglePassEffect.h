// The control flow of every effect that draws its picture in one pass with one program. A subclass
// says which program, which uniforms and which block plan.
#pragma once

#include <memory>

#include "engine/GEShader.h"

class GLProgram;

// What the shared flow logs for an effect.
struct SinglePassTraits {
    LogTag& log;
    const char* creatingPreview = nullptr;  // "[%s] Creating <this>"
    const char* creatingCapture = nullptr;  // null: no line
    // "[%s] <prefix>ImgWidth=..." before a capture, and a line for each block; null: neither.
    const char* sizeLinePrefix = nullptr;
    const char* programName = "program";  // "[%s] can't load <this>"
    bool tracesPlaces = false;            // beside each block's line, its place in the image
    bool tracesEntry = false;             // "[%s] enter" before a capture
};

class POSTEFFECT_API SinglePassEffect : public GEShader {
  public:
    ~SinglePassEffect() override;

    using GEShader::SetCrop;
    int Deinit() override;
    int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    using GEShader::ProcFrame;
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) override;
    // Kept for callers of old; does nothing.
    virtual int SetCrop(int x, int y, int w, int h);

  protected:
    explicit SinglePassEffect(const SinglePassTraits& traits) : m_traits(traits) {}

    // After StoreInitArguments: the base's Init. 0 on failure.
    int InitBase(IYUVConverter* cb);
    // The program, loaded and bound to the source texture. 0 on failure. `operation` names the
    // caller in the log.
    int InitProgram(const char* operation = "Init");
    // Draws the picture without what rows were rounded up by.
    void InitPartialTexCoord();
    // The lines with which most effects begin their Init.
    void LogBanner(const char* title) const;
    // The last step of an Init.
    int FinishInit();
    // Releases what the base's Init made; the program stays.
    void DeinitBase() { GEShader::Deinit(); }

    // A new program for the mode that m_bCapture tells; owned by the effect from then on.
    virtual GLProgram* CreateProgram() const = 0;
    // Sets the pass's uniforms; the program is current.
    virtual void SetUniforms(GLProgram&) {}
    // Whether the capture program reads the place in the whole image.
    virtual bool UsesGlobalCoord() const { return false; }
    // Whether each pixel comes from the centre of one pixel of the source while all of it is shown.
    virtual bool ReadsPixelCentres() const { return false; }
    virtual std::unique_ptr<BlockPlan> MakePlan(const CaptureGeometry& geometry) const;
    // Before the first block of a capture.
    virtual void BeginCapture(int, int) {}

    // Deletes the effect's own textures, after the program that reads them.
    virtual void ReleaseTextures() {}

    LogTag& log() const { return m_traits.log; }
    GLProgram* program() const { return m_pProgram; }
    // Whether the program is one for software renderers.
    bool drawsForSoftware() const { return m_bSoftware; }

  private:
    void Draw();

    const SinglePassTraits& m_traits;
    GLProgram* m_pProgram = nullptr;
    bool m_bSoftware = false;      // draws for a software renderer
    bool m_bHoldsObjects = false;  // an Init has begun since the last Deinit
};
