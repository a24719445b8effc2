#include "simulator/Options.h"

#include "simulator/unit/RunGuard.h"
#include "simulator/unit/UnitDevices.h"
#include "simulator/unit/UnitFiles.h"
#include "simulator/unit/UnitPlaces.h"

#include "tools/CommandLine.h"
#include "tools/Program.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <stdexcept>

using namespace Qt::StringLiterals;

namespace
{
namespace fs = std::filesystem;

/// Names of the links, in the order of Link.
constexpr std::array<const char*, 5> c_LinkNames = {"-", "UART", "Lowscan SPI", "Cor SPI", "Lumet SPI"};

/// A command, and the products that can carry it out; null: all of them.
struct CommandRow_T {
    const char* word;
    bool (*isFor)(const Product_T& product) = nullptr;
};

// A product that is refused at start-up has no link to ask for the version, or to ping.
bool LoadsFirmware(const Product_T& product)
{
    return product.firmware.pattern[0] != '\0' && product.setup != Setup::Refused;
}

bool HasLumetPing(const Product_T& product)
{
    return product.link == Link::LumetSpi && product.setup != Setup::Refused;
}

bool IsXkModule(const Product_T& product) { return product.link == Link::CorSpi; }

constexpr std::array<CommandRow_T, 10> c_Commands = {{
    {"batteryvoltage"},
    {"lcdtemperature"},
    {"sensepin"},
    {"watertemperature"},
    {"loadfpgabinary", LoadsFirmware},
    {"ping", [](const Product_T& product) { return product.link == Link::Uart; }},
    {"lumetping", HasLumetPing},
    {"lowscanping", HasLumetPing},
    {"xkping", IsXkModule},
    {"speed", IsXkModule},
}};

template <class Wanted>
std::string Commands(const Wanted& isWanted)
{
    std::string text;
    for (const CommandRow_T& command : c_Commands) {
        if (isWanted(command)) {
            text.append(text.empty() ? "" : " ").append(command.word);
        }
    }
    return text.empty() ? "-" : text;
}

/// The products with their links, part numbers and the commands that make sense for them, a line each.
std::string ProductList()
{
    std::string text = "code  name              link         part number  commands\n";
    for (const Product_T& product : Products()) {
        const std::string commands = Commands(
            [&](const CommandRow_T& command) { return command.isFor != nullptr && command.isFor(product); });
        std::array<char, 160> line{};
        std::snprintf(line.data(), line.size(), "%4u  %-16s  %-11s  %-11s  %s\n", product.code, product.name,
                      c_LinkNames[static_cast<std::size_t>(product.link)],
                      product.productId != nullptr ? product.PartNumber() : "-", commands.c_str());
        text += line.data();
    }
    return text + "Every product: " +
           Commands([](const CommandRow_T& command) { return command.isFor == nullptr; }) +
           "\n(watertemperature only after --set of the sensor's file).\n";
}

/// @param place  where the name was read, for the message
const Product_T& ProductNamed(const std::string& name, const std::string& place = {})
{
    std::vector<std::string> names;
    for (const Product_T& product : Products()) {
        if (name == product.name) {
            return product;
        }
        names.emplace_back(product.name);
    }
    throw CUsageError(place + "unknown product " + name + DidYouMean(name, names) +
                      " (--list-products lists them)");
}

/// Refuses a trace of devices that the product's unit does not have.
void CheckDevices(const TraceFile_T& trace, const Product_T& product)
{
    const std::vector<std::string> nodes = UnitNodes(product);
    for (const TraceOperation_T& operation : trace.operations) {
        if (std::ranges::find(nodes, operation.device) == nodes.end()) {
            throw CUsageError(PlaceIn(trace.name, operation.line) + "the unit " + product.name +
                              " has no device " + operation.device);
        }
    }
}

fs::path UnitFile(const QString& text)
{
    const fs::path given = BytesOf(text);
    const fs::path file = given.lexically_normal();
    fs::path name = file.has_filename() ? file : file.parent_path(); // without a slash at its end
    if (!IsUnitFile(name.native()) || std::ranges::find(given, fs::path("..")) != given.end()) {
        throw CUsageError("\"" + given.native() +
                          "\" is not a file of a unit; those are /VERSION and the files below /sys, /corvane "
                          "and /tmp");
    }
    return name;
}

FileChange_T FileChange(FileChange_T::Kind kind, const QCommandLineOption& option, const QString& text)
{
    if (kind == FileChange_T::Kind::Remove) {
        return {kind, UnitFile(text)};
    }
    const auto separator = text.indexOf(u'=');
    if (separator < 0) {
        throw CUsageError(u"\"%1\" is not of the form %2"_s.arg(text, option.valueName()));
    }
    return {kind, UnitFile(text.left(separator)), BytesOf(text.mid(separator + 1))};
}

std::uint8_t FirmwareVersion(const QString& text)
{
    bool isNumber = false;
    const uint version = text.toUInt(&isNumber);
    if (!isNumber || version > 255) {
        throw CUsageError(u"\"%1\" is not a firmware version, which is a number from 0 to 255"_s.arg(text));
    }
    return static_cast<std::uint8_t>(version);
}

std::chrono::seconds TimeLimit(const QString& text)
{
    constexpr std::chrono::seconds c_Longest = std::chrono::hours(24);
    bool isNumber = false;
    const std::chrono::seconds limit(text.toUInt(&isNumber));
    if (!isNumber || limit.count() == 0 || limit > c_Longest) {
        throw CUsageError(
            u"\"%1\" is not a time limit, which is a number of seconds from 1 to %2"_s.arg(text).arg(
                c_Longest.count()));
    }
    return limit;
}

/// A directory that the program may change. It must not cover what is the unit's own.
fs::path WritableDirectory(const fs::path& name)
{
    std::error_code isMissing;
    fs::path directory = fs::canonical(name, isMissing);
    if (!fs::is_directory(directory, isMissing)) {
        throw CUsageError("--write needs a directory, not " + name.native());
    }
    const auto isThis = [&](const char* place) { return directory == place; };
    if (IsUnitsOwn(directory) || std::ranges::any_of(c_UnitPlaces, isThis) || directory == "/") {
        throw CUsageError("--write cannot open " + directory.native() + ", because the unit has its own");
    }
    return directory;
}

Fault_T Fault(const QString& text)
{
    try {
        return FaultOf(BytesOf(text));
    } catch (const std::invalid_argument& error) {
        throw CUsageError(std::string(error.what()));
    }
}

/// The options, for the parser and for reading their values.
struct OptionSet_T {
    QCommandLineOption product{u"product"_s, u"The product to simulate (default QL4K)."_s, u"NAME"_s,
                               u"QL4K"_s};
    QCommandLineOption listProducts{u"list-products"_s, u"Lists the products and ends."_s};
    QCommandLineOption set{u"set"_s,
                           u"Writes VALUE and a line end into a file of the unit; an empty VALUE empties the "
                           "file. Repeatable."_s,
                           u"FILE=VALUE"_s};
    QCommandLineOption copy{u"copy"_s, u"Copies the file PATH to a file of the unit. Repeatable."_s,
                            u"FILE=PATH"_s};
    QCommandLineOption remove{u"remove"_s, u"Removes a file of the unit. Repeatable."_s, u"FILE"_s};
    QCommandLineOption firmwareVersion{u"firmware-version"_s,
                                       u"Version of the unit's firmware image, 0 to 255 (default 1)."_s,
                                       u"N"_s, u"1"_s};
    QCommandLineOption scene{u"scene"_s, u"What is below the transducer, as a JSON file."_s, u"FILE"_s};
    QCommandLineOption truth{
        u"truth"_s, u"Writes what scene and settings put into the samples of each ping, as JSON lines."_s,
        u"FILE"_s};
    QCommandLineOption trace{u"trace"_s, u"Writes one line for each operation on a device."_s, u"FILE"_s};
    QCommandLineOption replay{
        u"replay"_s, u"Lets the devices answer from a trace, which also names the product."_s, u"FILE"_s};
    QCommandLineOption checkTrace{
        u"check-trace"_s, u"Compares the answers in a trace with those of the virtual unit, and ends."_s,
        u"FILE"_s};
    QCommandLineOption fault{u"fault"_s, u"Makes an operation fail; see below. Repeatable."_s, u"SPEC"_s};
    QCommandLineOption listFaults{u"list-faults"_s,
                                  u"Lists the faults, one line OPERATION KIND each, and ends."_s};
    QCommandLineOption calls{u"calls"_s, u"Writes how many operations of each kind --fault can hit."_s,
                             u"FILE"_s};
    QCommandLineOption report{u"report"_s, u"Writes an HTML page that shows what the run printed."_s,
                              u"FILE"_s};
    QCommandLineOption keep{u"keep"_s, u"Keeps the unit's files in a new directory."_s, u"DIR"_s};
    QCommandLineOption program{u"program"_s, u"The program to run (default: sonarbench next to this one)."_s,
                               u"PATH"_s};
    QCommandLineOption shell{u"shell"_s,
                             u"Runs the command itself, with sonarbench on its PATH (default: a shell)."_s};
    QCommandLineOption write{u"write"_s,
                             u"Lets the program change a directory of this machine. Repeatable."_s, u"DIR"_s};
    QCommandLineOption noIsolation{
        u"no-isolation"_s,
        u"Lets root run --program even where this machine cannot isolate it (then it can change anything)."_s};
    QCommandLineOption timeLimit{u"time-limit"_s, u"Ends the run after this time, with exit status 124."_s,
                                 u"SECONDS"_s};
};

fs::path PathValue(const QCommandLineParser& parser, const QCommandLineOption& option)
{
    const QString value = parser.value(option);
    if (parser.isSet(option) && value.isEmpty()) {
        throw CUsageError(u"--%1 needs the name of a file or directory"_s.arg(option.names().first()));
    }
    if (value == u"-") {
        throw CUsageError(
            u"--%1 cannot use a standard stream, which is the program's; a file named - is ./-"_s.arg(
                option.names().first()));
    }
    return BytesOf(value);
}

/// Refuses a recording that cannot be replayed, and options about what it contains.
void CheckRecording(const TraceFile_T& trace, const QCommandLineParser& parser, const OptionSet_T& set)
{
    if (trace.recording == Recording::Unfinished) {
        throw CUsageError(trace.name +
                          ": the recording is unfinished: its program was killed, or its disk was full");
    }
    for (const TraceRemark_T& remark : trace.remarks) {
        if (remark.text.starts_with(TraceWord::c_Lacks)) {
            throw CUsageError(PlaceIn(trace.name, remark.line) + "the recording " + Excerpt(remark.text));
        }
    }
    for (const QCommandLineOption* const pOption : {&set.set, &set.copy, &set.remove, &set.firmwareVersion}) {
        if (trace.recording == Recording::Complete && parser.isSet(*pOption)) {
            throw CUsageError(
                u"--%1 cannot go with the replay of a recording, which has the unit's files"_s.arg(
                    pOption->names().first()));
        }
    }
}

std::optional<TraceFile_T> ReadTraceOption(const QCommandLineParser& parser, const QCommandLineOption& option)
{
    const fs::path file = PathValue(parser, option);
    if (file.empty()) {
        return std::nullopt;
    }
    try {
        return ReadTraceFile(file);
    } catch (const std::runtime_error& error) {
        throw CUsageError(std::string(error.what()));
    }
}

std::optional<TraceFile_T> ReadReplay(const QCommandLineParser& parser, const OptionSet_T& set)
{
    std::optional<TraceFile_T> trace = ReadTraceOption(parser, set.replay);
    for (const QCommandLineOption* const pOption : {&set.fault, &set.truth}) {
        if (trace && parser.isSet(*pOption)) {
            throw CUsageError(u"--%1 cannot go with --replay: the devices answer what the trace says"_s.arg(
                pOption->names().first()));
        }
    }
    if (trace) {
        CheckRecording(*trace, parser, set);
    }
    return trace;
}

/// Whether two names are of one file, which may not exist yet. False for devices such as /dev/null.
bool IsSameFile(const fs::path& one, const fs::path& other)
{
    std::error_code ignored;
    if (one.empty() || other.empty() || fs::is_other(fs::status(one, ignored))) {
        return false;
    }
    const fs::path place = fs::weakly_canonical(fs::absolute(one), ignored);
    return fs::equivalent(one, other, ignored) ||
           (!place.empty() && place == fs::weakly_canonical(fs::absolute(other), ignored));
}

/// Refuses to write a file that is also read, or written for another option.
void CheckFiles(const Options_T& options)
{
    using File_T = std::pair<const char*, fs::path>;
    std::vector<File_T> files = {{"--replay", options.replay ? options.replay->name : ""},
                                 {"--scene", options.scene},
                                 {"--program", options.program}};
    for (const FileChange_T& change : options.fileChanges) {
        files.emplace_back("--copy", change.kind == FileChange_T::Kind::Copy ? change.value : "");
    }
    for (const File_T& result : {File_T{"--trace", options.trace}, File_T{"--truth", options.truth},
                                 File_T{"--calls", options.calls}, File_T{"--report", options.report}}) {
        const auto same = std::ranges::find_if(
            files, [&](const File_T& file) { return IsSameFile(result.second, file.second); });
        if (same != files.end()) {
            throw CUsageError(std::string(result.first) + " and " + same->first + " name the same file, " +
                              result.second.string());
        }
        files.push_back(result);
    }
}

/// Refuses changes that sonarbench would not see.
void CheckFileChanges(const Options_T& options)
{
    for (const FileChange_T& change : options.fileChanges) {
        const std::string file = change.file;
        if (std::ranges::find(options.arguments, file) == options.arguments.end() &&
            !IsSeen(file, *options.product)) {
            throw CUsageError(std::string("the unit ") + options.product->name + " has no file " + file +
                              ", and sonarbench does not read it" +
                              DidYouMean(file, UnitFileNames(*options.product)));
        }
    }
}

Options_T Read(const QCommandLineParser& parser, const OptionSet_T& set)
{
    Options_T options;
    if (parser.isSet(set.timeLimit)) { // first, because a pipe can keep the others waiting
        StartTimeLimit(TimeLimit(parser.value(set.timeLimit)));
    }
    options.replay = ReadReplay(parser, set);
    options.product = &ProductNamed(BytesOf(parser.value(set.product)));
    options.check = ReadTraceOption(parser, set.checkTrace);
    for (const auto* const pTrace : {&options.replay, &options.check}) {
        if (const auto& trace = *pTrace) {
            const Product_T& recorded = ProductNamed(trace->unit, PlaceIn(trace->name, trace->unitLine));
            options.product = parser.isSet(set.product) ? options.product : &recorded;
            CheckDevices(*trace, *options.product);
        }
    }
    if (options.check) {
        if (!parser.positionalArguments().isEmpty()) {
            throw CUsageError(u"--%1 runs no command"_s.arg(set.checkTrace.names().first()));
        }
        return options;
    }
    options.firmwareVersion = FirmwareVersion(parser.value(set.firmwareVersion));
    // Removals come first, so that what is copied or set stays.
    using Kind = FileChange_T::Kind;
    const std::array<std::pair<const QCommandLineOption&, Kind>, 3> changes = {
        {{set.remove, Kind::Remove}, {set.copy, Kind::Copy}, {set.set, Kind::Text}}};
    for (const auto& [option, kind] : changes) {
        for (const QString& text : parser.values(option)) {
            options.fileChanges.push_back(FileChange(kind, option, text));
        }
    }
    if (options.replay) {
        options.faults = options.replay->callFaults;
    }
    for (const QString& text : parser.values(set.fault)) {
        options.faults.push_back(Fault(text));
    }
    options.scene = PathValue(parser, set.scene);
    options.trace = PathValue(parser, set.trace);
    options.truth = PathValue(parser, set.truth);
    options.calls = PathValue(parser, set.calls);
    options.report = PathValue(parser, set.report);
    options.keep = PathValue(parser, set.keep);
    options.program = PathValue(parser, set.program);
    for (const QString& word : parser.positionalArguments()) {
        options.arguments.push_back(BytesOf(word));
    }
    for (const QString& name : parser.values(set.write)) {
        options.writable.push_back(WritableDirectory(BytesOf(name)));
    }
    options.isShell = parser.isSet(set.shell);
    if (options.isShell && options.arguments.empty()) {
        options.arguments.emplace_back("sh");
    }
    options.mayBeOpen = parser.isSet(set.noIsolation);
    CheckFiles(options);
    std::error_code isMissing; // without /proc, which is refused later
    const fs::path own = fs::read_symlink("/proc/self/exe", isMissing).replace_filename("sonarbench");
    if (options.program.empty()) {
        if (!options.isShell) {
            CheckFileChanges(options);
        }
        options.program = own;
    }
    options.isOwnProgram =
        !options.isShell && (options.program == own || fs::equivalent(options.program, own, isMissing));
    return options;
}

/// Refuses what was probably meant otherwise: an option of the simulator's after the command, and a misspelt
/// command.
void CheckCommand(CCommandLine& line, const OptionSet_T& set, const QStringList& arguments)
{
    const QStringList words = line.Parser().positionalArguments();
    const bool isShell = line.Parser().isSet(set.shell);
    if (isShell || words.isEmpty() || arguments[arguments.size() - words.size() - 1] == u"--") {
        return;
    }
    for (const QString& word : words) {
        if (line.Knows(word)) {
            throw CUsageError(
                u"the option %1 must come before the command; -- before the command passes every "
                "word after it to the program"_s.arg(word));
        }
    }
    const std::string command = BytesOf(words.first());
    std::vector<std::string> commands(c_Commands.size());
    std::ranges::transform(c_Commands, commands.begin(), &CommandRow_T::word);
    const std::string hint = DidYouMean(command, commands);
    if (!line.Parser().isSet(set.program) && !hint.empty() &&
        std::ranges::find(commands, command) == commands.end()) {
        throw CUsageError("unknown command " + command + hint + " (-- before it passes it to the program)");
    }
}
} // namespace

