// The exported way to a service and back.
#include <posteffect/PostEffect.h>

#include "service/GPUPostEffect.h"

IPostEffect* createPostEffect() {
    return new tessera::GPUPostEffect;
}

void destroyPostEffect(IPostEffect* service) {
    delete service;
}
