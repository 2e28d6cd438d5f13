// What depth of field and tilt-shift have alike: how strong the blur is, and where the focus lies.
#pragma once

#include "effects/BlurEffect.h"

// The way from a focus point to a point on the edge of the focus, as fractions of the width and of
// the height.
struct FocusDistance {
    float dx;
    float dy;
    float length;  // no less than 0.1
};

class POSTEFFECT_API FocusEffect : public BlurEffect {
  public:
    // Group 0: a = strength of the blur, 0..100. Group 1: (a, b) the focus point and (c, d) a point
    // on the edge of the focus, in viewport pixels. Answers 0.
    int SetParam(unsigned int type, int p0, int p1, int p2, int p3) override;

  protected:
    // Half of the way on which the blur grows from nothing to all.
    static constexpr double kHalfEdge = 0.075;

    using BlurEffect::BlurEffect;

    // The parameters with which every Init begins.
    void ResetFocus();
    // Sets where the blur begins and where it is full.
    virtual void SetEdge(const FocusDistance& distance) = 0;
    void SetSizeUpUniforms(GLProgram& program) override;

    float m_fMixWeight = 1.0F;  // of the blurred picture where the blur is full
    float m_centerX = 0.5F;     // fractions of the shown width and height
    float m_centerY = 0.5F;
    float m_inner = 0.36F;
    float m_outer = 0.49F;
};
