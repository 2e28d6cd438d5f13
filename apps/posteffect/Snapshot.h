// One frame of a moving picture as a JPEG file.
#pragma once

#include <gst/gst.h>

#include <string>

namespace posteffect {

// A frame of semi-planar video whose format `caps` tell, its colours converted to the ones that
// JPEG files have. Throws Failure: cannot be written.
void WriteSnapshot(const std::string& path, GstBuffer* buffer, const GstCaps* caps, bool overwrite);

}  // namespace posteffect
