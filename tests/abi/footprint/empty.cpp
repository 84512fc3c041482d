// An empty library with the same dependencies as the library, to compare the cost of loading.
extern "C" __attribute__((visibility("default"))) void footprintNothing();

void footprintNothing() {}
