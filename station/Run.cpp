#include "station/DatabaseOptions.h"
#include "station/Report.h"
#include "station/Subcommands.h"
#include "station/TestRun.h"
#include "station/transcript/PrintableText.h"
#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
constexpr std::size_t c_LongestName = 200;

/// An option with a text.
struct TextOption_T {
    const char* name;
    const char* description;
    const char* value;
    Bytes_T TestOrder_T::*field;
    bool isRequired = false;
};

constexpr TextOption_T c_Texts[] = {
    {"unit", "Serial number of the unit.", "SERIAL", &TestOrder_T::unit, true},
    {"station", "Name of this station.", "NAME", &TestOrder_T::station, true},
    {"operator", "Name of the operator.", "NAME", &TestOrder_T::operatorName},
    {"to", "Directory for the run file (default: this one).", "DIR", &TestOrder_T::directory},
    {"serial-command", "Shell command that prints the unit's own serial number.", "COMMAND",
     &TestOrder_T::serialCommand},
};
constexpr char c_Timeout[] = "timeout";
constexpr int c_UsualSeconds = 600;
constexpr int c_MostSeconds = 1'000'000;

TestOrder_T ReadOrder(const QCommandLineParser& parser)
{
    TestOrder_T order;
    order.product = BytesOf(parser.value(u"product"_s).left(c_LongestName));
    for (const TextOption_T& option : c_Texts) {
        const QString name = Decoded(option.name);
        const bool isGiven = parser.isSet(name);
        if (isGiven) {
            order.*option.field = BytesOf(parser.value(name));
        }
        if ((option.isRequired || isGiven) && (order.*option.field).empty()) {
            throw CUsageError(u"--%1 is missing, or empty"_s.arg(name));
        }
        const bool isName =
            option.field != &TestOrder_T::directory && option.field != &TestOrder_T::serialCommand;
        if (isName && (order.*option.field).size() > c_LongestName) {
            throw CUsageError(u"--%1 takes at most %2 bytes"_s.arg(name, QString::number(c_LongestName)));
        }
    }
    bool isNumber = true;
    const QString timeout = parser.value(Decoded(c_Timeout));
    const int seconds = timeout.isEmpty() ? c_UsualSeconds : timeout.toInt(&isNumber);
    if (!isNumber || seconds < 1 || seconds > c_MostSeconds) {
        throw CUsageError(u"--%1 takes a whole number from 1 to %2, not \"%3\""_s.arg(
            Decoded(c_Timeout), QString::number(c_MostSeconds), timeout));
    }
    order.timeout = std::chrono::seconds(seconds);
    for (const QString& word : parser.positionalArguments()) {
        order.command.push_back(BytesOf(word));
    }
    if (order.command.empty() || order.command.front().empty()) {
        throw CUsageError(u"the command is missing"_s);
    }
    return order;
}

/// Counts the runs of a run file.
class CCounter : public IRunWriter
{
public:
    void Write(const Run_T& run) override { m_Summary.Add(run); }
    const Summary_T& Summary() const { return m_Summary; }

private:
    Summary_T m_Summary;
};

/// The verdict does not depend on the database: a run file that did not get in waits for the next import.
void Store(const Bytes_T& file, const std::string& url, CLimits* pLimits)
{
    try {
        CDatabase database(url);
        CImport import(database, pLimits);
        import.Add(file);
        import.Finish();
    } catch (const std::exception& error) {
        PrintError(error.what());
        PrintError("the run is not in the database; import its file later");
    }
}
} // namespace

int Run(const QStringList& arguments)
{
    CCommandLine line(
        u"sonarbench-station run"_s,
        u"Runs a test, shows what it prints, keeps it in a run file, and judges it as report does.\n"
        "Exit status: 0 all runs passed or performed; 1 the unit failed; 2 wrong usage, or\n"
        "something could not be written; 3 a run could not be judged, or there was none."_s);
    for (const TextOption_T& option : c_Texts) {
        line.Add({Decoded(option.name), Decoded(option.description), Decoded(option.value)});
    }
    line.Add({Decoded(c_Timeout), u"How long the command may take (default %1)."_s.arg(c_UsualSeconds),
              u"SECONDS"_s});
    AddLimitsOptions(line);
    AddDatabaseOption(line, "Also puts the run into a results database: a file, or postgresql://...");
    line.Parser().setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    line.Parser().addPositionalArgument(u"command"_s, u"What to run, such as ./sonarbench or ssh."_s,
                                        u"-- command [argument...]"_s);
    if (!line.Read(arguments)) {
        return 0;
    }
    const TestOrder_T order = ReadOrder(line.Parser());
    std::optional<CLimits> limits =
        line.Parser().isSet(u"limits"_s) ? ReadLimitsOptions(line.Parser()) : std::nullopt;
    const TestRun_T run = RunTest(order, CHost());
    CCounter counter;
    CMeasurer measurer({});
    const Judges_T judges{.pMeasurer = limits ? &measurer : nullptr, .pLimits = limits ? &*limits : nullptr};
    const bool isJudged = ReadFile(run.file, counter, judges) && run.failure.empty();
    const int status = isJudged ? StatusOf(counter.Summary(), false) : c_WrongUsage;
    const Bytes_T reason = run.failure.empty() ? counter.Summary().reason : run.failure;
    if (const bool isWhole = run.failure.empty(); isWhole && line.Parser().isSet(Decoded(c_DatabaseOption))) {
        Store(run.file, ReadDatabaseOption(line.Parser()), limits ? &*limits : nullptr);
    }
    const QString details = (reason.empty() ? QString() : u"  "_s + PrintableText(reason) + u'\n') + u"  "_s +
                            PrintableText(run.file) + u'\n';
    ShowVerdict(status, PrintableText(order.unit), details, TakesColours(STDERR_FILENO));
    return status;
}
