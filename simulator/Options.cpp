#include "simulator/Options.h"

#include "simulator/unit/UnitDevices.h"
#include "simulator/unit/UnitPlaces.h"

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QFile>

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

/// A command that only some products can carry out.
struct ProductCommand_T {
    const char* name;
    bool (*makesSense)(const Product_T& product);
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

constexpr std::array<ProductCommand_T, 6> c_ProductCommands = {{
    {"loadfpgabinary", LoadsFirmware},
    {"ping", [](const Product_T& product) { return product.link == Link::Uart; }},
    {"lumetping", HasLumetPing},
    {"lowscanping", HasLumetPing},
    {"xkping", IsXkModule},
    {"speed", IsXkModule},
}};

constexpr char c_CommandsOfAll[] =
    "Every product: batteryvoltage lcdtemperature sensepin, and watertemperature where the\n"
    "sensor's file was given with --set.\n";

std::string CommandsOf(const Product_T& product)
{
    std::string text;
    for (const ProductCommand_T& command : c_ProductCommands) {
        if (command.makesSense(product)) {
            text.append(text.empty() ? "" : " ").append(command.name);
        }
    }
    return text.empty() ? "-" : text;
}
/// The products with their links, part numbers and the commands that make sense for them, a line each.
std::string ProductList()
{
    std::string text = "code  name              link         part number  commands\n";
    for (const Product_T& product : Products()) {
        std::array<char, 160> line{};
        std::snprintf(line.data(), line.size(), "%4u  %-16s  %-11s  %-11s  %s\n", product.code, product.name,
                      c_LinkNames[static_cast<std::size_t>(product.link)],
                      product.productId != nullptr ? product.PartNumber() : "-",
                      CommandsOf(product).c_str());
        text += line.data();
    }
    return text + c_CommandsOfAll;
}

/// Wrong usage, in one line.
struct UsageError_T {
    QString text;
};

/// The arguments are decoded as Latin-1, one character a byte, so that any byte comes through.
std::string BytesOf(const QString& text) { return text.toLatin1().toStdString(); }

/// @param place  where the name was read, for the message
const Product_T& ProductNamed(const QString& name, const std::string& place = {})
{
    const auto products = Products();
    const auto found = std::ranges::find_if(
        products, [&](const Product_T& product) { return name == QLatin1StringView(product.name); });
    if (found == products.end()) {
        throw UsageError_T{QString::fromLatin1(place) +
                           u"there is no product \"%1\"; --list-products shows them"_s.arg(name)};
    }
    return *found;
}

/// Refuses a trace of devices that the product's unit has not.
void CheckDevices(const TraceFile_T& trace, const Product_T& product)
{
    const std::vector<std::string> nodes = UnitNodes(product);
    for (const TraceOperation_T& operation : trace.operations) {
        if (std::ranges::find(nodes, operation.device) == nodes.end()) {
            throw UsageError_T{QString::fromLatin1(PlaceIn(trace.name, operation.line) + "the unit " +
                                                   product.name + " has no device " + operation.device)};
        }
    }
}

fs::path UnitFile(const QString& text)
{
    const std::string name = BytesOf(text);
    if (!IsUnitFile(name) || name.find("/../") != std::string::npos || name.ends_with("/..")) {
        throw UsageError_T{
            u"\"%1\" is no file of a unit; it lies below /sys, /corvane or /tmp, or is /VERSION"_s.arg(text)};
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
        throw UsageError_T{u"\"%1\" is not of the form %2"_s.arg(text, option.valueName())};
    }
    return {kind, UnitFile(text.left(separator)), BytesOf(text.mid(separator + 1))};
}

std::uint8_t FirmwareVersion(const QString& text)
{
    bool isNumber = false;
    const uint version = text.toUInt(&isNumber);
    if (!isNumber || version > 255) {
        throw UsageError_T{u"\"%1\" is no firmware version; it is a number from 0 to 255"_s.arg(text)};
    }
    return static_cast<std::uint8_t>(version);
}

Fault_T Fault(const QString& text)
{
    try {
        return FaultOf(BytesOf(text));
    } catch (const std::invalid_argument& error) {
        throw UsageError_T{QString::fromLatin1(error.what())};
    }
}

/// The options by name, each written once for the parser and for the reading.
struct OptionSet_T {
    QCommandLineOption product{u"product"_s, u"The product that the unit is (default QL4K)."_s, u"NAME"_s,
                               u"QL4K"_s};
    QCommandLineOption listProducts{u"list-products"_s, u"Lists the products and ends."_s};
    QCommandLineOption set{
        u"set"_s,
        u"Gives a file of the unit this content and a line end; no content empties it. Repeatable."_s,
        u"FILE=VALUE"_s};
    QCommandLineOption copy{u"copy"_s, u"Gives a file of the unit the content of another file. Repeatable."_s,
                            u"FILE=PATH"_s};
    QCommandLineOption remove{u"remove"_s, u"Takes a file of the unit away. Repeatable."_s, u"FILE"_s};
    QCommandLineOption firmwareVersion{u"firmware-version"_s,
                                       u"Version of the unit's firmware image, 0 to 255 (default 1)."_s,
                                       u"N"_s, u"1"_s};
    QCommandLineOption scene{u"scene"_s, u"What lies below the transducer, as a JSON file."_s, u"FILE"_s};
    QCommandLineOption trace{u"trace"_s, u"Writes one line for each operation on a device."_s, u"FILE"_s};
    QCommandLineOption replay{
        u"replay"_s, u"Lets the devices answer from a trace, which says the product, too."_s, u"FILE"_s};
    QCommandLineOption fault{u"fault"_s, u"Makes one operation go wrong; see below. Repeatable."_s,
                             u"SPEC"_s};
    QCommandLineOption listFaults{u"list-faults"_s,
                                  u"Lists the faults, a line OPERATION KIND each, and ends."_s};
    QCommandLineOption calls{u"calls"_s, u"Writes how many operations there were that a fault can befall."_s,
                             u"FILE"_s};
    QCommandLineOption report{u"report"_s, u"Writes a page for people with what the run said and heard."_s,
                              u"FILE"_s};
    QCommandLineOption keep{
        u"keep"_s, u"Leaves the unit's files in this directory, which must not exist yet."_s, u"DIR"_s};
    QCommandLineOption program{u"program"_s, u"The program to run (default: sonarbench beside this one)."_s,
                               u"PATH"_s};
};

fs::path PathValue(const QCommandLineParser& parser, const QCommandLineOption& option)
{
    const QString value = parser.value(option);
    if (parser.isSet(option) && value.isEmpty()) {
        throw UsageError_T{u"--%1 needs a name"_s.arg(option.names().first())};
    }
    if (value == u"-") {
        throw UsageError_T{
            u"--%1 needs a file: the standard streams are the program's; ./- is one of that name"_s.arg(
                option.names().first())};
    }
    return BytesOf(value);
}

/// The trace that is to be replayed. What decides how a model answers makes no sense with it.
std::optional<TraceFile_T> ReadReplay(const QCommandLineParser& parser, const OptionSet_T& set)
{
    const fs::path file = PathValue(parser, set.replay);
    if (file.empty()) {
        return std::nullopt;
    }
    for (const QCommandLineOption* pOption : {&set.scene, &set.fault}) {
        if (parser.isSet(*pOption)) {
            throw UsageError_T{
                u"--%1 cannot go with --replay: the devices answer what the trace says, and nothing else"_s
                    .arg(pOption->names().first())};
        }
    }
    try {
        return ReadTraceFile(file);
    } catch (const std::runtime_error& error) {
        throw UsageError_T{QString::fromLatin1(error.what())};
    }
}

/// Whether two names are those of one file, which may not exist yet. Devices such as /dev/null do not count.
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

/// Refuses to write a file that is written for something else as well, or read.
void CheckFiles(const Options_T& options)
{
    using File_T = std::pair<const char*, fs::path>;
    std::vector<File_T> files = {{"--replay", options.replay ? options.replay->name : ""},
                                 {"--scene", options.scene},
                                 {"--program", options.program}};
    for (const FileChange_T& change : options.fileChanges) {
        files.emplace_back("--copy", change.kind == FileChange_T::Kind::Copy ? change.value : "");
    }
    for (const File_T& result : {File_T{"--trace", options.trace}, File_T{"--calls", options.calls},
                                 File_T{"--report", options.report}}) {
        const auto same = std::ranges::find_if(
            files, [&](const File_T& file) { return IsSameFile(result.second, file.second); });
        if (same != files.end()) {
            throw UsageError_T{u"%1 and %2 name the same file, %3"_s.arg(
                QLatin1StringView(result.first), QLatin1StringView(same->first),
                QString::fromLatin1(result.second.string()))};
        }
        files.push_back(result);
    }
}

Options_T Read(const QCommandLineParser& parser, const OptionSet_T& set)
{
    Options_T options;
    options.replay = ReadReplay(parser, set);
    options.product = &ProductNamed(parser.value(set.product));
    if (const auto& replay = options.replay) {
        const Product_T& replayed =
            ProductNamed(QString::fromLatin1(replay->unit), PlaceIn(replay->name, replay->unitLine));
        options.product = parser.isSet(set.product) ? options.product : &replayed;
        CheckDevices(*replay, *options.product);
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
    options.calls = PathValue(parser, set.calls);
    options.report = PathValue(parser, set.report);
    options.keep = PathValue(parser, set.keep);
    options.program = PathValue(parser, set.program);
    CheckFiles(options);
    if (options.program.empty()) {
        const QByteArray here = QFile::encodeName(QCoreApplication::applicationDirPath());
        options.program = fs::path(here.toStdString()) / "sonarbench";
    }
    return options;
}
} // namespace

std::variant<Options_T, OptionsAnswer_T> ReadOptions(int argc, char** argv)
{
    const OptionSet_T set;
    QCommandLineParser parser;
    parser.setApplicationDescription(
        u"Makes a simulated unit, runs sonarbench on it and removes the unit.\n"
        "Standard output, standard error and the exit status are the program's; the\n"
        "simulator itself ends with 2 for wrong usage, and with 3 when it failed, when\n"
        "the program asked of a device what the real one would not understand, when a\n"
        "fault befell nothing, or when the program departed from the replayed trace."_s);
    parser.setOptionsAfterPositionalArgumentsMode(QCommandLineParser::ParseAsPositionalArguments);
    const QCommandLineOption help = parser.addHelpOption();
    const QString fullHelp = u"help-all"_s; // which comes with it
    parser.addOptions({set.product, set.listProducts, set.set, set.copy, set.remove, set.firmwareVersion,
                       set.scene, set.trace, set.replay, set.fault, set.listFaults, set.calls, set.report,
                       set.keep, set.program});
    parser.addPositionalArgument(u"command"_s, u"Command and arguments for sonarbench."_s,
                                 u"[--] [command...]"_s);

    const auto wrongUsage = [](const QString& text) {
        return OptionsAnswer_T{2, "sonarbench-sim: " + BytesOf(text) + "\n"};
    };
    QStringList arguments;
    for (int i = 0; i < argc; ++i) {
        arguments.append(QString::fromLatin1(argv[i]));
    }
    if (!parser.parse(arguments)) {
        return wrongUsage(parser.errorText());
    }
    if (parser.isSet(help) || parser.isSet(fullHelp)) {
        return OptionsAnswer_T{0, parser.helpText().toStdString() + "\n" + FaultHelp()};
    }
    if (parser.isSet(set.listProducts)) {
        return OptionsAnswer_T{0, ProductList()};
    }
    if (parser.isSet(set.listFaults)) {
        return OptionsAnswer_T{0, FaultList()};
    }
    try {
        Options_T options = Read(parser, set);
        // Qt decodes arguments; the program gets the bytes, which are last in argv.
        const auto count = static_cast<int>(parser.positionalArguments().size());
        options.arguments.assign(argv + argc - count, argv + argc);
        return options;
    } catch (const UsageError_T& error) {
        return wrongUsage(error.text);
    }
}
