// The one setting of an effect that no parameter text carries.
#pragma once

#include <posteffect/Export.h>

extern "C" {

// The angle of tilt-shift's sharp band in previews, degrees: 0, where it starts, is level; the band
// turns anticlockwise as the angle grows. Exactly 90 and 180 become 89.99 and 179.99 at the next
// frame. One value for the whole process, in force from the next frame on; what is no finite number
// is ignored. Captured images have level bands whatever the angle. Thread: any.
POSTEFFECT_API void setTiltShiftAngle(float degrees);
POSTEFFECT_API float tiltShiftAngle(void);

}  // extern "C"
