// The service's log tag.
#pragma once

#include "gl/Log.h"

extern LogTag gServiceLog;
