#include "station/ViewOptions.h"

#include "station/PlotWriter.h"

#include <array>
#include <sys/ioctl.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace
{
/// An option with a number, and where it goes.
struct NumberOption_T {
    const char* name;
    const char* description;
    const char* value;
    bool isWhole;
    double low;
    double high;
    void (*store)(View_T& view, double number);
};

constexpr std::array<NumberOption_T, 3> c_Numbers = {{
    {"sample-clock", "Samples that the units take in a second, for the range in pictures.", "HERTZ", false, 1,
     1e9, [](View_T& view, double number) { view.sampleClock = number; }},
    {"sound-speed", "Of the water, in metres a second, for the range (default 1500).", "SPEED", false, 100,
     10000, [](View_T& view, double number) { view.soundSpeed = number; }},
    {"width", "Columns for --plot (default: the terminal's).", "COLUMNS", true, c_NarrowestPlot, c_WidestPlot,
     [](View_T& view, double number) { view.width = static_cast<int>(number); }},
}};

constexpr char c_Ascii[] = "ascii";
constexpr int c_UsualWidth = 80;

int TerminalWidth()
{
    bool isNumber = false;
    const int columns = qEnvironmentVariableIntValue("COLUMNS", &isNumber);
    if (isNumber && columns > 0) {
        return columns;
    }
    winsize size{};
    return ::ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : c_UsualWidth;
}

bool IsUtf8Terminal()
{
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {
        const QString value = qEnvironmentVariable(name).toLower();
        if (!value.isEmpty()) {
            return value.contains(u"utf-8") || value.contains(u"utf8");
        }
    }
    return false;
}
} // namespace

void AddViewOptions(QCommandLineParser& parser)
{
    for (const NumberOption_T& option : c_Numbers) {
        parser.addOption({QString::fromLatin1(option.name), QString::fromLatin1(option.description),
                          QString::fromLatin1(option.value)});
    }
    parser.addOption({QString::fromLatin1(c_Ascii), u"Draws with ASCII only (default: as the locale is)."_s});
}

View_T ReadViewOptions(const QCommandLineParser& parser, QString& wrongUsage)
{
    View_T view;
    view.width = TerminalWidth();
    view.isAscii = parser.isSet(QString::fromLatin1(c_Ascii)) || !IsUtf8Terminal();
    for (const NumberOption_T& option : c_Numbers) {
        const QString name = QString::fromLatin1(option.name);
        if (!parser.isSet(name)) {
            continue;
        }
        bool isNumber = false;
        const QString text = parser.value(name);
        const double number = option.isWhole ? text.toInt(&isNumber) : text.toDouble(&isNumber);
        if (!isNumber || !(number >= option.low && number <= option.high)) {
            wrongUsage = u"--%1 takes a %2 from %3 to %4, not \"%5\""_s.arg(
                name, option.isWhole ? u"whole number"_s : u"number"_s, QString::number(option.low),
                QString::number(option.high, 'f', 0), text);
            continue;
        }
        option.store(view, number);
    }
    return view;
}
