#include "station/DatabaseOptions.h"
#include "station/Report.h"
#include "station/Subcommands.h"
#include "station/Transcripts.h"
#include "tools/Program.h"

#include <algorithm>
#include <array>

using namespace Qt::StringLiterals;

namespace
{
std::string Text(const Imported_T& imported)
{
    struct Count_T {
        std::uint64_t count;
        const char* text;
    };
    const std::array<Count_T, 5> counts = {{{imported.added, " added"},
                                            {imported.known, " there before"},
                                            {imported.unfinished, " not finished"},
                                            {imported.foreign, " not run files"},
                                            {imported.unreadable, " not readable"}}};
    std::string text;
    for (const auto& [count, what] : counts) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + what;
    }
    return text + "\n";
}
} // namespace

int Import(const QStringList& arguments)
{
    CCommandLine line(u"sonarbench-station import"_s,
                      u"Puts run files into a database. A file that is there already changes nothing.\n"
                      "Exit status: 0; 2 wrong usage, or a file or the database could not be used."_s);
    AddDatabaseOption(line, "The database: a file (default: results.db), or postgresql://...");
    AddLimitsOptions(line);
    line.Parser().addPositionalArgument(u"file"_s, u"Run files, or directories of them."_s, u"file..."_s);
    if (!line.Read(arguments)) {
        return 0;
    }
    const QCommandLineParser& parser = line.Parser();
    std::vector<std::string> names;
    for (const QString& name : parser.positionalArguments()) {
        names.push_back(BytesOf(name));
    }
    if (names.empty()) {
        throw CUsageError(u"a file is missing"_s);
    }
    std::optional<CLimits> limits = ReadLimitsOptions(parser);
    CDatabase database(ReadDatabaseOption(parser));
    CImport import(database, limits ? &*limits : nullptr);
    const Transcripts_T files = FindFiles(names);
    for (const std::string& complaint : files.complaints) {
        PrintError(complaint);
    }
    std::ranges::for_each(files.files, [&import](const std::string& file) { import.Add(file); });
    const Imported_T imported = import.Finish();
    Print(Text(imported));
    return imported.unreadable != 0 || !files.complaints.empty() ? c_WrongUsage : 0;
}
