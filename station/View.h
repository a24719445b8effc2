#pragma once

/// How pictures are to be drawn: what their reader knows, and no transcript tells.
struct View_T {
    double sampleClock = 0;   ///< samples that the unit takes in a second; 0: not known, no range is shown
    double soundSpeed = 1500; ///< of the water, metres a second
    int width = 80;           ///< columns of the terminal
    bool isAscii = false;     ///< the terminal is given nothing but ASCII
};
