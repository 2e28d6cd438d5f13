// A started service that stops and goes at the end of its scope.
#pragma once

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>

#include "tests/support/CaptureImage.h"

namespace testing_support {

class Service {
  public:
    Service() : m_service(createPostEffect()) { EXPECT_EQ(m_service->start(), 0); }
    ~Service() {
        m_service->stop();
        destroyPostEffect(m_service);
    }
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    IPostEffect* operator->() const { return m_service; }
    int Choose(const char* parameters) const {
        return m_service->setParameters(android::String8(parameters));
    }
    int Preview(CaptureImage& frame) const { return m_service->handlePreview(-1, frame.data(), 0); }
    int Capture(CaptureImage& image) const {
        return m_service->handleCapture(image.width(), image.height(), -1, image.data(), 0,
                                        image.chromaOffset());
    }

  private:
    IPostEffect* m_service;
};

}  // namespace testing_support
