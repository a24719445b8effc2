#include "station/RunBuilder.h"

#include "station/RunParts.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::string_view c_Header = "---------------------------------------------------";
constexpr std::string_view c_TestOutput = "Test Output: ";
} // namespace

CRunBuilder::CRunBuilder(Bytes_T transcript, IRunWriter& consumer)
    : m_Transcript(std::move(transcript)), m_Consumer(consumer)
{
    m_Open.run.transcript = m_Transcript;
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
        ++m_Open.run.claimedCount;
    } else {
        DisownBlanks();
        AddUnrecognised(m_Number, line.text);
    }
    m_Open.run.firstLine = m_Open.run.firstLine == 0 ? m_Number : m_Open.run.firstLine;
    m_Open.run.lastLine = m_Number;
}

void CRunBuilder::End()
{
    DisownBlanks();
    HandOver();
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
    if (m_Section != Section::Before) {
        BeginRun();
    }
    const bool isClaimed = glued.empty() || TakePiece(glued);
    if (m_Section != Section::Before) {
        BeginRun(); // what was glued to it ended a run
    }
    if (m_IsBegun && m_Free != Free::Output) {
        DisownBlanks();
    }
    m_Section = Section::CommandLine;
    m_Free = Free::Nothing;
    m_Header = {m_Number, m_Open.run.claimedCount};
    return isClaimed;
}

/// The command line has several lines when an argument has.
bool CRunBuilder::TakeCommandLine(std::string_view text)
{
    Bytes_T& commandLine = m_Open.run.commandLine;
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
    m_Open.facts.hasReport = SplitCommandLine(m_Open.run);
    m_Section = Section::Report;
    m_Step = 0;
    m_Free = ShowsReading(m_Open.run.command) ? Free::Reading : Free::Nothing;
}

/// What stands above the header and cannot be of this command was left by a run that was broken off.
void CRunBuilder::LeaveAboveHeader()
{
    Run_T report;
    report.commandLine = m_Open.run.commandLine;
    SplitCommandLine(report);
    if (CanStandAbove(report.command, m_Open.facts.evidence)) {
        return;
    }
    const std::uint64_t claimed = m_Open.run.claimedCount - m_Header.claimed;
    Bytes_T commandLine = std::exchange(m_Open.run.commandLine, {});
    m_Open.run.claimedCount = m_Header.claimed;
    m_Open.run.lastLine = m_Header.number - 1;
    HandOver();
    m_Open.run.commandLine = std::move(commandLine);
    m_Open.run.claimedCount = claimed;
    m_Open.run.firstLine = m_Header.number;
}

/// Without an end, only its first line was known to be of it.
void CRunBuilder::DisownCommandLine()
{
    const Bytes_T commandLine = m_Open.run.commandLine;
    const std::size_t first = commandLine.find('\n');
    std::uint64_t number = m_Header.number + 1;
    for (std::size_t begin = first; begin != Bytes_T::npos;) {
        const std::size_t end = commandLine.find('\n', begin + 1);
        AddUnrecognised(++number, std::string_view(commandLine).substr(begin + 1, end - begin - 1));
        m_Open.run.claimedCount -= std::min<std::uint64_t>(m_Open.run.claimedCount, 1);
        begin = end;
    }
    m_Open.run.commandLine = commandLine.substr(0, first);
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
        m_UnitData.Begin(static_cast<std::size_t>(std::ranges::count(m_Open.run.commandLine, '\n')));
        m_Open.facts.evidence |= Evidence::c_UnitData;
        return true;
    }
    return Apply(text) || ApplyAsFirst(text) || TakeFree(text);
}

bool CRunBuilder::TakeUnitData(std::string_view text)
{
    if (ApplyAsFirst(text)) {
        return true;
    }
    const bool isTaken = m_UnitData.Take(text, m_Open.run.unit);
    if (m_UnitData.IsOver()) {
        m_Open.facts.hasUnitData = m_UnitData.IsWhole();
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
        BeginRun();
    } else if (m_Free == Free::Reading && m_Open.facts.readingLines > 0) {
        m_Open.facts.readingBlanks += m_Blanks;
    } else {
        DisownBlanks();
    }
    m_Open.facts.verdict = verdict->verdict;
    m_Open.run.verdict = text;
    m_Section = Section::Done;
    m_Free = Free::Nothing;
    return true;
}

void CRunBuilder::ClaimBlanks() { m_Open.run.claimedCount += std::exchange(m_Blanks, 0); }

/// Between runs an empty line is nothing; in a run it has its place.
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
    m_Open.facts.isSpoiled = m_Open.facts.isSpoiled || (m_IsBegun && m_Section != Section::Done);
    KeepUnrecognised(m_Open.run, {number, Bytes_T(text.substr(0, c_LongestKeptLine))});
}

void CRunBuilder::BeginRun()
{
    const std::uint64_t blanks = std::exchange(m_Blanks, 0);
    HandOver();
    m_Open.run.claimedCount = blanks;
    m_Open.run.firstLine = m_Number;
    m_Section = Section::Before;
    m_Step = 0;
    m_Free = Free::Nothing;
    m_IsBegun = false;
}

void CRunBuilder::HandOver()
{
    if (m_Section == Section::CommandLine) {
        DisownCommandLine();
    }
    Judge(m_Open.run, m_Open.facts);
    m_Consumer.Write(m_Open.run);
    m_Open = {};
    m_Open.run.transcript = m_Transcript;
}
