// Counts GL objects by standing before the driver's own functions in the test executable.
#pragma once

namespace testing_support {

// Textures, framebuffers, programs and shaders made less deleted, in the whole process.
int LiveGLObjects();

enum class GLObjectKind { kTexture, kFramebuffer, kProgram, kShader };
// Objects of which the filter says true are not made, as when the driver is out of memory.
void SetGLObjectFilter(bool (*refuses)(GLObjectKind));

}  // namespace testing_support
