// What the table of rules makes of a line, and what goes on freely behind some of them.
#include "station/RunBuilder.h"
#include "station/RunParts.h"

#include <algorithm>
#include <utility>

namespace
{
constexpr std::string_view c_GainAccepted = "3";

/// A rule so short that contents of files may well look like it.
bool IsTelling(const Rule_T& rule) { return rule.pattern.size() > 3; }

/// Whether a run can begin with the text.
bool Fits(const Rule_T& rule, std::string_view text)
{
    const auto captures = Match(rule.pattern, text);
    OpenRun_T run;
    return captures && (rule.take == nullptr || rule.take(run, *captures));
}

/// A name of a file has no line end of its own.
std::string_view VerdictAtEnd(std::string_view text)
{
    const auto verdicts = VerdictLines();
    const auto verdict = std::ranges::find_if(
        verdicts, [text](const VerdictLine_T& line) { return text.ends_with(line.text); });
    return verdict == verdicts.end() ? std::string_view() : verdict->text;
}
} // namespace

bool CRunBuilder::TakePath(std::string_view text)
{
    const std::size_t end =
        m_Section == Section::Before ? NextRuleText(text) : text.size() - VerdictAtEnd(text).size();
    const Bytes_T path(text.substr(0, std::min(end, c_LongestKeptLine)));
    // The message that it belongs to is the last one, and in the report the reason as well.
    if (m_Open.run.messageCount <= c_MostKeptLines) {
        m_Open.run.messages.back().line.text += path;
    }
    for (Bytes_T* pReason : {&m_Open.facts.fault, &m_Open.facts.complaint}) {
        *pReason += pReason->ends_with(':') ? path : "";
    }
    m_Free = Free::Nothing;
    return end == text.size() || TakePiece(text.substr(end));
}

bool CRunBuilder::TakeFree(std::string_view text)
{
    Facts_T& facts = m_Open.facts;
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

/// Whatever a script prints; when it has no line end, the next text of a rule goes on behind it.
bool CRunBuilder::TakeOutput(std::string_view text)
{
    const std::size_t next = NextRuleText(text);
    if (next == text.size() || !Apply(text.substr(next))) {
        m_Open.facts.evidence |= text.ends_with(c_GainAccepted) ? Evidence::c_GainPerhaps : 0;
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
    const auto rules = Rules();
    return std::ranges::any_of(rules,
                               [&](const Rule_T& rule) { return IsInPlace(rule) && ApplyRule(rule, text); });
}

/// A line that stands above a report, in another place than behind what was read: another run begins with it.
bool CRunBuilder::ApplyAsFirst(std::string_view text)
{
    const bool isBehindRun = m_Section == Section::Done;
    const auto rules = Rules();
    const auto rule = std::ranges::find_if(rules, [&](const Rule_T& candidate) {
        return candidate.place == Place::Before && m_Blanks >= candidate.blanks &&
               (isBehindRun || IsTelling(candidate)) && Fits(candidate, text);
    });
    if (rule == rules.end() || !m_IsBegun) {
        return false;
    }
    BeginRun();
    return ApplyRule(*rule, text);
}

bool CRunBuilder::ApplyRule(const Rule_T& rule, std::string_view text)
{
    const auto captures = Match(rule.pattern, text);
    if (!captures || (rule.take != nullptr && !rule.take(m_Open, *captures))) {
        return false;
    }
    if (rule.isEnd && m_Open.facts.verdict != Verdict::None) {
        BeginRun(); // and ended, with nothing else to be seen of it
    }
    m_IsBegun = true;
    m_Open.facts.evidence |= rule.evidence;
    if (rule.take == nullptr || rule.effect != Effect::None) {
        AddMessage(rule, text);
    }
    if (rule.place != Place::Aside) {
        m_Step = std::max(m_Step, rule.step);
        m_Free = rule.next != Free::Nothing || m_Free != Free::Reading ? rule.next : m_Free;
    }
    m_Section = rule.isEnd ? Section::Done : m_Section;
    const bool goesOn = rule.next == Free::Output && !captures->front().empty();
    // Once a line: what goes on behind it begins no other run.
    return !goesOn || Apply(captures->front()) || TakeFree(captures->front());
}

void CRunBuilder::AddMessage(const Rule_T& rule, std::string_view text)
{
    Bytes_T kept(text.substr(0, c_LongestKeptLine));
    Facts_T& facts = m_Open.facts;
    if (rule.effect == Effect::Untested && facts.untested.empty()) {
        facts.untested = kept;
    }
    const bool isError = rule.effect != Effect::None || text.starts_with("ERROR: ");
    if (isError && rule.effect == Effect::None && facts.complaint.empty()) {
        facts.complaint = kept;
    }
    const bool isReported = rule.place == Place::Report;
    if (rule.effect == Effect::Fault && (facts.fault.empty() || (isReported && !facts.isFaultReported))) {
        facts.fault = kept;
        facts.isFaultReported = isReported;
    }
    static constexpr Origin c_Origins[] = {Origin::Before, Origin::Report, Origin::StandardError}; // by Place
    Keep(m_Open.run, {{m_Number, std::move(kept)}, c_Origins[static_cast<std::size_t>(rule.place)], isError});
}
