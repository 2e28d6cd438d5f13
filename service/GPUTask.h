// One unit of work for the worker, with the lock and condition on which its caller waits.
//
// Owned by whoever took it from the queue's pool until it is handed to runTask. The caller fills it
// before it is queued, the worker reads it while it runs; only pending and result are shared.
#pragma once

#include <ui/GraphicBuffer.h>
#include <utils/RefBase.h>

#include <cstdint>
#include <utility>

#include "service/EffectParameters.h"
#include "service/Mutex.h"

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

    // The worker's side: stores the result and lets the caller go.
    void Complete(int32_t value) {
        const Lock guard(lock);
        result = value;
        if (!pending) return;
        pending = false;
        // Under the lock: once it is let go, the caller may free the record.
        done.Signal();
    }

    // The caller's side: the result, once it is there. Leaves the record ready for reuse.
    int32_t Await() {
        const Lock guard(lock);
        while (pending) done.Wait(lock);
        pending = true;
        return std::exchange(result, 0);
    }

    Mutex lock;
    Condition done;                                   // signalled when the result is stored
    bool pending LOCK_RULE(guarded_by(lock)) = true;  // the caller has not been let go yet
    int32_t result LOCK_RULE(guarded_by(lock)) = 0;
    int32_t kind = kSetParameters;
    // Arguments of the public call; wide enough for addresses.
    intptr_t a0 = 0, a1 = 0, a2 = 0, a3 = 0;
    android::sp<android::GraphicBuffer> buffer;
    intptr_t b0 = 0, b1 = 0, b2 = 0, b3 = 0;
    EffectParameters parameters;
};

// An address that travelled as an argument.
inline uint8_t* AddressArgument(intptr_t argument) {
    return reinterpret_cast<uint8_t*>(argument);  // NOLINT(performance-no-int-to-ptr)
}

}  // namespace tessera
