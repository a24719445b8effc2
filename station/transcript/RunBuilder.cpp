#include "station/transcript/RunBuilder.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::string_view c_GainAcceptedLine = "3";
constexpr std::string_view c_Error = "ERROR: ";
constexpr std::string_view c_ScriptOutput = "Out: ";

/// False for a rule so short that the contents of a file may look like it.
bool IsTelling(const Rule_T& rule) { return rule.pattern.size() > 3; }

/// Whether the text, after a verdict, contradicts it: another verdict, the end of a program that crashed, or
/// an error of a report. Operators may write anything else between runs.
bool Denies(std::string_view text)
{
    constexpr std::string_view c_Parts[] = {"Test Result:", "NO VALID RETURN VALUE", c_Error, "Aborted",
                                            "Segmentation fault"};
    const auto isIn = [text](std::string_view part) { return text.find(part) != std::string_view::npos; };
    return std::ranges::any_of(c_Parts, isIn) ||
           std::ranges::any_of(RulesFor(text), [text](const Rule_T* pRule) {
               return (pRule->isEnd || (pRule->place == Place::Report && pRule->effect != Effect::None)) &&
                      MatchRule(*pRule, text);
           });
}

/// The verdict at the end of the text, empty if there is none. A path has no end mark, so a verdict can
/// follow it on the same line.
std::string_view VerdictAtEnd(std::string_view text)
{
    const auto verdicts = VerdictLines();
    const auto verdict = std::ranges::find_if(
        verdicts, [text](const VerdictLine_T& line) { return text.ends_with(line.text); });
    return verdict == verdicts.end() ? std::string_view() : verdict->text;
}
} // namespace

CRunBuilder::CRunBuilder(Bytes_T transcript, Consumer_T consumer)
    : m_Transcript(std::move(transcript)), m_Consumer(std::move(consumer))
{
    m_Run.transcript = m_Transcript;
}

void CRunBuilder::Take(const ReadLine_T& line)
{
    m_Number = line.number;
    // The program prints no zero bytes.
    const bool isText = line.isWhole && line.text.find('\0') == std::string_view::npos;
    if (line.text.empty() && m_Section != Section::UnitData) {
        m_FirstBlank = m_Blanks++ == 0 ? m_Number : m_FirstBlank;
        return;
    }
    if (isText && TakeLine(line.text)) {
        m_IsBegun = true;
        ClaimBlanks();
        ++m_Run.claimedCount;
    } else {
        TakeDenial(line.text);
        DisownBlanks();
        AddUnrecognised(m_Number, line.text);
    }
    m_Run.firstLine = m_Run.firstLine == 0 ? m_Number : m_Run.firstLine;
    m_Run.lastLine = m_Number;
}

void CRunBuilder::TakeAside(const Line_T& line)
{
    const auto rules = RulesFor(line.text);
    const auto rule = std::ranges::find_if(rules, [&line](const Rule_T* pCandidate) {
        return pCandidate->place == Place::Aside && pCandidate->take == nullptr &&
               MatchRule(*pCandidate, line.text);
    });
    if (rule == rules.end()) {
        m_Run.Keep({line, Place::Aside, false});
    } else {
        m_Number = line.number;
        AddMessage(**rule, line.text);
    }
}

void CRunBuilder::End()
{
    DisownBlanks();
    m_Run.facts.isRest = m_IsSettled && !m_IsBegun && m_Run.facts.complaint.empty();
    HandOver();
}

void CRunBuilder::Settle()
{
    if (m_Section == Section::Done) {
        DisownBlanks();
        HandOver();
        Restart();
        m_IsSettled = true;
    }
}

bool CRunBuilder::TakeLine(std::string_view text)
{
    if (text.ends_with(c_Header)) {
        return TakeHeader(text.substr(0, text.size() - c_Header.size()));
    }
    return m_Section == Section::CommandLine ? TakeCommandLine(text) : TakePiece(text);
}

