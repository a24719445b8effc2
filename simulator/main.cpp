#include "framework/StandardStreams.h"
#include "simulator/Options.h"
#include "simulator/trace/TraceCheck.h"
#include "simulator/unit/RunGuard.h"
#include "simulator/unit/VirtualUnit.h"
#include "tools/Program.h"

#include <algorithm>
#include <stdexcept>

namespace
{
constexpr int c_SimulatorFailed = 3;

int RunSimulator(const QStringList& arguments)
{
    const auto options = ReadOptions(arguments);
    if (!options) {
        return 0;
    }
    if (const auto& trace = options->check) {
        const std::vector<AssumptionResult_T> results = CheckTrace(*trace, *options->product);
        Print(TraceCheckText(results, trace->name));
        return std::ranges::any_of(results, [](const auto& result) { return result.line != 0; }) ? 1 : 0;
    }
    try {
        const UnitRun_T run = RunOnVirtualUnit(*options);
        std::ranges::for_each(run.complaints, PrintError);
        if (run.isTimeUp) {
            PrintError(CRunGuard::c_TimeIsUpText);
            return CRunGuard::c_TimeIsUp;
        }
        return run.complaints.empty() ? run.exitStatus : c_SimulatorFailed;
    } catch (const std::filesystem::filesystem_error& error) {
        throw std::runtime_error(error.path1().string() + ": " + error.code().message());
    }
}
} // namespace

int main(int argc, char** argv)
{
    // The program gets these streams, and opens closed ones in the same way.
    OpenStandardStreams();
    return RunProgram("sonarbench-sim", c_SimulatorFailed, argc, argv, RunSimulator);
}
