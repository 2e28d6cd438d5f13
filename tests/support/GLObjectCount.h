// Counts GL objects by standing before the driver's own functions in the test executable.
#pragma once

namespace testing_support {

// Textures, framebuffers, programs and shaders made less deleted, in the whole process.
int LiveGLObjects();

}  // namespace testing_support
