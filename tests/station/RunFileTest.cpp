#include "station/transcript/RunFile.h"
#include "station/TestRun.h"
#include "tests/endtoend/VirtualUnit.h"
#include "tests/station/Runs.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

using namespace testing;

namespace
{
const std::string c_Performed = ReportHead({"batteryvoltage"}) + "2873\nTest Result: Operation Performed.\n";

std::string RunFile(const std::string& output)
{
    Record_T record;
    record.unit = "QS1000123";
    record.station = "A";
    record.command = "./sonarbench batteryvoltage";
    record.start = "2026-11-22T10:41:28.123+00:00";
    record.seconds = 1.5;
    record.status = 0;
    record.output = output.size();
    return HeaderText(record, true) + output;
}

/// A clock that goes backwards.
class CBackwards : public IHost
{
public:
    std::string Now() const override
    {
        return "2026-11-22T10:41:0" + std::to_string(m_Second-- % 3) + ".000+00:00";
    }
    double Seconds() const override { return 0; }
    std::string Name() const override { return "bench \n\xff"; }

private:
    mutable int m_Second = 8;
};
} // namespace

TEST(RunFile, PassesOnlyIfItIsWhole)
{
    for (const std::string& output : {c_Performed, c_Performed + c_Performed}) {
        const std::string whole = RunFile(output);
        EXPECT_THAT(CRuns(whole).Good(), Gt(0)) << whole;
        for (std::size_t size = 0; size < whole.size(); ++size) {
            ASSERT_EQ(CRuns(whole.substr(0, size)).Good(), 0) << whole.substr(0, size);
        }
        EXPECT_EQ(CRuns(whole + "\n").All().back().reason, "there is more output than the run file says");
    }
    const std::string text = RunFile(c_Performed);
    const CRuns runs(text);
    EXPECT_EQ(runs.Only().record.unit, "QS1000123");
    EXPECT_EQ(runs.Only().record.seconds, 1.5);
    EXPECT_EQ(runs.Only().unrecognisedCount, 0U);
    EXPECT_EQ(runs.Only().claimedCount, static_cast<std::uint64_t>(std::ranges::count(text, '\n')));
}

TEST(RunFile, IsNotJudgedByItsOutputAlone)
{
    const std::string whole = RunFile(c_Performed);
    struct Case_T {
        std::string from;
        std::string to;
        std::string reason;
    };
    const std::string damaged = "the header of the run file is damaged";
    const Case_T cases[] = {
        {"status: 0", "status: 255", "the command ended with status 255"},
        {"status: 0", "stopped: no time", "no time"},
        {"status: 0\n", "", "the command was not started"},
        {"run: 1", "run: 2", "the run file has a version that this program does not know"},
        {"unit: QS1000123\n", "", damaged},
        {"station: A\n", "station: A\nstation: B\n", damaged},
        {"seconds: 1.5", "seconds: -1", damaged},
        {"seconds: 1.5", "seconds: 1.5 s", damaged},
        {"2026-11-22", "2026-02-30", damaged},
        {"+00:00", "+01:00", damaged},
        {"station: A", "station A", damaged},
        {"\n\n", "\nerror: sonarbench: a.cpp:9: void f(): Assertion `x' failed.\n\n",
         "sonarbench: a.cpp:9: void f(): Assertion `x' failed."},
    };
    for (const Case_T& row : cases) {
        std::string text = whole;
        text.replace(text.find(row.from), row.from.size(), row.to);
        EXPECT_EQ(CRuns(text).Only().outcome, Outcome::NotJudged) << text;
        EXPECT_EQ(CRuns(text).Only().reason, row.reason) << text;
    }
    for (const std::string harmless : {"error: Connection to bench1 closed.\n", "later-name: value\n"}) {
        std::string text = whole;
        text.insert(text.find("\n\n") + 1, harmless);
        EXPECT_EQ(CRuns(text).Good(), 1) << text;
    }
    // A failed run prints the unit's own serial number.
    const std::string failed = CVirtualUnit("HZ02").Run({"lumetping", "200long"}).output;
    EXPECT_EQ(CRuns(RunFile(failed)).Only().outcome, Outcome::Failed);
    EXPECT_EQ(CRuns(RunFile(Replaced(failed, "QS1000123", "QS7"))).Only().reason,
              "the unit's serial number is QS7, not QS1000123");
}

TEST(RunFile, KeepsHostileNamesAndRunsWithoutAClock)
{
    const TemporaryDirectory directory;
    const std::string transcript = directory.Write("transcript", c_Performed);
    const std::string hostile = "\n\nstatus: 0\\\xff\xe2\x80\xae'\";\x1b[2J";
    TestOrder_T order;
    order.unit = order.station = order.operatorName = hostile;
    order.directory = directory.Path("results/of today");
    order.timeout = std::chrono::seconds(60);
    order.command = {"cat", transcript};
    const CBackwards host;
    std::set<std::string> names;
    for (int time = 0; time < 9; ++time) {
        const TestRun_T run = RunTest(order, host);
        EXPECT_EQ(run.failure, "");
        names.insert(run.file);
        std::ifstream file(run.file, std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(file), {}};
        const CRuns runs(text);
        EXPECT_EQ(runs.Good(), 1) << text;
        EXPECT_EQ(runs.Only().record.unit, HeaderValue(hostile));
        EXPECT_EQ(runs.Only().record.operatorName, HeaderValue(hostile));
        EXPECT_EQ(runs.Only().record.host, "bench \\x0a\\xff");
        EXPECT_EQ(runs.Only().record.seconds, 0);
    }
    EXPECT_EQ(names.size(), 9U);
}
