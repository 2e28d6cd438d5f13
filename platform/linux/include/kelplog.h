// Which messages of a tag are wanted.
#pragma once

extern "C" {

// Sets *mask to the bits of the levels wanted for `tag` (0x2 debug, 0x4 info, 0x10 error), as far
// as `initial` has them. POSTEFFECT_LOG in the environment says which: "none", "error" (the
// default), "info", "debug" or "all" for every tag, or "TAG=LEVEL" for one, joined by commas; a
// level includes the more severe ones.
void __kelplog_init_mask(const char* tag, unsigned initial, unsigned* mask);

}  // extern "C"
