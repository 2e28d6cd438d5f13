#pragma once

#include <utils/RefBase.h>
