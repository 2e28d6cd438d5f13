// One unit of work for the worker, with the lock and condition on which its caller waits.
#pragma once

#include <pthread.h>
#include <ui/GraphicBuffer.h>
#include <utils/RefBase.h>

#include <cstdint>

#include "service/EffectParameters.h"

namespace tessera {

struct GPUTask {
    enum Kind : int32_t {
        kSetParameters = 0,  // parameters
        kStartPreview = 1,   // a2, a3: width, height
        kHandlePreview = 2,  // b0, b1, b2: descriptor, base, offset
        kStopPreview = 3,
        kHandleCapture = 4,  // a2, a3, b0..b3: width, height, descriptor, base, offsets
        kSetCrop = 5,        // a0..a3: x, y, width, height
    };

    GPUTask() {
        pthread_mutex_init(&lock, nullptr);
        pthread_cond_init(&done, nullptr);
    }
    ~GPUTask() {
        buffer.clear();
        pthread_cond_destroy(&done);
        pthread_mutex_destroy(&lock);
    }
    GPUTask(const GPUTask&) = delete;
    GPUTask& operator=(const GPUTask&) = delete;

    pthread_mutex_t lock;  // guards pending and result
    pthread_cond_t done;   // signalled when the result is stored
    bool pending = true;   // the caller has not been released yet
    int32_t result = 0;
    int32_t kind = kSetParameters;
    // Arguments of the public call; wide enough for addresses.
    intptr_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
    android::sp<android::GraphicBuffer> buffer;
    intptr_t b0 = 0, b1 = 0, b2 = 0, b3 = 0;
    EffectParameters parameters;
};

}  // namespace tessera
