// The ground of tests that draw with effects: a current context, and no GL error or object left
// behind.
#pragma once

#include <EGL/egl.h>
#include <gtest/gtest.h>

#include "engine/GEManager.h"
#include "gl/DebugOutput.h"
#include "gl/GECommon.h"
#include "gl/KeptPrograms.h"
#include "tests/support/GLObjectCount.h"
#include "tests/support/PictureModel.h"

namespace testing_support {

class EffectTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "no EGL on this machine";
        m_before = LiveGLObjects();
    }
    void TearDown() override {
        DeleteKeptPrograms(eglGetCurrentContext());
        EXPECT_EQ(ReportedGLErrors(), 0U);
        EXPECT_TRUE(CheckGLError("TearDown", "a test"));
        EXPECT_EQ(LiveGLObjects(), m_before);
    }

    GEManager m_manager;

  private:
    int m_before = 0;
};

// Three levels on nearly all samples; curves and gains stretch the roundings of the few others.
inline void ExpectAgrees(const CaptureImage& actual, const CaptureImage& expected) {
    EXPECT_LE(ShareApart(actual, expected), 0.005) << Compare(actual, expected).where;
}

}  // namespace testing_support
