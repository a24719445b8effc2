#include "station/judge/Judgement.h"

#include "station/transcript/Commands.h"
#include "station/transcript/Pattern.h"
#include "station/transcript/RunFile.h"

using namespace Evidence;

namespace
{
/// Why a run with the verdict passed or performed is not judged so; null: it is.
const char* Objection(const Run_T& run)
{
    const Facts_T& facts = run.facts;
    const CommandText_T* const row = TextOf(run.command);
    if (row == nullptr) {
        return "the command is unknown";
    }
    if (run.commandLine.find('\n') != Bytes_T::npos) {
        return "the command line contains a line end";
    }
    if (facts.verdict != row->verdict || run.arguments.size() < row->arguments) {
        return "the command does not end with this verdict";
    }
    const bool isStopHalf = ((facts.evidence & c_StopAsked) == 0) != ((facts.evidence & c_StopAnswered) == 0);
    const unsigned int seen = facts.evidence | ((facts.evidence & c_GainPerhaps) != 0 ? c_GainAccepted : 0);
    if ((seen & row->required) != row->required || isStopHalf) {
        return "part of what the command prints is missing";
    }
    if (!IsAllowed(*row, facts.evidence)) {
        return "there are lines that the command does not print";
    }
    if (!facts.hasFirmware) {
        return "the firmware version means that no firmware is loaded";
    }
    if (row->samples != 0 && run.samples.values.size() != row->samples) {
        return "the number of samples is not the one that the command prints";
    }
    return row->objection == nullptr ? nullptr : row->objection(run);
}

void Decide(Run_T& run, Outcome outcome, std::string_view reason)
{
    run.outcome = outcome;
    run.reason = reason;
}

/// Whether the report came to its end; decides the run otherwise.
bool IsWhole(Run_T& run)
{
    const Facts_T& facts = run.facts;
    const bool hasVerdict = facts.verdict != Verdict::None && facts.verdict != Verdict::NotValid;
    if (hasVerdict && facts.hasReport && (facts.verdict != Verdict::Failed || facts.hasUnitData)) {
        return true;
    }
    const char* const reason = facts.showsUsage ? "the usage was shown, and nothing was tested"
                               : facts.verdict == Verdict::NotValid ? "the program has no valid result"
                               : !facts.hasReport                   ? "there is no report"
                               : hasVerdict                         ? "the unit's data is incomplete"
                                                                    : "the report has no verdict";
    // If it is known why the program ended, that is the better reason.
    Decide(run, Outcome::NotJudged, facts.untested.empty() || hasVerdict ? Bytes_T(reason) : facts.untested);
    return false;
}

void Measure(Run_T& run)
{
    const CommandText_T* const row = TextOf(run.command);
    const auto value = DecimalNumber(run.facts.reading);
    if (row != nullptr && row->measurement != nullptr && value) {
        // Only a value from the FPGA's readings is in degrees; a file has the units of its driver.
        run.measurements.push_back(
            {row->measurement, *value, (run.facts.evidence & c_Version) != 0 ? "degC" : ""});
    }
}
/// Why the run file says that nothing can be said about the unit; empty: it does not.
Bytes_T RecordObjection(const Run_T& run)
{
    const Record_T& record = run.record;
    if (!record.isThere) {
        return {};
    }
    const Bytes_T serialNumber = HeaderValue(Trimmed(run.unit.serialNumber));
    if (!serialNumber.empty() && serialNumber != record.unit) {
        return "the unit's serial number is " + serialNumber + ", not " + record.unit;
    }
    // If it is known why the program ended, that is the better reason.
    return record.stopped.empty() && !run.facts.untested.empty() ? Bytes_T() : record.objection;
}
} // namespace

void Judge(Run_T& run)
{
    const Facts_T& facts = run.facts;
    Measure(run);
    if (const Bytes_T objection = RecordObjection(run); !objection.empty()) {
        return Decide(run, Outcome::NotJudged, objection);
    }
    if (facts.verdict != Verdict::None && !facts.denial.empty()) {
        return Decide(run, Outcome::NotJudged, "after the verdict comes: " + facts.denial);
    }
    if (!IsWhole(run)) {
        return;
    }
    if (!facts.untested.empty()) {
        return Decide(run, Outcome::NotJudged, facts.untested);
    }
    const bool isFailed = facts.verdict == Verdict::Failed;
    if (isFailed && !facts.fault.empty()) {
        return Decide(run, Outcome::Failed, facts.fault);
    }
    if (facts.isSpoiled) {
        return Decide(run, Outcome::NotJudged, "it contains unrecognised lines");
    }
    if (isFailed) {
        return Decide(run, Outcome::NotJudged, "no reason was printed");
    }
    for (const Bytes_T* pError : {&facts.fault, &facts.complaint}) {
        if (!pError->empty()) {
            return Decide(run, Outcome::NotJudged, *pError);
        }
    }
    if (const char* const objection = Objection(run)) {
        return Decide(run, Outcome::NotJudged, objection);
    }
    Decide(run, facts.verdict == Verdict::Passed ? Outcome::Passed : Outcome::Performed, {});
}
