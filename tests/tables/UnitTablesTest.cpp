#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "framework/Products.h"
#include "tests/database/RecordFactory.h"
#include "tests/docs/Page.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/tables/Places.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <regex>

namespace
{
/// The products of README's table: by name, as one of "LumetV1 to LumetV6", or by the letters that displays
/// of one family begin with.
Names_T ProductsOfReadme()
{
    const std::string text = Between(Source("README.md"), "## Products\n", "\n## ");
    const Names_T words = Found(text, R"((\w+))");
    const auto ranges = Matches(text, R"(([A-Za-z]+)(\d+) to ([A-Za-z]+)(\d+))");
    Names_T names = {"none"};
    for (const Product_T& product : Products()) {
        const std::string name = product.name;
        const std::string family = name.substr(0, name.find_last_not_of("0123456789") + 1);
        const std::string digits = name.substr(family.size());
        const int number = digits.empty() ? 0 : std::stoi(digits);
        const bool isInRange = std::ranges::any_of(ranges, [&](const Row_T& range) {
            return range[0] == family && number >= std::stoi(range[1]) && number <= std::stoi(range[3]);
        });
        if (isInRange || words.contains(name) || words.contains(family)) {
            names.insert(name);
        }
    }
    return names;
}

/// PRODUCT_ID_<model> of the product's part number; empty if no model has it.
std::string ModelVariable(const Product_T& product)
{
    for (const std::string variable : ModelVariables()) {
        if (variable.ends_with(std::string("=") + product.PartNumber())) {
            return variable.substr(0, variable.find('='));
        }
    }
    return "";
}

/// The paths of framework/UnitPaths.h.
Words_T Paths()
{
    const std::string header = Source("framework/UnitPaths.h");
    const std::string inputs = Between(header, "#define ADC_DIRECTORY \"", "\"");
    return RowsOf(Found(std::regex_replace(header, std::regex("= ADC_DIRECTORY \""), "= \"" + inputs),
                        R"xx(= "(/[^"]*)")xx"));
}

/// Lines of the file that a new record writes.
template <class Record>
std::ptrdiff_t LinesOfRecord()
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    const Record record(&factory, 0);
    return std::ranges::count(directory.Read("PingMetaData0.txt"), '\n');
}

/// Lines that docs/metadata.md describes in a column.
std::ptrdiff_t DescribedLines(std::size_t column)
{
    return std::ranges::count_if(TableBelow(Source("docs/metadata.md"), "## Lines"),
                                 [column](const Row_T& row) { return !row.at(column).empty(); });
}
} // namespace

TEST(Tables, EachProductIsKnownEverywhere)
{
    Words_T products;
    Names_T withModel, withLink;
    const std::string facade = Source("Utilities/FPGAIF.cpp");
    for (const Product_T& product : Products()) {
        products.emplace_back(product.name);
        const std::string variable = product.productId == nullptr ? "none" : ModelVariable(product);
        if (!variable.empty()) {
            withModel.insert(products.back());
        }
        if (product.link == Link::None ||
            (!variable.empty() && facade.find("{\"" + variable + "\",") != std::string::npos)) {
            withLink.insert(products.back());
        }
    }
    const std::string groups = Between(Source("tests/endtoend/ProductsTest.cpp"), "c_Groups[] = {\n", "\n};");
    Names_T tested;
    for (const Row_T& group : Matches(groups, R"(\{\{("[^}]*)\})")) {
        tested.merge(Found(group[0], R"xx("(\w+)")xx"));
    }
    ExpectKnownEverywhere("product", "framework/Products.cpp", products,
                          {{"framework/Products.cpp", "its part number in c_ModelVariables", withModel},
                           {"Utilities/FPGAIF.cpp", "its model in c_Models", withLink},
                           {"tests/endtoend/ProductsTest.cpp", "a group of c_Groups", tested},
                           {"README.md", "the table of products", ProductsOfReadme()}});
}

TEST(Tables, EachProductThatPingsHasItsPlaceOnTheLine)
{
    Words_T products;
    Names_T withLimits;
    for (const Row_T& line :
         Matches(Printed(SONARBENCH_SIM " --list-products"), R"(\n *\d+ +(\w+) [^\n]*ping)")) {
        products.push_back(line[0]);
        if (!Source("examples/station/limits/" + line[0] + ".json").empty()) {
            withLimits.insert(line[0]);
        }
    }
    ExpectKnownEverywhere(
        "product", "framework/Products.cpp", products,
        {{"scripts/line.py", "its ping in PINGS", Found(Source("scripts/line.py"), R"xx("(\w+)")xx"), true},
         {"examples/station/limits", "its limits, which scripts/line-proof learns", withLimits}});
}

