// The GStreamer element "posteffect": the library's effects on raw video, in place.
#pragma once

#include <gst/gst.h>

GType PostEffectElementType();
