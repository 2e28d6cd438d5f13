// A radial lens distortion about a movable centre, from barrel to pincushion.
//
// Any pixel of the result may need any pixel of the picture, so captures are not cut into blocks
// before they are drawn: both planes of the whole image become textures, and the result is drawn
// tile by tile from them.
#pragma once

#include <array>
#include <memory>

#include "engine/SinglePassEffect.h"
#include "gl/GLTableProgram.h"
#include "gl/GLTexture.h"

// Draws with the values that its user has set.
class POSTEFFECT_API GLProgFisheye : public GLTableProgram {
  public:
    GLProgFisheye();

    bool Use() override;

    using Pair = std::array<float, 2>;
    Pair m_scale = {1.0F, 1.0F};    // of what is drawn, fractions of the whole picture
    Pair m_shift = {0.5F, 0.5F};    // the centre's place in it
    Pair m_center = {0.5F, 0.5F};   // fractions of the whole picture
    Pair m_distort = {0.6F, 0.0F};  // the strength; the second is not read
    float m_widthComp = 1.0F;

  protected:
    explicit GLProgFisheye(const GLProgramTable& table);
};

// From the captured image's two planes, one tile.
class POSTEFFECT_API GLProgFisheyeLarge : public GLProgFisheye {
  public:
    GLProgFisheyeLarge();
};

class POSTEFFECT_API GEShaderFisheye : public SinglePassEffect {
  public:
    GEShaderFisheye();
    ~GEShaderFisheye() override;

    int Init(GLTexture* src, unsigned int out, unsigned int x, unsigned int y, unsigned int w,
             unsigned int h, unsigned char bCapture, IYUVConverter* cb) override;
    int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    // One tile of a capture; the arguments are not used.
    int ProcBlock(unsigned int srcTex, unsigned int dstTex, int w, int h, float x, float y);
    int ProcFrame(unsigned int srcTex, unsigned int dstTex, int w, int h) override;
    // A capture needs both planes; without chroma it is refused.
    int ProcFrame(unsigned char* in, unsigned char* out, int imgW, int imgH) override;
    int ProcFrame(unsigned char* inY, unsigned char* inUV, unsigned char* out, int imgW,
                  int imgH) override;
    // Group 0: a = strength, 0 barrel, 33 none, 100 bulge. Other groups: (a, b) the centre in
    // viewport pixels, kept a tenth of the picture away from its edges.
    int SetParam(unsigned int index, int a, int b, int c, int d) override;

  protected:
    void ReleaseTextures() override;
    GLProgram* CreateProgram() const override;
    void SetUniforms(GLProgram& program) override;

  private:
    bool UploadPlanes(const unsigned char* inY, const unsigned char* inUV, int imgW, int imgH);
    int DrawTiles(unsigned char* out, int imgW, int imgH);
    GLProgFisheye& fisheye() const { return static_cast<GLProgFisheye&>(*program()); }

    GLProgFisheye::Pair m_center = {0.5F, 0.5F};  // fractions of the whole picture
    float m_distortion = 0.6F;
    float m_secondStrength = 0.0F;  // set, never read
    int m_centerX = 480;            // the last point given, viewport pixels
    int m_centerY = 272;
    float m_widthComp = 1.0F;  // shown width over allocated width of the source texture
    std::unique_ptr<GLTexture> m_pTexLuma;  // of a capture in progress
    std::unique_ptr<GLTexture> m_pTexChroma;
};
