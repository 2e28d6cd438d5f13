// The exported way to a service and back.
#include <posteffect/PostEffect.h>

#include <new>

#include "service/GPUPostEffect.h"

IPostEffect* createPostEffect() {
    return new (std::nothrow) tessera::GPUPostEffect;
}

void destroyPostEffect(IPostEffect* service) {
    delete service;
}