bool CRunBuilder::TakeHeader(std::string_view glued)
{
    const bool isDenial = !glued.empty() && TakeDenial(glued);
    // Only these can be without their line end.
    const bool canGlue = m_Free == Free::Path || m_Free == Free::Output || glued.starts_with(c_ScriptOutput);
    if (m_Section != Section::Before) {
        BeginRun();
    }
    const bool isClaimed = isDenial || glued.empty() || (canGlue && TakePiece(glued));
    if (m_Section != Section::Before) {
        BeginRun(); // the text before it ended a run
    }
    if (m_IsBegun && m_Free != Free::Output) {
        DisownBlanks();
    }
    m_Section = Section::CommandLine;
    m_Free = Free::Nothing;
    m_Header = {m_Number, m_Run.claimedCount, m_Run.unrecognisedCount};
    return isClaimed;
}

/// A command line has several lines if an argument has.
bool CRunBuilder::TakeCommandLine(std::string_view text)
{
    Bytes_T& commandLine = m_Run.commandLine;
    if (commandLine.empty() && m_Blanks == 0 && text.ends_with(' ')) {
        commandLine = text;
        return true;
    }
    if (text == c_TestOutput && m_Blanks == 1) {
        EndCommandLine();
        return true;
    }
    if (ApplyAsFirst(text)) {
        return true;
    }
    const bool hasRoom = commandLine.size() + m_Blanks + text.size() < CLineSource::c_LongestLine;
    if (hasRoom) {
        const bool isFirst = commandLine.empty() && m_Blanks == 0;
        commandLine.append(isFirst ? 0 : static_cast<std::size_t>(m_Blanks) + 1, '\n').append(text);
    }
    return hasRoom;
}

void CRunBuilder::EndCommandLine()
{
    LeaveAboveHeader();
    m_Run.facts.hasReport = m_Run.SplitCommandLine();
    m_Section = Section::Report;
    m_Step = 0;
    const CommandText_T* const text = TextOf(m_Run.command);
    m_Free = text != nullptr && text->measurement != nullptr ? Free::Reading : Free::Nothing;
}

/// Lines before the header that this command does not print were left by a run that was broken off.
void CRunBuilder::LeaveAboveHeader()
{
    if (CanComeBefore(CommandOf(m_Run.commandLine), m_Run.facts.evidence)) {
        return;
    }
    const std::uint64_t claimed = m_Run.claimedCount - m_Header.claimed;
    Bytes_T commandLine = std::exchange(m_Run.commandLine, {});
    // Its errors may be this run's.
    Facts_T errors;
    errors.fault = m_Run.facts.fault;
    errors.untested = m_Run.facts.untested;
    errors.complaint = m_Run.facts.complaint;
    errors.isSpoiled = m_Run.unrecognisedCount > m_Header.unrecognised;
    m_Run.claimedCount = m_Header.claimed;
    m_Run.lastLine = m_Header.number - 1;
    HandOver();
    m_Run.facts = std::move(errors);
    m_Run.commandLine = std::move(commandLine);
    m_Run.claimedCount = claimed;
    m_Run.firstLine = m_Header.number;
}

/// If its end is missing, only the first line is known to be part of it.
void CRunBuilder::DisownCommandLine()
{
    const Bytes_T commandLine = m_Run.commandLine;
    const std::size_t first = commandLine.find('\n');
    std::uint64_t number = m_Header.number + 1;
    for (std::size_t begin = first; begin != Bytes_T::npos;) {
        const std::size_t end = commandLine.find('\n', begin + 1);
        AddUnrecognised(++number, std::string_view(commandLine).substr(begin + 1, end - begin - 1));
        m_Run.claimedCount -= std::min<std::uint64_t>(m_Run.claimedCount, 1);
        begin = end;
    }
    m_Run.commandLine = commandLine.substr(0, first);
}

bool CRunBuilder::TakePiece(std::string_view text)
{
    if (m_Free == Free::Path) {
        return TakePath(text);
    }
    if (TakeVerdict(text)) {
        return true;
    }
    if (m_Section == Section::UnitData) {
        return TakeUnitData(text);
    }
    if (m_Section == Section::Report && CUnitData::IsBorder(text)) {
        m_Section = Section::UnitData;
        m_UnitData.Begin(static_cast<std::size_t>(std::ranges::count(m_Run.commandLine, '\n')));
        m_Run.facts.evidence |= Evidence::c_UnitData;
        return true;
    }
    return Apply(text) || ApplyAsFirst(text) || TakeFree(text) || TakeDenial(text);
}

