// Whole preview frames through the service, against the GL calls of the same passes and nothing
// else; their stages; and what the first use of an effect takes.
#include <GLES2/gl2.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>

#include "bench/Benchmarks.h"
#include "bench/Cost.h"
#include "bench/EffectRun.h"
#include "bench/GLCalls.h"
#include "engine/PackedRows.h"
#include "engine/SemiPlanarRect.h"

namespace bench {

namespace {

using posteffect::EffectInfo;

constexpr int kWarmUpFrames = 2;

// Frames that are alike from here on: programs are compiled, parameters are set.
bool WarmUp(EffectRun& run) {
    for (int i = 0; i < kWarmUpFrames; ++i) {
        run.refill();
        if (!run.frame()) return false;
    }
    return true;
}

// What the service does for a frame besides its GL calls: the conversion to the pixels that it
// uploads, and the copies of those that it reads back.
class Copies {
  public:
    Copies(Size size, const GLRecorder& recorder)
        : m_size(size), m_recorder(recorder), m_source(MakePlanes(size)), m_planes(m_source) {}

    void convert() {
        for (const GLRecorder::Pixels& pixels : m_recorder.uploaded()) {
            if (pixels.size != 4 * LumaBytes(m_size)) continue;
            const std::uint8_t* luma = m_source.data();
            posteffect::ConvertSemiPlanarRect(pixels.first, m_size.width, m_size.height, luma,
                                              luma + LumaBytes(m_size), m_size.width, m_size.height,
                                              0, 0, m_size.width, m_size.height);
        }
    }
    void copyBack() {
        if (readsPixels()) return pack();
        std::size_t at = 0;
        for (const GLRecorder::Pixels& pixels : m_recorder.read()) {
            const std::size_t size = std::min(pixels.size, m_planes.size() - at);
            std::memcpy(m_planes.data() + at, pixels.first, size);
            at += size;
        }
        benchmark::ClobberMemory();
    }

  private:
    // Whether the picture is read, and not the planes that it was drawn as.
    bool readsPixels() const {
        std::size_t bytes = 0;
        for (const GLRecorder::Pixels& pixels : m_recorder.read()) bytes += pixels.size;
        return bytes == 4 * LumaBytes(m_size);
    }
    void pack() {
        const auto width = static_cast<std::size_t>(m_size.width);
        std::uint8_t* luma = m_planes.data();
        std::uint8_t* chroma = luma + LumaBytes(m_size);
        for (const GLRecorder::Pixels& pixels : m_recorder.read()) {
            const std::uint8_t* end = pixels.first + pixels.size;
            for (const std::uint8_t* upper = pixels.first; upper < end; upper += 8 * width) {
                posteffect::PackLumaRow(luma, upper, 2 * width);
                posteffect::PackChromaRow(chroma, upper, upper + 4 * width, width / 2);
                luma += 2 * width;
                chroma += width;
            }
        }
        benchmark::ClobberMemory();
    }

    Size m_size;
    const GLRecorder& m_recorder;
    std::vector<std::uint8_t> m_source;
    std::vector<std::uint8_t> m_planes;
};

// Takes its turn with the service on the service's own thread, so both see the same machine.
class BareChain {
  public:
    explicit BareChain(EffectRun& run) : m_run(run), m_copies(run.size(), m_recorder) {
        m_run.refill();
        Listen(&m_recorder);
        m_run.frame();
        Listen(nullptr);
    }

    void onServiceThread(const std::function<void()>& work) {
        GLErrand errand(work);
        m_run.refill();
        Listen(&errand);
        m_run.frame();
        Listen(nullptr);
    }
    // The GL calls, and all of the frame's work; one after the other.
    void measure(Cost* calls, Cost* passes) {
        onServiceThread([&] {
            *calls = CostOf([&] { m_recorder.replay(); });
            *passes = CostOf([&] {
                m_copies.convert();
                m_recorder.replay();
                m_copies.copyBack();
            });
        });
    }
    // Whether the calls alone give the picture that the service gives.
    bool drawsTheSame() {
        bool same = false;
        onServiceThread([&] { same = m_recorder.replaysTheSame(); });
        return same;
    }

  private:
    EffectRun& m_run;
    GLRecorder m_recorder;
    Copies m_copies;
};

void Preview(benchmark::State& state, const EffectInfo& effect, Size size) {
    EffectRun run(effect, size);
    if (!WarmUp(run)) return state.SkipWithError("no frame");
    BareChain bare(run);
    if (!bare.drawsTheSame()) return state.SkipWithError("the bare calls draw something else");
    Median wall;
    Median cpu;
    Median overCalls;
    Median overPasses;
    for (auto _ : state) {
        run.refill();
        const Cost frame = CostOf([&] { run.frame(); });
        Cost calls;
        Cost passes;
        bare.measure(&calls, &passes);
        state.SetIterationTime(frame.wall);
        wall.add(frame.wall);
        cpu.add(frame.cpu);
        overCalls.add(frame.cpu / calls.cpu - 1.0);
        overPasses.add(frame.cpu / passes.cpu - 1.0);
    }
    state.counters["wall_ms"] = 1e3 * wall.value();
    state.counters["cpu_ms"] = 1e3 * cpu.value();
    state.counters["over_gl_calls"] = overCalls.value();
    state.counters["over_passes"] = overPasses.value();
}

enum Stage {
    kConvert,
    kUpload,
    kReduced,
    kEffect,
    kLuma,
    kChroma,
    kReadBack,
    kCopy,
    kRest,
    kStages
};
constexpr std::array<const char*, kStages> kStageNames = {
    "convert", "upload", "reduced", "effect", "luma", "chroma", "read_back", "copy", "rest"};

// Waits for the GPU after each call that works, and books what went by.
class StageTimer : public GLListener {
  public:
    explicit StageTimer(Size size) : m_size(size) {}

