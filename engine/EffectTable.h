// From effect number to effect class: the one place of the engine that knows the effects.
#pragma once

class GEShader;

// A new, uninitialised effect that the caller owns; null for a number that has no class (0, numbers
// outside the table, effects that are not part of this release).
GEShader* CreateEffect(unsigned int number);
