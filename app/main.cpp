#include "app/CommandTable.h"
#include "framework/StandardStreams.h"
#include "sonar/SonarTestController.h"

#include <cstdio>

/// Runs one command on the unit and prints its report. The exit status is always 0; the verdict is in the
/// text.
int main(int argc, char* argv[])
{
    OpenStandardStreams();
    CSonarTestController controller;

    std::string output = std::string(51, '-') + "\n";
    std::string commandLine;
    for (int i = 0; i < argc; ++i) {
        commandLine += std::string(argv[i]) + " ";
    }
    output += commandLine + "\n" + "\nTest Output: \n";

    std::string enabling;
    TestResult_T result = TEST_FAILED;
    if (controller.EnableSonar(&enabling) == OPERATION_PERFORMED) {
        result = RunCommand(controller, argc, argv, output);
    } else {
        controller.Message("ERROR: Cannot enable Sonar.\n" + enabling, &output, false, true);
    }

    controller.ReportResult(output, commandLine, result);
    if (std::ferror(stdout) != 0) {
        std::fputs("sonarbench: could not write the whole report to standard output\n", stderr);
    }
    return 0;
}
