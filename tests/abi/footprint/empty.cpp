// Stands for the library where its loading is measured: the same dependencies, and nothing in it.
extern "C" __attribute__((visibility("default"))) void footprintNothing();

void footprintNothing() {}
