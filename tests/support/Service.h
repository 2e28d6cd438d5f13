// A started service that stops and goes at the end of its scope.
#pragma once

#include <gtest/gtest.h>
#include <posteffect/PostEffect.h>

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

  private:
    IPostEffect* m_service;
};

}  // namespace testing_support
