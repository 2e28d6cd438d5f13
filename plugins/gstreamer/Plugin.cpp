// The plug-in that brings the element.
#include <gst/gst.h>

#include "plugins/gstreamer/PostEffectElement.h"

#define PACKAGE "posteffect"

static gboolean InitPlugin(GstPlugin* plugin) {
    return gst_element_register(plugin, "posteffect", GST_RANK_NONE, PostEffectElementType());
}

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, posteffect, "GPU effects on raw video",
                  InitPlugin, POSTEFFECT_VERSION, "Apache 2.0", "posteffect", "posteffect")
