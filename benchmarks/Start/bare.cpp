// A C++ program without the library.
#include "benchmarks/Start/status.h"

int main() { return printStatus(); }
