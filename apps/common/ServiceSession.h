// One service of the library, owned.
#pragma once

#include <posteffect/PostEffect.h>

#include <chrono>
#include <memory>
#include <new>
#include <thread>

namespace posteffect {

// Creates a service; stops and destroys it at the end of its scope, whichever way that is left.
// Thread: any, one at a time.
class ServiceSession {
  public:
    ServiceSession() : m_service(createPostEffect()) {
        if (m_service == nullptr) throw std::bad_alloc();
    }

    // Makes one call of IPostEffect and repeats it while the service is too busy to take it. The
    // call's status; busy only after two seconds of trying.
    template <typename Call>
    int run(const Call& call) {
        constexpr int kTries = 200;
        int status = kPostEffectBusy;
        for (int i = 0; i < kTries; ++i) {
            status = call(*m_service);
            if (status != kPostEffectBusy) break;
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return status;
    }

  private:
    struct StopAndDestroy {
        void operator()(IPostEffect* service) const {
            service->stop();
            destroyPostEffect(service);
        }
    };

    std::unique_ptr<IPostEffect, StopAndDestroy> m_service;
};

}  // namespace posteffect