bool CRunBuilder::TakeUnitData(std::string_view text)
{
    if (ApplyAsFirst(text)) {
        return true;
    }
    const bool isTaken = m_UnitData.Take(text, m_Run.unit);
    if (m_UnitData.IsOver()) {
        m_Run.facts.hasUnitData = m_UnitData.IsWhole();
        m_Section = Section::AfterUnitData;
    }
    return isTaken;
}

bool CRunBuilder::TakeVerdict(std::string_view text)
{
    const auto verdicts = VerdictLines();
    const auto verdict = std::ranges::find(verdicts, text, &VerdictLine_T::text);
    if (verdict == verdicts.end()) {
        return false;
    }
    if (m_Section == Section::Done) {
        return TakeDenial(text);
    }
    if (m_Free == Free::Reading && m_Run.facts.readingLines > 0) {
        m_Run.facts.readingBlanks += m_Blanks;
    } else {
        DisownBlanks();
    }
    m_Run.facts.verdict = verdict->verdict;
    m_Run.verdict = text;
    m_Section = Section::Done;
    m_Free = Free::Nothing;
    return true;
}

/// The line stays in the run whose verdict it contradicts.
bool CRunBuilder::TakeDenial(std::string_view text)
{
    if (m_Section != Section::Done || !Denies(text)) {
        return false;
    }
    Bytes_T& denial = m_Run.facts.denial;
    denial = denial.empty() ? Bytes_T(text.substr(0, c_LongestKeptLine)) : denial;
    return true;
}

bool CRunBuilder::TakePath(std::string_view text)
{
    const std::size_t end =
        m_Section == Section::Before ? NextRuleText(text) : text.size() - VerdictAtEnd(text).size();
    const Bytes_T path(text.substr(0, std::min(end, c_LongestKeptLine)));
    // It completes the last message, and the reason if that is the same message.
    if (m_Run.messageCount <= c_MostKeptLines) {
        m_Run.messages.back().line.text += path;
    }
    for (Bytes_T* pReason : {&m_Run.facts.fault, &m_Run.facts.complaint}) {
        *pReason += pReason->ends_with(':') ? path : "";
    }
    m_Free = Free::Nothing;
    return end == text.size() || TakePiece(text.substr(end));
}

bool CRunBuilder::TakeFree(std::string_view text)
{
    Facts_T& facts = m_Run.facts;
    if (m_Free != Free::Reading) {
        return m_Free == Free::Output && TakeOutput(text);
    }
    if (facts.readingLines == 0 && m_Blanks != 0) {
        return false;
    }
    if (facts.readingLines++ == 0) {
        facts.reading = text.substr(0, c_LongestKeptLine);
    }
    facts.readingBlanks += m_Blanks;
    facts.evidence |= Evidence::c_Reading;
    return true;
}

/// A script may print anything. If its output does not end with a line end, the next output continues the
/// line.
bool CRunBuilder::TakeOutput(std::string_view text)
{
    const std::size_t next = NextRuleText(text);
    if (next == text.size() || !Apply(text.substr(next))) {
        m_Run.facts.evidence |= text.ends_with(c_GainAcceptedLine) ? Evidence::c_GainPerhaps : 0;
    }
    return true;
}

bool CRunBuilder::IsInPlace(const Rule_T& rule) const
{
    const bool isHere = rule.place == Place::Aside ||
                        (rule.place == Place::Before && m_Section == Section::Before) ||
                        (rule.place == Place::Report && m_Section == Section::Report);
    const bool isNext = rule.step == 0 || rule.step > m_Step || (rule.repeats && rule.step == m_Step);
    const bool isInRun = m_IsBegun && m_Section != Section::Done;
    const bool isExact = isInRun && m_Free != Free::Output;
    const bool isApart = isExact ? m_Blanks == rule.blanks : m_Blanks >= rule.blanks;
    return isHere && isNext && isApart;
}

bool CRunBuilder::Apply(std::string_view text)
{
    return std::ranges::any_of(RulesFor(text), [&](const Rule_T* pRule) {
        return CanMatch(*pRule, text) && IsInPlace(*pRule) && ApplyRule(*pRule, text);
    });
}

