// The size of the device's display, on whose grid the second parameter group places its points.
// Kept for each worker thread, so that services of one process do not meet. Thread: the worker.
#pragma once

// Pixels, landscape whatever the panel's orientation. 960 x 544 until a display was read.
extern thread_local int g_Disp_Width;
extern thread_local int g_Disp_Height;

// Reads the framebuffer device, where there is one; else the size stays as it is.
void ReadDisplaySize();
