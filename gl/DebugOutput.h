// In debug builds the driver's own error reports are logged and counted; release builds have none
// of it.
#pragma once

// Installs the report callback in the current context, where the driver has GL_KHR_debug.
void InstallDebugOutput();

// GL errors that drivers have reported in this process so far. Always 0 in release builds.
unsigned ReportedGLErrors();