TEST(Tables, EachPathAndVariableIsInTheManual)
{
    const std::string manual = Source("packaging/man/sonarbench.1");
    ExpectKnownEverywhere("path", "framework/UnitPaths.h", Paths(),
                          {{"packaging/man/sonarbench.1", ".Pa below FILES",
                            Found(Between(manual, ".Sh FILES", ".Sh EXIT STATUS"), R"(Pa (/\S+))"), true}});
    // The models' part numbers are described together.
    Names_T variables = Found(Source("sonar/ProductEnvironment.cpp") + Source("framework/Products.cpp"),
                              R"xx("([A-Z][A-Z0-9_]*[A-Z0-9])=)xx");
    std::erase_if(variables, [](const std::string& name) { return name.starts_with("PRODUCT_ID_"); });
    ExpectKnownEverywhere(
        "variable", "sonar/ProductEnvironment.cpp or framework/Products.cpp", RowsOf(variables),
        {{"packaging/man/sonarbench.1", ".Ev below ENVIRONMENT",
          Found(Between(manual, ".Sh ENVIRONMENT", ".Sh FILES"), R"(Ev ([A-Z0-9_]+))"), true}});
}

TEST(Tables, EachSettingOfAPingMetadataRecordIsTestedAndDescribed)
{
    for (const std::string header :
         {"PingMetaDataRecord.h", "DatabasePingMetaData.h", "DatabaseLumetPingMetaData.h"}) {
        // What only goes with a record in memory is set by a pointer or a block.
        ExpectKnownEverywhere(
            "setting", "Database/" + header,
            RowsOf(Found(Source("Database/" + header),
                         R"(void (Set\w+)\((?:std::u?int\w+|bool|double|float) )")),
            {{"tests/database/RecordFileTest.cpp", "a value, and the line that it is on",
              Found(Source("tests/database/RecordFileTest.cpp"), R"((?:::|\.)(Set\w+))"), true}});
    }
    EXPECT_EQ(LinesOfRecord<CDatabasePingMetaData>(), DescribedLines(1)) << "docs/metadata.md, Lowscan";
    // The line above the correlation filter is described below the table.
    EXPECT_EQ(LinesOfRecord<CDatabaseLumetPingMetaData>() - 1, DescribedLines(2))
        << "docs/metadata.md, Lumet";
}

TEST(Tables, EachFaultIsTestedAndDescribed)
{
    const auto shown = Matches(Printed(SONARBENCH_SIM " --help"), R"(\n  ([\w-]+:N=\w+) +(.*))");
    const auto described = Matches(Source("packaging/man/sonarbench-sim.1"),
                                   R"(\n\.It Cm ([\w-]+:)\\& Ns Ar (N) Ns Cm (=) Ns (?:Ar|Cm) (\w+)\n(.*))");
    Words_T faults;
    Names_T values, inManual, tested;
    for (const Row_T& fault : shown) {
        faults.push_back(fault[0]);
        values.merge(Found(fault[0], "=([A-Z]+)$"));
    }
    for (const Row_T& item : described) {
        const std::string fault = item[0] + item[1] + item[2] + item[3];
        const bool isSame = std::ranges::count(shown, Row_T{fault, item[4]}) == 1;
        inManual.insert(fault + (isSame ? "" : " " + item[4]));
    }
    for (const char* const file : {"tests/simulator/FaultsTest.cpp", "tests/endtoend/CallFaultsTest.cpp"}) {
        for (const Row_T& fault :
             Matches(Source(file), R"xx("([\w-]+):[\d*]+=(?:(E[A-Z]+)|(\d+)|(\w+))")xx")) {
            const std::string kind = !fault[1].empty() ? "ERRNO" : !fault[2].empty() ? "VALUE" : fault[3];
            tested.insert(fault[0] + ":N=" + kind);
        }
    }
    const char* const table = "simulator/faults/FaultTable.cpp";
    ExpectKnownEverywhere("fault", table, faults,
                          {{"packaging/man/sonarbench-sim.1", "an item with the words of --help", inManual},
                           {"tests/simulator/FaultsTest.cpp or tests/endtoend/CallFaultsTest.cpp",
                            "its effect", tested, true}});
    // A kind that takes a value is played, and offered, with values.
    const std::string campaign = Source("scripts/fault_campaign.py");
    ExpectKnownEverywhere("kind of fault with a value", table, RowsOf(values),
                          {{"scripts/fault_campaign.py", "values in VALUES",
                            Found(Between(campaign, "\nVALUES", "}"), "\"([A-Z]+)\":")},
                           {"scripts/fault_campaign.py", "values in SLICE_VALUES",
                            Found(Between(campaign, "\nSLICE_VALUES", "}"), "\"([A-Z]+)\":")},
                           {"packaging/completion/sonarbench", "values in _sonarbench_fault",
                            Found(Source("packaging/completion/sonarbench"), R"(\n +([A-Z]+)\) words)")}});
}
