#include "framework/StandardStreams.h"
#include "simulator/Options.h"
#include "simulator/unit/VirtualUnit.h"

#include <QCoreApplication>

#include <cstdio>
#include <exception>
#include <string>

namespace
{
constexpr int c_SimulatorFailed = 3;

void PrintError(const std::string& text) { std::fprintf(stderr, "sonarbench-sim: %s\n", text.c_str()); }
} // namespace

int main(int argc, char** argv)
{
    OpenStandardStreams();
    const QCoreApplication application(argc, argv);
    const auto read = ReadOptions(argc, argv);
    if (const auto* const pAnswer = std::get_if<OptionsAnswer_T>(&read)) {
        std::fputs(pAnswer->text.c_str(), pAnswer->exitStatus == 0 ? stdout : stderr);
        return pAnswer->exitStatus;
    }
    try {
        const UnitRun_T run = RunOnVirtualUnit(std::get<Options_T>(read));
        for (const std::string& refusal : run.refusals) {
            PrintError("the device refused: " + refusal);
        }
        for (const std::string& fault : run.unstruckFaults) {
            PrintError("the fault " + fault + " befell nothing: its operation never came");
        }
        if (!run.difference.empty()) {
            PrintError("the program departs from the trace: " + run.difference);
        }
        const bool isGood = run.refusals.empty() && run.unstruckFaults.empty() && run.difference.empty();
        return isGood ? run.exitStatus : c_SimulatorFailed;
    } catch (const std::exception& error) {
        PrintError(error.what());
        return c_SimulatorFailed;
    }
}