/// Starts a new run if the line can come before a report, but not after the lines so far.
bool CRunBuilder::ApplyAsFirst(std::string_view text)
{
    if (!m_IsBegun) {
        return false;
    }
    const bool isAfterRun = m_Section == Section::Done;
    for (const Rule_T* const pRule : RulesFor(text)) {
        const bool isFirst =
            pRule->place == Place::Before && m_Blanks >= pRule->blanks && (isAfterRun || IsTelling(*pRule));
        const auto captures = isFirst ? MatchRule(*pRule, text) : std::nullopt;
        if (!captures) {
            continue;
        }
        if (Run_T next; pRule->take == nullptr || pRule->take(next, *captures)) {
            BeginRun(std::move(next));
            return FinishRule(*pRule, text, *captures);
        }
    }
    return false;
}

bool CRunBuilder::ApplyRule(const Rule_T& rule, std::string_view text)
{
    const auto captures = MatchRule(rule, text);
    return captures && (rule.take == nullptr || rule.take(m_Run, *captures)) &&
           FinishRule(rule, text, *captures);
}

/// After its values are in the run. False if the rest of the line is not recognised.
bool CRunBuilder::FinishRule(const Rule_T& rule, std::string_view text, const Captures_T& captures)
{
    if (rule.isEnd) {
        TakeDenial(text);
    }
    m_IsBegun = true;
    m_Run.facts.evidence |= rule.evidence;
    if (rule.take == nullptr || rule.effect != Effect::None || rule.place == Place::Aside) {
        AddMessage(rule, text);
    }
    if (rule.place != Place::Aside) {
        m_Step = std::max(m_Step, rule.step);
        m_Free = rule.next != Free::Nothing || m_Free != Free::Reading ? rule.next : m_Free;
    }
    m_Section = rule.isEnd ? Section::Done : m_Section;
    const bool goesOn = rule.next == Free::Output && !captures.front().empty();
    // The rest of a line never starts another run.
    return !goesOn || Apply(captures.front()) || TakeFree(captures.front());
}

void CRunBuilder::AddMessage(const Rule_T& rule, std::string_view text)
{
    Bytes_T kept(text.substr(0, c_LongestKeptLine));
    Facts_T& facts = m_Run.facts;
    if (rule.effect == Effect::Untested && facts.untested.empty()) {
        facts.untested = kept;
    }
    const bool isError = rule.effect != Effect::None || text.starts_with(c_Error);
    if (isError && rule.effect == Effect::None && facts.complaint.empty()) {
        facts.complaint = kept;
    }
    const bool isReported = rule.place == Place::Report;
    if (rule.effect == Effect::Fault && (facts.fault.empty() || (isReported && !facts.isFaultReported))) {
        facts.fault = kept;
        facts.isFaultReported = isReported;
    }
    m_Run.Keep({{m_Number, std::move(kept)}, rule.place, isError});
}

void CRunBuilder::ClaimBlanks() { m_Run.claimedCount += std::exchange(m_Blanks, 0); }

/// An empty line between runs does not matter; in a run it has its place.
void CRunBuilder::DisownBlanks()
{
    if (!m_IsBegun || m_Section == Section::Done) {
        return ClaimBlanks();
    }
    for (; m_Blanks > 0; --m_Blanks) {
        AddUnrecognised(m_FirstBlank++, {});
    }
}

void CRunBuilder::AddUnrecognised(std::uint64_t number, std::string_view text)
{
    Facts_T& facts = m_Run.facts;
    facts.isSpoiled = facts.isSpoiled || (m_IsBegun && m_Section != Section::Done);
    if (m_Section != Section::Done && facts.complaint.empty() &&
        text.find(c_Error) != std::string_view::npos) {
        facts.complaint = text.substr(0, c_LongestKeptLine);
    }
    m_Run.KeepUnrecognised({number, Bytes_T(text.substr(0, c_LongestKeptLine))});
}

void CRunBuilder::BeginRun(Run_T&& next)
{
    const std::uint64_t blanks = std::exchange(m_Blanks, 0);
    HandOver(std::move(next));
    m_Run.claimedCount = blanks;
    m_Run.firstLine = m_Number;
    Restart();
}

void CRunBuilder::Restart()
{
    m_Section = Section::Before;
    m_Step = 0;
    m_Free = Free::Nothing;
    m_IsBegun = false;
    m_IsSettled = false;
}

void CRunBuilder::HandOver(Run_T&& next)
{
    if (m_Section == Section::CommandLine) {
        DisownCommandLine();
    }
    m_Consumer(m_Run);
    m_Run = std::move(next);
    m_Run.transcript = m_Transcript;
}
