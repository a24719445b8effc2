#include "station/Run.h"

namespace
{
constexpr std::array<const char*, c_Outcomes> c_Names = {"passed", "performed", "failed", "not judged"};
} // namespace

const char* NameOf(Outcome outcome) { return c_Names.at(static_cast<std::size_t>(outcome)); }

void Summary_T::Add(const Run_T& run)
{
    ++runs;
    ++outcomes[static_cast<std::size_t>(run.outcome)];
    claimed += run.claimedCount;
    unrecognised += run.unrecognisedCount;
}
