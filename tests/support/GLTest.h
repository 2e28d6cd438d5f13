// The ground of tests that use GL: a current context, and no object or pending error left behind.
#pragma once

#include <EGL/egl.h>
#include <gtest/gtest.h>

#include "engine/GEManager.h"
#include "gl/GECommon.h"
#include "gl/KeptPrograms.h"
#include "tests/support/GLObjectCount.h"

namespace testing_support {

class GLTest : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_NE(eglGetCurrentContext(), EGL_NO_CONTEXT) << "no EGL on this machine";
        m_before = LiveGLObjects();
    }
    void TearDown() override {
        DeleteKeptPrograms(eglGetCurrentContext());
        EXPECT_TRUE(CheckGLError("TearDown", "a test"));
        EXPECT_EQ(LiveGLObjects(), m_before);
    }

    GEManager m_manager;
    int m_before = 0;
};

}  // namespace testing_support