std::optional<Options_T> ReadOptions(const QStringList& arguments)
{
    const OptionSet_T set;
    CCommandLine line(u"sonarbench-sim"_s,
                      u"Makes a simulated unit, runs sonarbench on it and removes the unit.\n"
                      "Standard output, standard error and the exit status are those of the program.\n"
                      "The simulator itself ends with 2 for a wrong command line. It ends with 3 when it\n"
                      "failed, when the program did something that the real device would not understand,\n"
                      "when a fault was never triggered, or when the program departed from the replayed\n"
                      "trace."_s);
    line.Parser().setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    for (const QCommandLineOption* const pOption :
         {&set.product, &set.listProducts, &set.firmwareVersion, &set.scene, &set.truth, &set.trace,
          &set.replay, &set.checkTrace, &set.listFaults, &set.calls, &set.report, &set.keep, &set.program,
          &set.shell, &set.noIsolation, &set.timeLimit}) {
        line.Add(*pOption);
    }
    for (const QCommandLineOption* const pOption :
         {&set.set, &set.copy, &set.remove, &set.fault, &set.write}) {
        line.Add(*pOption, Occurs::Often);
    }
    line.Parser().addPositionalArgument(u"command"_s, u"Command and arguments for sonarbench."_s,
                                        u"[--] [command...]"_s);
    line.AddHelp("\n" + FaultHelp());
    if (!line.Read(arguments)) {
        return std::nullopt;
    }
    if (line.Parser().isSet(set.listProducts)) {
        Print(ProductList());
        return std::nullopt;
    }
    if (line.Parser().isSet(set.listFaults)) {
        Print(FaultList());
        return std::nullopt;
    }
    CheckCommand(line, set, arguments);
    return Read(line.Parser(), set);
}
