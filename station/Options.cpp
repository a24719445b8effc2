#include "station/Options.h"

#include "station/ViewOptions.h"

#include <QCommandLineParser>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace
{
/// The arguments are decoded as Latin-1, one character a byte, so that any name comes through.
std::string BytesOf(const QString& text) { return text.toLatin1().toStdString(); }

OptionsAnswer_T WrongUsage(const QString& text) { return {2, "sonarbench-report: " + BytesOf(text) + "\n"}; }

QCommandLineOption OptionOf(const Format_T& format)
{
    return {QString::fromLatin1(format.option), QString::fromLatin1(format.description),
            format.takesFile ? u"FILE"_s : QString()};
}

/// Names of the files to write.
QStringList FilesOf(const QCommandLineParser& parser, const Format_T& format)
{
    const QString option = QString::fromLatin1(format.option);
    if (format.takesFile) {
        return parser.values(option);
    }
    return parser.isSet(option) ? QStringList{QString::fromLatin1(c_StandardStream)} : QStringList{};
}
} // namespace

std::variant<Options_T, OptionsAnswer_T> ReadOptions(int argc, char** argv)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Reads what sonarbench printed, and tells what came of each run.\n"
        "FILE is a file to write, or - for standard output. Without any, --summary -.\n"
        "Exit status: 0 all runs passed or performed; 1 a unit failed; 2 wrong usage, or\n"
        "a file that cannot be read or written; 3 a run could not be judged; 4 unknown\n"
        "lines with --strict. Of several, 2 comes first, then the largest."_s);
    const QCommandLineOption help = parser.addHelpOption();
    const QString fullHelp = u"help-all"_s; // which comes with it
    const QCommandLineOption strict{u"strict"_s, u"Ends with 4 when a line is not recognised."_s};
    for (const Format_T& format : Formats()) {
        parser.addOption(OptionOf(format));
    }
    AddViewOptions(parser);
    parser.addOption(strict);
    parser.addPositionalArgument(u"transcript"_s,
                                 u"Files, or directories of files; - or none: standard input."_s,
                                 u"[transcript...]"_s);

    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLatin1(argv[i]));
    }
    if (!parser.parse(arguments)) {
        return WrongUsage(parser.errorText());
    }
    if (parser.isSet(help) || parser.isSet(fullHelp)) {
        return OptionsAnswer_T{0, parser.helpText().toStdString()};
    }

    Options_T options;
    options.isStrict = parser.isSet(strict);
    QString wrongUsage;
    options.view = ReadViewOptions(parser, wrongUsage);
    if (!wrongUsage.isEmpty()) {
        return WrongUsage(wrongUsage);
    }
    for (const Format_T& format : Formats()) {
        for (const QString& value : FilesOf(parser, format)) {
            const std::string file = BytesOf(value);
            if (file.empty()) {
                return WrongUsage(u"--%1 needs a name"_s.arg(QString::fromLatin1(format.option)));
            }
            options.outputs.push_back({&format, file});
        }
    }
    if (options.outputs.empty()) {
        options.outputs.push_back({&Formats().front(), c_StandardStream});
    }
    for (const QString& transcript : parser.positionalArguments()) {
        options.transcripts.push_back(BytesOf(transcript));
    }
    if (std::ranges::count(options.transcripts, c_StandardStream) > 1) {
        return WrongUsage(u"standard input can be read only once"_s);
    }
    if (options.transcripts.empty()) {
        options.transcripts.emplace_back(c_StandardStream);
    }
    return options;
}
