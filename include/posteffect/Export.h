// Marks what libposteffect.so shows to the outside.
#pragma once

#define POSTEFFECT_API __attribute__((visibility("default")))
