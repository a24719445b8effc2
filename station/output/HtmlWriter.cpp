#include "station/output/Formats.h"

#include "station/judge/Limits.h"
#include "station/output/PageEchoes.h"
#include "station/output/PageHead.h"
#include "station/output/Svg.h"
#include "station/output/Text.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <set>
#include <vector>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_MostLines = 40; ///< of a kind that a row shows
/// Of a measurement; the others are in JSON.
constexpr int c_ShownDigits = 5;
constexpr std::size_t c_MostProblems = 500; ///< that are counted
constexpr std::size_t c_ShownProblems = 12;
constexpr std::size_t c_ShownNames = 5;

void Append(std::string& text, std::initializer_list<std::string_view> parts)
{
    for (const std::string_view part : parts) {
        text += part;
    }
}

std::string StyleOf(Group group) { return ClassOf(group).toStdString(); }

/// "2026-11-22 10:41:28" of a run file's time.
std::string TimeText(std::string_view time)
{
    constexpr std::size_t seconds = 19;
    std::string text = Shown(time.substr(0, seconds));
    std::ranges::replace(text, 'T', ' ');
    return text;
}

/// Names of which the first are shown and all are counted, up to a bound.
class CNames
{
public:
    void Add(const std::string& name)
    {
        if (!name.empty() && m_Names.size() < c_MostKept) {
            m_Names.insert(name);
        }
    }
    bool IsEmpty() const { return m_Names.empty(); }
    /// "A, B, C and 4 more", as text of the page.
    std::string Text() const
    {
        std::string text;
        std::size_t count = 0;
        for (const std::string& name : m_Names) {
            if (count == c_ShownNames) {
                break;
            }
            Append(text, {count++ == 0 ? "" : ", ", Shown(name)});
        }
        if (m_Names.size() > count) {
            Append(text, {m_Names.size() == c_MostKept ? " and at least " : " and ",
                          std::to_string(m_Names.size() - count), " more"});
        }
        return text;
    }

private:
    static constexpr std::size_t c_MostKept = 200;
    std::set<std::string> m_Names;
};

/// What is wrong, without the words that have digits, so that it is the same in several runs.
std::string ProblemOf(const Run_T& run)
{
    const Group group = GroupOf(run);
    for (const LimitResult_T& result : run.limits) {
        const bool isWorst =
            result.fit == Fit::Bad || (group == Group::Marginal && result.fit == Fit::Marginal);
        if (isWorst && (group == Group::Failed || group == Group::Marginal)) {
            return result.limit->measurement + " is " + NameOf(result.fit);
        }
    }
    std::string text;
    for (std::size_t at = 0; at < run.reason.size();) {
        const std::size_t end = std::min(run.reason.find(' ', at), run.reason.size() - 1) + 1;
        const std::string_view word = std::string_view(run.reason).substr(at, end - at);
        const bool hasDigit = word.find_first_of("0123456789") != std::string_view::npos;
        Append(text, {hasDigit ? "\u2026" : "",
                      hasDigit ? word.substr(word.find_last_not_of(" ,.:;)") + 1) : word});
        at = end;
    }
    return text;
}

/// The echo of a row: the highest sample of each column, in decibels.
void AppendEcho(std::string& text, const Run_T& run, const View_T& view)
{
    constexpr std::size_t columns = 60;
    const Ping_T ping = MakePing(run, view, columns);
    CPath path;
    for (std::size_t column = 0; column < ping.envelope.high.size(); ++column) {
        path.LineTo(static_cast<double>(column), -DecibelsOf(ping, ping.envelope.high[column]));
    }
    const std::string width = std::to_string(std::max<std::size_t>(ping.envelope.high.size(), 2) - 1);
    const std::string height = std::to_string(std::lround(std::ceil(-LowestDecibels(ping))));
    Append(text, {"<svg viewBox=\"0 0 ", width, " ", height,
                  "\" preserveAspectRatio=\"none\" role=\"img\" aria-label=\"Echo, 0 to -", height,
                  " dB\"><path class=\"echo\" d=\"", path.Text(), "\"/></svg>"});
}

/// A page in one file. Its size and the memory for it are bounded: for each group it has the first rows, and
/// it says what is left out. All of it is written at the end, because the worst runs come first.
class CHtmlWriter : public IRunWriter
{
public:
    CHtmlWriter(QIODevice& output, const View_T& view) : m_Output(output), m_View(view), m_Echoes(view) {}

