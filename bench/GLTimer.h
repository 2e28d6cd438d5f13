// Time spent inside the driver, measured by standing before its functions in this executable.
#pragma once

namespace bench {

// Seconds that all threads have spent inside the timed GL functions.
double SecondsInGL();

}  // namespace bench
