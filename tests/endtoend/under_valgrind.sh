#!/bin/sh
# Runs the program under valgrind; any error gives exit status 99. The C library's own clean-up is off, because it frees
# the environment, which holds constants of the program.
exec valgrind -q --run-libc-freeres=no --leak-check=full --errors-for-leak-kinds=definite --error-exitcode=99 \
    "$SONARBENCH_PROGRAM" "$@"
