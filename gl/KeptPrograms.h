// Linked programs that stay when their user goes, for the next one with the same texts: software
// renderers take as long to build a program as to draw a frame with it.
//
// Each belongs to the context that was current when it was kept; of those in use none is deleted,
// of the others the ones used last stay. Thread: the worker.
#pragma once

#include <EGL/egl.h>
#include <GLES2/gl2.h>
#include <posteffect/Export.h>

#include <string>

// The kept program of these texts, in use until ReturnProgram; 0 when there is none.
GLuint BorrowProgram(const std::string& vertexText, const std::string& fragmentText);
// Keeps a program that has just been linked. It is in use, too.
void KeepProgram(const std::string& vertexText, const std::string& fragmentText, GLuint program);
// False for a program that is not kept; whoever has it deletes it.
bool ReturnProgram(GLuint program);

// Deletes the context's programs: before it goes. Those that are still in use are their users' own
// from then on.
POSTEFFECT_API void DeleteKeptPrograms(EGLContext context);
