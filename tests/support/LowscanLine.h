#pragma once

#include <termios.h>

/// The settings of a serial line that the Lowscan FPGA needs.
inline termios RawLine()
{
    termios line{};
    line.c_cflag = CS8;
    line.c_iflag = IXOFF;
    ::cfsetspeed(&line, B3000000);
    return line;
}
