// One GStreamer pipeline of a command: made, run to its end, interrupted, explained.
#pragma once

#include <gst/gst.h>

#include <functional>
#include <memory>
#include <string>

#include "apps/posteffect/EffectArguments.h"
#include "apps/posteffect/Failure.h"

namespace posteffect {

// Owns references the way GStreamer counts them.
struct GstUnref {
    void operator()(gpointer object) const { gst_object_unref(object); }
    void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
};
template <typename T>
using GstPointer = std::unique_ptr<T, GstUnref>;

// Starts GStreamer, which also finds the element beside this program. Throws Failure: plug-in
// missing, when the element is not to be found.
void StartGStreamer();

// A new element, floating. Throws Failure that names the package of a missing one.
GstElement* MakeElement(const char* factory, const char* name = nullptr);

// Whether an element of this name can be made.
bool HasElement(const char* factory);

// Sets the element's effect and options.
void SetEffect(GstElement* element, const ChosenEffect& chosen);

class MediaPipeline {
  public:
    // In messages `name` stands for the file or device that is read, `output` for what is written.
    MediaPipeline(std::string name, std::string output);
    // Stops it.
    ~MediaPipeline();
    MediaPipeline(const MediaPipeline&) = delete;
    MediaPipeline& operator=(const MediaPipeline&) = delete;

    GstBin* bin() const { return GST_BIN(m_pipeline.get()); }
    GstElement* element() const { return m_pipeline.get(); }

    // Adds the element and links it behind `previous`, if there is one. The element.
    GstElement* append(GstElement* previous, GstElement* element);

    // Ends the run with this failure; from any thread.
    void fail(const Failure& failure);
    // Runs `work` on the thread that runs the pipeline.
    void post(std::function<void()> work);
    // Sends the end of the stream through the pipeline, so that files are ended properly.
    void finish();

    // Whether pictures have come through; asked at the first signal, which else ends it at once.
    std::function<bool()> hasBegun;
    // Called several times a second while it runs.
    std::function<void()> onTick;

    // Plays until the end of the stream. SIGINT, SIGTERM and SIGHUP finish it, a second one ends it
    // at once. False after the second; throws Failure.
    bool run();
    // Whether a signal ended it.
    bool interrupted() const { return m_signals > 0; }

  private:
    static gboolean OnMessage(GstBus* bus, GstMessage* message, gpointer self);
    static gboolean OnSignal(gpointer self);
    static gboolean OnTick(gpointer self);
    void handle(GstMessage* message);
    void handleError(GstMessage* message);
    void quit();

    std::string m_name;
    std::string m_output;
    GstPointer<GstElement> m_pipeline;
    GMainLoop* m_loop;
    std::unique_ptr<Failure> m_failure;  // the first
    std::string m_missing;               // what a missing-plug-in message asked for
    int m_signals = 0;
};

}  // namespace posteffect
