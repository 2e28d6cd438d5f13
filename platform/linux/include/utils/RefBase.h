// Reference-counted objects and the strong pointer to them.
#pragma once

#include <atomic>
#include <cstddef>
#include <utility>

namespace android {

// Counts the strong pointers to itself and goes with the last. Thread: any.
class RefBase {
  public:
    RefBase(const RefBase&) = delete;
    RefBase& operator=(const RefBase&) = delete;

    void incStrong(const void*) const { m_strong.fetch_add(1, std::memory_order_relaxed); }
    void decStrong(const void*) const {
        if (m_strong.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }
    int getStrongCount() const { return m_strong.load(std::memory_order_relaxed); }

  protected:
    RefBase() = default;
    virtual ~RefBase() = default;

  private:
    mutable std::atomic<int> m_strong{0};
};

template <typename T>
class sp {
  public:
    sp() = default;
    sp(std::nullptr_t) {}
    sp(T* object) : m_object(object) { acquire(); }
    sp(const sp& other) : m_object(other.m_object) { acquire(); }
    sp(sp&& other) noexcept : m_object(std::exchange(other.m_object, nullptr)) {}
    template <typename U>
    sp(const sp<U>& other) : m_object(other.get()) {
        acquire();
    }
    ~sp() { release(); }

    sp& operator=(const sp& other) {
        sp copy(other);
        std::swap(m_object, copy.m_object);
        return *this;
    }
    sp& operator=(sp&& other) noexcept {
        sp moved(std::move(other));
        swap(moved);
        return *this;
    }
    sp& operator=(T* object) { return *this = sp(object); }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }
    void clear() { sp().swap(*this); }
    void swap(sp& other) noexcept { std::swap(m_object, other.m_object); }

    template <typename U>
    bool operator==(const sp<U>& other) const {
        return m_object == other.get();
    }
    template <typename U>
    bool operator!=(const sp<U>& other) const {
        return m_object != other.get();
    }
    bool operator==(const T* other) const { return m_object == other; }
    bool operator!=(const T* other) const { return m_object != other; }
    bool operator==(std::nullptr_t) const { return m_object == nullptr; }
    bool operator!=(std::nullptr_t) const { return m_object != nullptr; }

  private:
    void acquire() {
        if (m_object != nullptr) m_object->incStrong(this);
    }
    void release() {
        if (m_object != nullptr) m_object->decStrong(this);
        m_object = nullptr;
    }

    T* m_object = nullptr;
};

}  // namespace android
