#include "sonar/SonarTestController.h"

#include <cstdio>
#include <cstdlib>

/// Usage: lost_identity TABLEFILE. Pings as sonarbench does, on a unit whose identity in the environment got
/// damaged after the set-up, and prints what the test reports.
int main(int, char** argv)
{
    CSonarTestController controller;
    setenv("PRODUCT_ID", "X41005", 1);
    std::string output;
    controller.xKPing(&output, QString::fromLatin1(argv[1]), 0, 1);
    std::fputs(output.c_str(), stdout);
    return 0;
}
