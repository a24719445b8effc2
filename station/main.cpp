#include "station/Subcommands.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <QCoreApplication>

#include <algorithm>
#include <fcntl.h>
#include <iterator>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
struct Subcommand_T {
    const char* word;
    const char* description; ///< for the help
    int (*run)(const QStringList& arguments);
};

constexpr Subcommand_T c_Subcommands[] = {
    {"import", "Puts run files into a database.", Import},
    {"limits", "Checks and shows limits, by which report judges measurements.", Limits},
    {"report", "Says how runs ended, as text, JSON, JUnit XML, CSV or pictures.", Report},
    {"run", "Runs a test, keeps what it prints in a run file, and judges it.", Run},
    {"yield", "Shows yields, reasons of failures, and how measurements spread and drift.", Yield},
};

std::string SubcommandHelp()
{
    std::string text = "\nSubcommands:\n";
    for (const Subcommand_T& row : c_Subcommands) {
        text += "  " + std::string(row.word).append(12 - std::string_view(row.word).size(), ' ') +
                row.description + "\n";
    }
    return text + "\n\"sonarbench-station help SUBCOMMAND\" shows the options of a subcommand.\n";
}

const Subcommand_T& SubcommandOf(const QString& word)
{
    const auto* const row = std::ranges::find_if(c_Subcommands, [&word](const Subcommand_T& candidate) {
        return word == QLatin1StringView(candidate.word);
    });
    if (row == std::end(c_Subcommands)) {
        std::vector<std::string> words = {"help"};
        std::ranges::transform(c_Subcommands, std::back_inserter(words), &Subcommand_T::word);
        throw CUsageError("unknown subcommand " + BytesOf(word) + DidYouMean(BytesOf(word), words));
    }
    return *row;
}

/// Opens /dev/null for closed standard streams, so that no other file takes their place; using such a stream
/// still fails.
void OpenClosedStreams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
        const int mode = stream == STDIN_FILENO ? O_WRONLY : O_RDONLY;
        if (::fcntl(stream, F_GETFD) < 0 && ::open("/dev/null", mode) != stream) {
            return; // if this cannot be opened, no other file can
        }
    }
}

int RunSubcommand(const QStringList& arguments)
{
    CCommandLine line(u"sonarbench-station"_s,
                      u"Reads and judges what sonarbench printed, for a test station."_s);
    line.Parser().setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    line.Parser().addPositionalArgument(u"subcommand"_s, u"What to do; see below."_s,
                                        u"subcommand [argument...]"_s);
    line.AddHelp(SubcommandHelp());
    if (!line.Read(arguments)) {
        return 0;
    }
    const QStringList words = line.Parser().positionalArguments();
    if (words.isEmpty()) {
        throw CUsageError(u"a subcommand is missing; --help lists them"_s);
    }
    if (words.first() != u"help") {
        return SubcommandOf(words.first()).run(words);
    }
    if (words.size() == 1) {
        Print(line.Help());
        return 0;
    }
    return SubcommandOf(words[1]).run({words[1], u"--help"_s});
}
} // namespace

int main(int argc, char** argv)
{
    OpenClosedStreams();
    const QCoreApplication application(argc, argv); // finds the drivers of databases
    return RunProgram("sonarbench-station", c_WrongUsage, argc, argv, RunSubcommand);
}
