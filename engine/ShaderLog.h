// The log tag that the effect base and its converter share.
#pragma once

#include "gl/Log.h"

extern LogTag gShaderLog;
