#include "program.h"

int main(int argc, char** argv) { return aipqctl::run(argc, argv); }
