// The library's front door: one service object that applies GPU effects to camera frames.
//
// Frames are YUV 4:2:0 semi-planar, full-range BT.601: a luma plane of one byte a pixel, then a
// chroma plane of half the height whose rows hold V, U byte pairs. All sizes are in pixels, all
// offsets in bytes.
//
// Order of use: createPostEffect, start, setParameters, startPreview, then any number of
// handlePreview, handleCapture, setCrop and setParameters, stopPreview, stop, destroyPostEffect.
//
// Threads: operations may be called from any thread; each blocks until the service's worker has
// done the work (so call start() first: without a worker, callers wait for one). At most two calls
// wait while a third runs; a further caller gets kPostEffectBusy at once and may try again.
// destroyPostEffect must not be called while another call is inside the service.
#pragma once

#include <posteffect/Export.h>
#include <utils/String8.h>

// What the operations of IPostEffect return.
enum PostEffectStatus : int {
    kPostEffectNotStarted = -1,    // preview has not been started
    kPostEffectOk = 0,             // done; also for frames that pass through untouched
    kPostEffectCancelled = 1,      // stop() came first; the call's buffers were not touched
    kPostEffectNoEffect = 2,       // GPU or effect could not be set up; the frame is untouched
    kPostEffectCaptureFailed = 3,  // the captured image could not be processed; it is untouched
    kPostEffectBusy = 99,          // queue full, or no thread or no memory to be had
};

class IPostEffect {
  public:
    virtual ~IPostEffect() = default;

    // Starts the worker thread; harmless when it runs already. 0, or 99 when no thread could be
    // created. A GPU that cannot be used shows in the first frame (2) or capture (3).
    virtual int start() = 0;

    // Cancels the waiting calls (they return 1), ends the worker and waits for its end. A capture
    // that is being processed is finished first. Always 0; start() may be called again.
    virtual int stop() = 0;

    // Sets the size of the preview frames to come, which is also the size of the blocks in which
    // captured images are processed. Both even, at least 2, at most what the GPU can render to:
    // other sizes are taken, too, but frames answer 2 and captures 3 then.
    virtual int startPreview(int width, int height) = 0;

    // Applies the effect to one preview frame in place. The frame begins `offset` bytes after
    // `base`, its planes are tightly packed (width x height luma bytes, then width x height / 2
    // chroma bytes). `fd` is the descriptor behind the mapping, for cache maintenance. The memory
    // must stay mapped until the call returns. -1 before startPreview; 2 with the frame untouched
    // when the effect could not be set up.
    virtual int handlePreview(int fd, void* base, int offset) = 0;

    // Ends the preview and releases the effect.
    virtual int stopPreview() = 0;

    // Applies the effect to one captured image in place, in blocks of the preview size. Luma begins
    // at base + yOffset, chroma at base + yOffset + uvOffset; rows are `width` bytes long. 3 with
    // the image untouched when it could not be processed. Does nothing (0) without an effect.
    virtual int handleCapture(int width, int height, int fd, void* base, int yOffset,
                              int uvOffset) = 0;

    // Selects the effect and its parameters from flattened camera parameters
    // ("GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272").
    virtual int setParameters(const android::String8& params) = 0;

    // Shows only this rectangle of the frames to come, enlarged to the whole frame, with the
    // effects that can. In pixels of the frame that is processed next: send it again when a capture
    // has another size than the preview. Previews lose it with each change of effect or size, and
    // with each capture. Does nothing (0) without an effect.
    virtual int setCrop(int x, int y, int width, int height) = 0;
};

extern "C" {

// A new service, without a worker yet. Null only when there is no memory for it.
POSTEFFECT_API IPostEffect* createPostEffect();

// Deletes a stopped service. Null does nothing.
POSTEFFECT_API void destroyPostEffect(IPostEffect* service);

}  // extern "C"
