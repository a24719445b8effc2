#include "tools/CommandLine.h"

#include "tools/Program.h"

#include <QCoreApplication>

#include <algorithm>
#include <cctype>
#include <utility>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_LongestWord = 100;

bool IsSameLetter(char one, char other)
{
    return std::tolower(static_cast<unsigned char>(one)) == std::tolower(static_cast<unsigned char>(other));
}

/// Letters to insert, remove, replace, or swap with the next one.
std::size_t Distance(const std::string& from, const std::string& to)
{
    std::vector<std::vector<std::size_t>> cost(from.size() + 1, std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                cost[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = IsSameLetter(from[i - 1], to[j - 1]) ? 0 : 1;
            cost[i][j] = std::min({cost[i - 1][j] + 1, cost[i][j - 1] + 1, cost[i - 1][j - 1] + replaced});
            if (i > 1 && j > 1 && IsSameLetter(from[i - 1], to[j - 2]) &&
                IsSameLetter(from[i - 2], to[j - 1])) {
                cost[i][j] = std::min(cost[i][j], cost[i - 2][j - 2] + 1);
            }
        }
    }
    return cost[from.size()][to.size()];
}
} // namespace

std::string DidYouMean(const std::string& word, const std::vector<std::string>& words)
{
    std::size_t least = std::max<std::size_t>(word.size() / 3, 1) + 1;
    std::string meant;
    for (const std::string& candidate : words) {
        if (word.size() > c_LongestWord) {
            break;
        }
        if (const std::size_t distance = Distance(word, candidate); distance < least) {
            least = distance;
            meant = "; did you mean " + candidate + "?";
        }
    }
    return meant;
}

CCommandLine::CCommandLine(QString name, const QString& description)
    : m_Name(std::move(name)), m_HelpOption({u"h"_s, u"help"_s}, u"Shows this help."_s),
      m_VersionOption(u"version"_s, u"Shows the version."_s)
{
    m_Parser.setApplicationDescription(description);
    Add(m_HelpOption);
    Add(m_VersionOption);
}

void CCommandLine::Add(const QCommandLineOption& option, Occurs occurs)
{
    m_Parser.addOption(option);
    const QString name = option.names().constLast();
    m_Options.push_back("--" + BytesOf(name));
    if (occurs == Occurs::Once && !option.valueName().isEmpty()) {
        m_Once.append(name);
    }
}

bool CCommandLine::Read(const QStringList& arguments)
{
    if (!m_Parser.parse(arguments)) {
        if (!m_Parser.unknownOptionNames().isEmpty()) {
            RefuseUnknownOption(arguments);
        }
        throw CUsageError(m_Parser.errorText());
    }
    if (m_Parser.isSet(m_HelpOption)) {
        Print(Help());
        return false;
    }
    if (m_Parser.isSet(m_VersionOption)) {
        Print(BytesOf(QCoreApplication::applicationName() + u' ' + QCoreApplication::applicationVersion() +
                      u'\n'));
        return false;
    }
    for (const QString& name : std::as_const(m_Once)) {
        if (m_Parser.values(name).size() > 1) {
            throw CUsageError(u"--%1 can be given only once"_s.arg(name));
        }
    }
    return true;
}

bool CCommandLine::Knows(const QString& word) const
{
    return word == u"-h" ||
           std::ranges::find(m_Options, BytesOf(word.section(u'=', 0, 0))) != m_Options.end();
}

/// Qt reads -json as -j -s -o -n.
void CCommandLine::RefuseUnknownOption(const QStringList& arguments) const
{
    const QString name = m_Parser.unknownOptionNames().constFirst();
    const auto typed = std::ranges::find_if(arguments, [&name](const QString& argument) {
        return argument.startsWith(u'-' + name) || argument.startsWith(u"--"_s + name);
    });
    const std::string option = BytesOf(typed == arguments.end() ? name : typed->section(u'=', 0, 0));
    throw CUsageError("unknown option " + option + DidYouMean(option, m_Options));
}

std::string CCommandLine::Help() const
{
    // Qt begins with the program as it was started.
    const QString text = m_Parser.helpText();
    return BytesOf(u"Usage: "_s + m_Name + text.mid(text.indexOf(u" [options]"))) + m_MoreHelp;
}
