#pragma once

#include "station/transcript/LineSource.h"
#include "station/transcript/Rules.h"
#include "station/transcript/UnitData.h"

#include <functional>

/// Builds runs from lines. Hands each run on at the first line of the next one or by Settle(), and the last
/// one at the end. Lines after a run that was settled, if no other run follows, come as Facts_T::isRest.
class CRunBuilder
{
public:
    using Consumer_T = std::function<void(Run_T& run)>;

    CRunBuilder(Bytes_T transcript, Consumer_T consumer);

    void Take(const ReadLine_T& line);
    /// Takes a line of standard error that was kept apart. It belongs to the run so far, and none is lost.
    void TakeAside(const Line_T& line);
    /// Hands on a run that has a verdict. Later lines cannot contradict it any more.
    void Settle();
    /// After the last line.
    void End();

private:
    enum class Section {
        Before, ///< of the report
        CommandLine,
        Report,
        UnitData,
        AfterUnitData,
        Done ///< after the verdict
    };

    bool TakeLine(std::string_view text);
    bool TakePiece(std::string_view text);
    bool TakePath(std::string_view text);
    bool TakeFree(std::string_view text);
    bool TakeOutput(std::string_view text);
    bool TakeVerdict(std::string_view text);
    bool TakeDenial(std::string_view text);
    bool TakeCommandLine(std::string_view text);
    bool TakeUnitData(std::string_view text);
    bool TakeHeader(std::string_view glued);
    void EndCommandLine();
    void LeaveAboveHeader();
    void DisownCommandLine();

    bool Apply(std::string_view text);
    bool ApplyAsFirst(std::string_view text);
    bool ApplyRule(const Rule_T& rule, std::string_view text);
    bool FinishRule(const Rule_T& rule, std::string_view text, const Captures_T& captures);
    bool IsInPlace(const Rule_T& rule) const;
    void AddMessage(const Rule_T& rule, std::string_view text);

    void ClaimBlanks();
    void DisownBlanks();
    void AddUnrecognised(std::uint64_t number, std::string_view text);
    void BeginRun(Run_T&& next = {});
    void Restart();
    void HandOver(Run_T&& next = {});

    Bytes_T m_Transcript;
    Consumer_T m_Consumer;
    Run_T m_Run;
    CUnitData m_UnitData;
    Section m_Section = Section::Before;
    bool m_IsSettled = false; ///< the run before this one was
    bool m_IsBegun = false;   ///< a line of this run was recognised
    int m_Step = 0;           ///< of the last rule in this section
    /// Of the line of hyphens: its number, and how many lines of the run were claimed and unrecognised above
    /// it.
    struct Header_T {
        std::uint64_t number = 0;
        std::uint64_t claimed = 0;
        std::uint64_t unrecognised = 0;
    } m_Header;
    Free m_Free = Free::Nothing;
    std::uint64_t m_Number = 0;     ///< of the line
    std::uint64_t m_FirstBlank = 0; ///< of the empty lines before it, which belong to the next line
    std::uint64_t m_Blanks = 0;
};
