// Stands before the GL functions that frames call, in this executable, and lets one listener hear
// of each call before and after it reaches the driver.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

namespace bench {

enum class GLWork { kQuery, kState, kDraw, kUpload, kReadBack, kWait };

// Called on the thread that calls GL.
class GLListener {
  public:
    GLListener() = default;
    virtual ~GLListener() = default;
    GLListener(const GLListener&) = delete;
    GLListener& operator=(const GLListener&) = delete;

    // `call` makes the call again, as often and as late as wanted.
    virtual void before(GLWork, const std::function<void()>& /*call*/) {}
    virtual void after(GLWork) {}
    // Stands in for memory that the caller may take back when its call returns.
    virtual const void* keep(const void* bytes, std::size_t) { return bytes; }
    // Where 32-bit pixels are read to, and uploaded from.
    virtual void reads(void* /*pixels*/, std::size_t) {}
    virtual void uploads(const void* /*pixels*/, std::size_t) {}
};

// Null for none. Change it only while no thread calls GL, or from within a listener.
void Listen(GLListener* listener);

// glFinish, unheard.
void WaitForGL();

// What a frame asks of GL, less what it only enquires.
class GLRecorder : public GLListener {
  public:
    void before(GLWork work, const std::function<void()>& call) override;
    const void* keep(const void* bytes, std::size_t size) override;
    void reads(void* pixels, std::size_t size) override;
    void uploads(const void* pixels, std::size_t size) override;

    // On the thread, and in the state, in which the recorded calls began.
    void replay() const;
    // Whether that reads the pixels again that lie where they were last read to.
    bool replaysTheSame() const;

    struct Pixels {
        std::uint8_t* first;
        std::size_t size;
    };
    const std::vector<Pixels>& read() const { return m_read; }
    const std::vector<Pixels>& uploaded() const { return m_uploaded; }

  private:
    std::vector<Pixels> m_read;
    std::vector<Pixels> m_uploaded;
    std::vector<std::function<void()>> m_calls;
    std::deque<std::vector<std::uint8_t>> m_kept;
};

// Runs `work` on the thread that calls GL next, before that call.
class GLErrand : public GLListener {
  public:
    explicit GLErrand(std::function<void()> work) : m_work(std::move(work)) {}
    void before(GLWork work, const std::function<void()>& call) override;

  private:
    std::function<void()> m_work;
};

}  // namespace bench
