// The effect manager's log tag.
#pragma once

#include "gl/Log.h"

extern LogTag gManagerLog;
