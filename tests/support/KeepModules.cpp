// Linked into tests of sanitizer builds: driver modules stay mapped, so that reports name functions
// and leaks their owners.
extern "C" int dlclose(void*) {
    return 0;
}
