// pthread's mutex and condition. Under clang, -Wthread-safety proves at compile time that what a
// LOCK_RULE guards is touched with the lock held only, and that no lock stays behind.
#pragma once

#include <pthread.h>

#if defined(__clang__)
#define LOCK_RULE(rule) __attribute__((rule))
#else
#define LOCK_RULE(rule)
#endif

namespace tessera {

class LOCK_RULE(capability("mutex")) Mutex {
  public:
    Mutex() = default;
    ~Mutex() { pthread_mutex_destroy(&m_mutex); }
    Mutex(const Mutex&) = delete;
    Mutex& operator=(const Mutex&) = delete;

  private:
    friend class Condition;
    friend class Lock;

    pthread_mutex_t m_mutex = PTHREAD_MUTEX_INITIALIZER;
};

// Holds the mutex while it lives.
class LOCK_RULE(scoped_lockable) Lock {
  public:
    explicit Lock(Mutex& mutex) LOCK_RULE(acquire_capability(mutex)) : m_mutex(mutex.m_mutex) {
        pthread_mutex_lock(&m_mutex);
    }
    ~Lock() LOCK_RULE(release_capability()) { pthread_mutex_unlock(&m_mutex); }
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

  private:
    pthread_mutex_t& m_mutex;
};

class Condition {
  public:
    Condition() = default;
    ~Condition() { pthread_cond_destroy(&m_condition); }
    Condition(const Condition&) = delete;
    Condition& operator=(const Condition&) = delete;

    // One wait, which may end without a signal.
    void Wait(Mutex& mutex) LOCK_RULE(requires_capability(mutex)) {
        pthread_cond_wait(&m_condition, &mutex.m_mutex);
    }
    void Signal() { pthread_cond_signal(&m_condition); }
    void Broadcast() { pthread_cond_broadcast(&m_condition); }

  private:
    pthread_cond_t m_condition = PTHREAD_COND_INITIALIZER;
};

}  // namespace tessera
