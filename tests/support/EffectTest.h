// The ground of tests that draw with effects: the driver is to report no error at all.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "gl/DebugOutput.h"
#include "platform/DevicePath.h"
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

// The file that effects read under this name.
inline TextureModel LookUp(const std::string& name) {
    return TextureModel::LookUpFile(
        platform::ResolveDevicePath(("/system/media/GPU/" + name).c_str()));
}

}  // namespace testing_support