    void Write(const Run_T& run) override
    {
        const Group group = GroupOf(run);
        Section_T& section = m_Sections.at(static_cast<std::size_t>(group));
        ++section.runs;
        if (group != Group::Good) {
            AddProblem(run, group);
        }
        m_Stations.Add(run.record.station);
        m_Operators.Add(run.record.operatorName);
        if (const Bytes_T& start = run.record.start; !start.empty()) {
            m_First = m_First.empty() ? start : std::min(m_First, start);
            m_Last = std::max(m_Last, start);
        }
        if (!run.samples.values.empty()) {
            m_Echoes.Add(run);
        }
        if (HasRoom(group)) {
            section.rows.push_back({UnitOf(run), RowOf(run)});
            m_Bytes += section.rows.back().text.size();
            ++m_Rows;
        }
    }

    void End(const Summary_T& summary) override
    {
        m_Output.write(PageHead(u"sonarbench report"_s, true).toUtf8());
        std::string text = "<header>\n<h1>sonarbench report</h1>\n";
        AppendOrigin(text);
        Append(text, {"</header>\n<main>\n<ul class=\"counts\">\n<li><b>", std::to_string(summary.runs),
                      "</b>", Plural(summary.runs, u"run"_s).toStdString(), "</li>\n"});
        for (std::size_t i = 0; i < c_Groups; ++i) {
            const auto group = static_cast<Group>(i);
            Append(text, {"<li><b>", std::to_string(m_Sections.at(i).runs), "</b><span class=\"mark ",
                          StyleOf(group), "\">", NameOf(group).toLower().toStdString(), "</span></li>\n"});
        }
        if (summary.unrecognised > 0) {
            Append(text, {"<li><b>", std::to_string(summary.unrecognised), "</b>",
                          Plural(summary.unrecognised, u"line"_s).toStdString(), " not recognised</li>\n"});
        }
        text += "</ul>\n";
        AppendProblems(text);
        text += c_Filter;
        Write(text);
        for (std::size_t i = 0; i < c_Groups; ++i) {
            WriteSection(static_cast<Group>(i), summary.runs);
        }
        m_Echoes.Write(m_Output);
        m_Output.write("</main>\n");
        m_Output.write(PageScript().toUtf8());
        m_Output.write("</body>\n</html>\n");
    }

private:
    static constexpr std::size_t c_MostRows = 10'000;
    static constexpr std::size_t c_MostBytes = 6'400'000; ///< of rows, about
    static constexpr std::size_t c_MostOpen = 100;        ///< good runs that the page shows at once
    static constexpr std::string_view c_Filter =
        "<form class=\"card\" hidden aria-label=\"Filter\">\n"
        "<label>Unit<select name=\"unit\"><option value=\"\">all</option></select></label>\n"
        "<label>Product<select name=\"product\"><option value=\"\">all</option></select></label>\n"
        "<label>Outcome<select name=\"outcome\"><option value=\"\">all</option></select></label>\n"
        "<label>Command<select name=\"command\"><option value=\"\">all</option></select></label>\n"
        "<label>Text<input name=\"text\" type=\"search\"></label>\n"
        "<button type=\"reset\">Show all</button>\n<output></output>\n</form>\n";

    struct Row_T {
        std::string unit;
        std::string text;
    };
    struct Section_T {
        std::uint64_t runs = 0;
        std::vector<Row_T> rows; ///< of the first runs
    };
    struct Problem_T {
        std::uint64_t runs = 0;
        std::string reason; ///< of the first run, if it is that of all
        CNames units;
        CNames commands;
    };

    void Write(const std::string& text) { m_Output.write(text.data(), static_cast<qint64>(text.size())); }

    /// Makes room for a row by leaving out the last one of a better group.
    bool HasRoom(Group group)
    {
        if (m_Rows < c_MostRows && m_Bytes < c_MostBytes) {
            return true;
        }
        for (std::size_t better = c_Groups - 1; better > static_cast<std::size_t>(group); --better) {
            if (std::vector<Row_T>& rows = m_Sections.at(better).rows; !rows.empty()) {
                m_Bytes -= rows.back().text.size();
                --m_Rows;
                rows.pop_back();
                return true;
            }
        }
        return false;
    }

    void AddProblem(const Run_T& run, Group group)
    {
        const std::pair<Group, std::string> key(group, ProblemOf(run));
        if (m_Problems.size() >= c_MostProblems && !m_Problems.contains(key)) {
            return;
        }
        Problem_T& problem = m_Problems[key];
        problem.reason = problem.runs == 0 || problem.reason == run.reason ? run.reason : key.second;
        ++problem.runs;
        problem.units.Add(UnitOf(run));
        problem.commands.Add(run.command);
    }