    void begin() {
        m_spent.fill(0.0);
        m_between = kConvert;
        m_last = Now().cpu;
    }
    void end() { book(m_between); }
    const std::array<double, kStages>& spent() const { return m_spent; }

    void before(GLWork work, const std::function<void()>&) override {
        if (work >= GLWork::kDraw) book(m_between);
    }
    void after(GLWork work) override {
        if (work < GLWork::kDraw) return;
        WaitForGL();
        book(StageOf(work));
        // What lies behind the last read-back is the copy; before it, frames set state.
        m_between = work == GLWork::kReadBack ? kCopy : kRest;
    }

  private:
    void book(Stage stage) {
        const double now = Now().cpu;
        m_spent[stage] += now - m_last;
        m_last = now;
    }
    // The packed planes have a fourth of the frame's width.
    Stage StageOf(GLWork work) const {
        if (work == GLWork::kUpload) return kUpload;
        if (work == GLWork::kReadBack) return kReadBack;
        if (work == GLWork::kWait) return kRest;
        std::array<GLint, 4> viewport{};
        glGetIntegerv(GL_VIEWPORT, viewport.data());
        const int columns = viewport[2];
        const int rows = viewport[3];
        if (columns == m_size.width && rows == m_size.height) return kEffect;
        if (columns == (m_size.width + 3) / 4 && rows == m_size.height) return kLuma;
        if (columns == (m_size.width + 3) / 4 && rows == m_size.height / 2) return kChroma;
        return kReduced;
    }

    Size m_size;
    Stage m_between = kConvert;
    double m_last = 0.0;
    std::array<double, kStages> m_spent{};
};

void Stages(benchmark::State& state, const EffectInfo& effect, Size size) {
    EffectRun run(effect, size);
    if (!WarmUp(run)) return state.SkipWithError("no frame");
    StageTimer timer(size);
    std::array<Median, kStages> stages;
    Median total;
    for (auto _ : state) {
        run.refill();
        Listen(&timer);
        const Cost frame = CostOf([&] {
            timer.begin();
            run.frame();
            timer.end();
        });
        Listen(nullptr);
        state.SetIterationTime(frame.wall);
        total.add(frame.cpu);
        for (std::size_t i = 0; i < kStages; ++i) stages[i].add(timer.spent()[i] / frame.cpu);
    }
    state.counters["cpu_ms"] = 1e3 * total.value();
    for (std::size_t i = 0; i < kStages; ++i) state.counters[kStageNames[i]] = stages[i].value();
}

// Once, in a process of its own: bench/first-use.sh.
void FirstUse(benchmark::State& state, const EffectInfo& effect) {
    const EffectInfo& other = posteffect::kEffects[effect.number == posteffect::kEffectVignette
                                                       ? posteffect::kEffectMirror
                                                       : posteffect::kEffectVignette];
    const auto milliseconds = [](Cost cost) { return 1e3 * cost.cpu; };
    bool done = true;
    for (auto _ : state) {
        const Cost before = Now();
        EffectRun run(other, {1280, 720});
        done = run.frame();
        state.counters["start_ms"] = milliseconds(Now() - before);
        const auto use = [&](const EffectInfo& chosen) {
            return milliseconds(CostOf([&] {
                run.choose(chosen);
                done = run.frame() && done;
            }));
        };
        state.counters["first_use_ms"] = use(effect);
        use(other);
        state.counters["second_use_ms"] = use(effect);
        state.counters["frame_ms"] = milliseconds(CostOf([&] { run.frame(); }));
    }
    if (!done) state.SkipWithError("no frame");
}

}  // namespace

void RegisterPreviews() {
    for (const Size size : kFrameSizes) {
        const struct {
            const char* name;
            void (*run)(benchmark::State&, const EffectInfo&, Size);
        } families[] = {{"Preview_", Preview}, {"Stages_", Stages}};
        for (const auto& family : families) {
            ForEachEffect([&](const EffectInfo& effect) {
                const std::string name = family.name + SizeText(size) + "/" + effect.nick;
                Register(name, [&effect, size, run = family.run](benchmark::State& state) {
                    run(state, effect, size);
                });
            });
        }
    }
}

void RegisterFirstUses() {
    ForEachEffect([](const EffectInfo& effect) {
        const std::string name = std::string("FirstUse/") + effect.nick;
        Register(name, [&effect](benchmark::State& state) {
            FirstUse(state, effect);
        })->Iterations(1);
    });
}

}  // namespace bench
