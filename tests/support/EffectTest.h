// The ground of tests that draw with effects: the driver is to report no error at all.
#pragma once

#include <gtest/gtest.h>

#include "gl/DebugOutput.h"
#include "tests/support/GLTest.h"
#include "tests/support/PictureModel.h"

namespace testing_support {

class EffectTest : public GLTest {
  protected:
    void TearDown() override {
        GLTest::TearDown();
        EXPECT_EQ(ReportedGLErrors(), 0U);
    }
};

}  // namespace testing_support
