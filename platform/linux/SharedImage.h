// EGL images over graphics buffers, emulated: the texture has storage of its own, and a cache
// operation on the buffer moves the pixels between the two. A buffer that the CPU fills is
// uploaded; one whose texture was a colour attachment is read back.
//
// Images belong to the thread that made them, as its context does. Thread: each its own images.
#pragma once

#include <EGL/egl.h>
#include <EGL/eglext.h>
#include <GLES2/gl2.h>
#include <GLES2/gl2ext.h>

#include <cstddef>

namespace platform {

// As eglCreateImageKHR for EGL_NATIVE_BUFFER_ANDROID; the image holds a reference on the buffer.
// EGL_NO_IMAGE_KHR, without an EGL error, for anything that is no graphics buffer with memory for
// all its rows.
EGLImageKHR EGLAPIENTRY CreateSharedImage(EGLDisplay display, EGLContext context, EGLenum target,
                                          EGLClientBuffer buffer, const EGLint* attributes);
EGLBoolean EGLAPIENTRY DestroySharedImage(EGLDisplay display, EGLImageKHR image);
// As glEGLImageTargetTexture2DOES: gives the bound texture storage of the buffer's allocated size
// and its present content. An image has one texture, the last, and a texture one image. Unknown
// images are passed over. Destroy the image before its texture, or at least before the texture's
// name can be used again.
void GL_APIENTRY BindSharedImage(GLenum target, GLeglImageOES image);

void NoteSharedImageTarget(GLuint texture);

// The cache operation over (base, fd): 0, also for memory that belongs to no image of this thread;
// negative when the pixels could not be moved.
int SynchronizeSharedImage(const void* base, int fd);

}  // namespace platform
