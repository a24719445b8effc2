#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <gtest/gtest.h>

TEST(EchoRun, TheTruthOfAPingIsWhereItsSamplesAre)
{
    const std::pair<const char*, Words_T> rows[] = {
        {"QL4K", {"xkping", "examples/short.txt", "0", "1"}},
        {"QL5K", {"xkping", "examples/full.txt", "0", "1"}},
        {"QL6M", {"xkping", "examples/short.txt", "1", "1"}},
        {"VarrowX", {"ping", "200000", "210000", "27", "45", "0", "low"}},
        {"LumetV2", {"lumetping", "200long"}},
        {"LumetV1", {"lowscanping", "350long"}}};
    for (const auto& [product, arguments] : rows) {
        const TemporaryDirectory directory;
        const std::string scene = directory.Write(
            "scene",
            R"({"bottom": {"depth": 9, "strength": -20}, "noise": 20, "fish": [], "unit": {"seed": 1}})");
        const auto run = CVirtualUnit(product)
                             .Option("--scene", scene)
                             .Option("--truth", directory.Path("truth"))
                             .Run(arguments);
        const auto samples = CRuns(run.output).Only().samples.values;
        const auto truth =
            QJsonDocument::fromJson(QByteArray::fromStdString(directory.Read("truth"))).object();
        const auto of = [&truth](const char* part, const char* name) {
            return truth[QLatin1String(part)][QLatin1String(name)].toDouble();
        };
        ASSERT_EQ(samples.size(), truth[u"samples"].toInt()) << product;
        const auto front = static_cast<std::size_t>(std::ceil(of("bottom", "front")));
        ASSERT_LT(front + 40, samples.size()) << product;
        const double level = of("bottom", "value");
        EXPECT_GT(level, 2 * of("noise", "value")) << product;
        EXPECT_NEAR(samples[front], level, level / 10) << product;
        EXPECT_LT(samples[front - 5], level / 2) << product;
        EXPECT_EQ(of("bottom", "range"), 9) << product;
        const auto quiet = static_cast<std::size_t>(std::ceil(of("ringDown", "end")));
        const double tenth = truth[u"bits"].toInt() == 8 ? 25.5 : 6553.5;
        EXPECT_GT(samples[quiet - 2], tenth) << product;
        EXPECT_LT(samples[quiet + 2], tenth) << product;
    }
}