    /// When, where and by whom, as far as run files say it.
    void AppendOrigin(std::string& text) const
    {
        if (m_First.empty()) {
            return;
        }
        const bool isOne = m_First == m_Last;
        Append(text, {"<p class=\"faint\">", isOne ? "" : "From ", isOne ? "" : TimeText(m_First),
                      isOne ? "" : " to ", TimeText(m_Last), " UTC"});
        if (!m_Stations.IsEmpty()) {
            Append(text, {"; station ", m_Stations.Text()});
        }
        if (!m_Operators.IsEmpty()) {
            Append(text, {"; operator ", m_Operators.Text()});
        }
        text += "</p>\n";
    }

    /// The most frequent problems, first those of failed runs.
    void AppendProblems(std::string& text) const
    {
        if (m_Problems.empty()) {
            return;
        }
        using Entry_T = decltype(m_Problems)::value_type;
        std::vector<const Entry_T*> entries;
        for (const Entry_T& entry : m_Problems) {
            entries.push_back(&entry);
        }
        std::ranges::stable_sort(entries, [](const Entry_T* pLeft, const Entry_T* pRight) {
            return std::pair(pLeft->first.first, pRight->second.runs) <
                   std::pair(pRight->first.first, pLeft->second.runs);
        });
        text +=
            "<h2>What is wrong</h2>\n<div class=\"card\"><table class=\"wrong\"><thead><tr><th>Outcome</th>"
            "<th>Reason</th><th>Runs</th><th>Command</th><th>Units</th></tr></thead><tbody>\n";
        for (const Entry_T* pEntry : std::span(entries).first(std::min(entries.size(), c_ShownProblems))) {
            const auto& [key, problem] = *pEntry;
            Append(text, {"<tr><td><span class=\"mark ", StyleOf(key.first), "\">",
                          NameOf(key.first).toLower().toStdString(), "</span></td><td>",
                          Shown(problem.reason), "</td><td>", std::to_string(problem.runs), " ",
                          Plural(problem.runs, u"run"_s).toStdString(), "</td><td>", problem.commands.Text(),
                          "</td><td>", problem.units.Text(), "</td></tr>\n"});
        }
        text += "</tbody></table></div>\n";
        if (entries.size() > c_ShownProblems) {
            Append(text, {"<p class=\"faint\">", std::to_string(entries.size() - c_ShownProblems),
                          m_Problems.size() == c_MostProblems ? " or more" : "",
                          " other reasons are with their runs.</p>\n"});
        }
    }

    std::string RowOf(const Run_T& run) const
    {
        std::string text = "<details class=\"r\" data-p=\"";
        AppendMarkup(text, run.record.product.empty() ? run.unit.product : run.record.product);
        Append(text, {"\"><summary><b>", Shown(UnitOf(run)), "</b> <code>", Shown(TestOf(run)), "</code>"});
        if (!run.reason.empty()) {
            Append(text, {" ", Shown(run.reason)});
        }
        text += "</summary><p class=\"faint\">";
        AppendOrigin(text, run);
        text += "</p>";
        AppendLimits(text, run);
        AppendLines(text, run);
        AppendMeasurements(text, run);
        if (!run.samples.values.empty()) {
            AppendEcho(text, run, m_View);
        }
        text += "</details>\n";
        text.shrink_to_fit();
        return text;
    }

    /// What is known about the run.
    static void AppendOrigin(std::string& text, const Run_T& run)
    {
        text += TitleOf(run).toHtmlEscaped().toStdString();
        const Record_T& record = run.record;
        const std::pair<std::string_view, std::string> facts[] = {{"", NameOf(run.outcome)},
                                                                  {"product ", run.unit.product},
                                                                  {"serial number ", run.unit.serialNumber},
                                                                  {"firmware ", run.unit.firmwareVersion},
                                                                  {"station ", record.station},
                                                                  {"operator ", record.operatorName},
                                                                  {"", TimeText(record.start)}};
        for (const auto& [name, value] : facts) {
            if (!value.empty()) {
                Append(text, {", ", name, Shown(value)});
            }
        }
        if (record.isThere) {
            Append(text, {", ", NumberBytes(record.seconds), " s"});
        }
    }

    static void AppendLimits(std::string& text, const Run_T& run)
    {
        if (run.limits.empty()) {
            return;
        }
        text += "<ul>";
        for (const LimitResult_T& result : run.limits) {
            const char* const fit = NameOf(result.fit);
            Append(text, {"<li class=\"", fit, "\">", fit, ": ", Shown(LimitText(result)), "</li>"});
        }
        text += "</ul>";
    }

