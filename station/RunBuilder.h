#pragma once

#include "station/LineSource.h"
#include "station/Rules.h"
#include "station/RunWriter.h"
#include "station/UnitData.h"

/// Puts lines together to runs, and hands each run on when it is over: at the first line of the next one, or
/// at the end.
class CRunBuilder
{
public:
    CRunBuilder(Bytes_T transcript, IRunWriter& consumer);

    void Take(const ReadLine_T& line);
    /// After the last line.
    void End();

private:
    enum class Section {
        Before, ///< of the report
        CommandLine,
        Report,
        UnitData,
        AfterUnitData,
        Done ///< the verdict was there
    };

    bool TakeLine(std::string_view text);
    bool TakePiece(std::string_view text);
    bool TakePath(std::string_view text);
    bool TakeFree(std::string_view text);
    bool TakeOutput(std::string_view text);
    bool TakeVerdict(std::string_view text);
    bool TakeCommandLine(std::string_view text);
    bool TakeUnitData(std::string_view text);
    bool TakeHeader(std::string_view glued);
    void EndCommandLine();
    void LeaveAboveHeader();
    void DisownCommandLine();

    bool Apply(std::string_view text);
    bool ApplyAsFirst(std::string_view text);
    bool ApplyRule(const Rule_T& rule, std::string_view text);
    bool IsInPlace(const Rule_T& rule) const;
    void AddMessage(const Rule_T& rule, std::string_view text);

    void ClaimBlanks();
    void DisownBlanks();
    void AddUnrecognised(std::uint64_t number, std::string_view text);
    void BeginRun();
    void HandOver();

    Bytes_T m_Transcript;
    IRunWriter& m_Consumer;
    OpenRun_T m_Open;
    CUnitData m_UnitData;
    Section m_Section = Section::Before;
    bool m_IsBegun = false; ///< a line of this run was recognised
    int m_Step = 0;         ///< of the last rule in this section
    /// Of the line of hyphens: its number, and how many lines of the run were claimed above it.
    struct Header_T {
        std::uint64_t number = 0;
        std::uint64_t claimed = 0;
    } m_Header;
    Free m_Free = Free::Nothing;
    std::uint64_t m_Number = 0;     ///< of the line
    std::uint64_t m_FirstBlank = 0; ///< of the empty lines above it, which belong to what comes
    std::uint64_t m_Blanks = 0;
};
