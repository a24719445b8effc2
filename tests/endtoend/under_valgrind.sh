#!/bin/sh
# The program under valgrind; any error is exit status 99. The C library's own clean-up stays off, because it takes
# the environment apart while the texts that the program put there still belong to it.
exec valgrind -q --run-libc-freeres=no --leak-check=full --errors-for-leak-kinds=definite --error-exitcode=99 \
    "$SONARBENCH_PROGRAM" "$@"