    /// What was not understood, and what was printed: of a good run only errors.
    static void AppendLines(std::string& text, const Run_T& run)
    {
        std::string lines;
        std::uint64_t count = 0;
        const auto add = [&lines, &count](const std::string& name, const Line_T& line) {
            if (++count <= c_MostLines) {
                Append(lines, {name, Shown(line.text), "\n"});
            }
        };
        for (const Line_T& line : run.unrecognised) {
            add("unrecognised, line " + std::to_string(line.number) + ": ", line);
        }
        const bool isGood = GroupOf(run) == Group::Good;
        for (const Message_T& message : run.messages) {
            if (!isGood || message.isError) {
                add({}, message.line);
            }
        }
        if (count > c_MostLines) {
            Append(lines, {"and ", std::to_string(count - c_MostLines), " more\n"});
        }
        if (!lines.empty()) {
            Append(text, {"<pre>", lines, "</pre>"});
        }
    }

    /// Of a level in counts and in decibels, only the decibels: the picture and other outputs have both.
    static void AppendMeasurements(std::string& text, const Run_T& run)
    {
        std::string list;
        std::size_t count = 0;
        for (std::size_t i = 0; i < run.measurements.size(); ++i) {
            const Quantity_T& measured = run.measurements[i];
            if (i + 1 < run.measurements.size() &&
                run.measurements[i + 1].name == measured.name + std::string("Decibels")) {
                continue;
            }
            if (++count <= c_MostLines) {
                Append(list, {list.empty() ? "" : ", ", measured.name, " ",
                              NumberBytes(measured.value, c_ShownDigits), *measured.unit == 0 ? "" : " ",
                              measured.unit});
            }
        }
        if (count > c_MostLines) {
            Append(list, {" and ", std::to_string(count - c_MostLines), " more"});
        }
        if (*run.receiverLaw != 0) {
            Append(list, {"; decibels for a ", run.receiverLaw, " receiver"});
        }
        if (!list.empty()) {
            Append(text, {"<p>", list, "</p>"});
        }
    }

    void WriteSection(Group group, std::uint64_t allRuns)
    {
        Section_T& section = m_Sections.at(static_cast<std::size_t>(group));
        if (section.runs == 0) {
            return;
        }
        const QString name = NameOf(group);
        const bool isOpen = group != Group::Good || allRuns <= c_MostOpen;
        std::string head = "<details class=\"o\" data-o=\"";
        Append(head,
               {name.toLower().toStdString(), "\"", isOpen ? " open" : "", "><summary><span class=\"mark ",
                StyleOf(group), "\">", name.toStdString(), "</span>: ", std::to_string(section.runs), " ",
                Plural(section.runs, u"run"_s).toStdString(), "</summary>\n"});
        Write(head);
        std::ranges::stable_sort(section.rows, {}, &Row_T::unit);
        for (auto first = section.rows.begin(); first != section.rows.end();) {
            const auto last = std::find_if(first, section.rows.end(),
                                           [&first](const Row_T& row) { return row.unit != first->unit; });
            const bool isGroup = last - first > 1;
            if (isGroup) {
                std::string unit = "<details class=\"g\" open><summary>";
                Append(unit, {first->unit.empty() ? "unit not known" : Shown(first->unit), ": ",
                              std::to_string(last - first), " runs</summary>\n"});
                Write(unit);
            }
            for (; first != last; ++first) {
                Write(first->text);
            }
            m_Output.write(isGroup ? "</details>\n" : "");
        }
        std::string end = "</details>\n";
        if (section.runs > section.rows.size()) {
            Append(end,
                   {"<p class=\"faint\">", std::to_string(section.runs - section.rows.size()), " more runs (",
                    name.toLower().toStdString(), ") are counted above but not shown.</p>\n"});
        }
        Write(end);
    }

    QIODevice& m_Output;
    View_T m_View;
    std::array<Section_T, c_Groups> m_Sections; ///< by Group
    std::size_t m_Rows = 0;
    std::size_t m_Bytes = 0; ///< of these rows
    std::map<std::pair<Group, std::string>, Problem_T> m_Problems;
    CNames m_Stations;
    CNames m_Operators;
    Bytes_T m_First; ///< start of the first run that has one
    Bytes_T m_Last;
    CPageEchoes m_Echoes;
};
} // namespace

std::unique_ptr<IRunWriter> MakeHtmlWriter(QIODevice& output, const View_T& view)
{
    return std::make_unique<CHtmlWriter>(output, view);
}
