// The parent of the program under test inside the sandbox. A program of its own, because it starts with every
// run and needs none of the simulator's libraries.

#include "simulator/ProgramRun.h"

#include <cstdio>
#include <exception>

/// Usage: sonarbench-sim-supervisor ID_FILE STATUS_FILE COMMAND...
int main(int argc, char** argv)
{
    constexpr int c_FirstWord = 3;
    if (argc <= c_FirstWord) {
        std::fputs("sonarbench-sim-supervisor is started by sonarbench-sim alone\n", stderr);
        return 2;
    }
    try {
        return RunSupervised(argv[1], argv[2], {argv + c_FirstWord, argv + argc});
    } catch (const std::exception& error) {
        std::fprintf(stderr, "sonarbench-sim: %s\n", error.what());
        return 3;
    }
}
