#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "PingProcessing/ProgramFpga/ConfigureFpga.h"
#include "Utilities/FPGAIF.h"
#include "tests/support/ScriptedDevice.h"

#include <functional>
#include <gmock/gmock.h>

TEST(RecordFaultsDeathTest, AProgrammingFaultNamesItsCondition)
{
    ScriptedFactory factory;
    factory.environment["NONPERSISTED_DATABASE_ROOT"] = std::string(239, 'x');
    CDatabasePingMetaData record(&factory, 0); // the longest path
    CDatabaseLumetPingMetaData lumetRecord(&factory, 0);
    CDatabasePingMetaData* records[] = {&record, nullptr};
    CDatabaseLumetPingMetaData* lumetRecords[] = {&lumetRecord, nullptr};
    CDatabasePingMetaData** const noRecords = nullptr;
    CFPGAIF fpga(&factory, 0);
    CConfigureFpga configure;
    const std::string noFpga = R"(FpgaInterface && "No FpgaInterface Passed to ConfigureFpga")";
    const CDatabaseQL6MPingMetaData* const ql6m = nullptr;
    EXPECT_EQ(configure.Configure(nullptr, nullptr, &fpga, true), 0);
    EXPECT_EQ(configure.Configure(ql6m, &fpga, true), 0);

    const std::pair<std::function<void()>, std::string> faults[] = {
        {[&] { CDatabasePingMetaData(nullptr, 0); }, "m_pFactory"},
        {[&] { CDatabaseLumetPingMetaData(&factory, 10); },
         "m_DatabaseFilePath.length() <= MAX_DATABASE_PATH_LENGTH"},
        {[&] { record.readDB(); }, R"(0 && "CDatabasePingMetaData can't be read from disk!")"},
        {[&] { lumetRecord.readDB(); }, R"(0 && "CDatabaseLumetPingMetaData can't be read from disk!")"},
        {[&] { configure.Configure(noRecords, &fpga, true); },
         R"(PingMetaData && "No PingMetaData passed in")"},
        {[&] { configure.Configure(records, nullptr, true); }, R"(LowscanIF && "No LowscanIF passed in")"},
        {[&] { configure.Configure(records, &fpga, true); }, "PingMetaData[0] && PingMetaData[1]"},
        {[&] { configure.Configure(lumetRecords, nullptr); }, noFpga},
        {[&] { configure.Configure(lumetRecords, &fpga); },
         "PingMetaData && PingMetaData[0] && PingMetaData[1]"},
        {[&] { configure.Configure(nullptr, nullptr, nullptr, true); }, noFpga},
        {[&] { configure.Configure(ql6m, nullptr, true); }, noFpga}};
    for (const auto& [fault, condition] : faults) {
        EXPECT_DEATH(fault(), testing::HasSubstr("Assertion `" + condition + "' failed.")) << condition;
    }
    record.SetStartFreq(1e308);
    record.SetGain(1e308);
    record.SetColourGain(1e308);
    EXPECT_DEATH(record.writeDB(), "static_cast<size_t>\\(bytesWritten\\) < sizeof\\(writeBuffer\\)");
}
