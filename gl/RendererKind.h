// What the current context draws with, as far as drawing well depends on it.
#pragma once

#include <posteffect/Export.h>

// Whether the current context's pixels are computed on the CPU. False without a context.
POSTEFFECT_API bool RendersInSoftware();

// Whether to draw in the ways that suit software renderers. The pixels are the same, but for
// curves at places right between two of a table's; a GPU gains nothing from them. By default what
// RendersInSoftware says.
POSTEFFECT_API bool DrawsForSoftware();

// Decides it for all threads; for tests and measurements.
enum class DrawingWay { kByRenderer, kForGPU, kForSoftware };
POSTEFFECT_API void SetDrawingWay(DrawingWay way);
