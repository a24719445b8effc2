#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "PingProcessing/ProgramFpga/ConfigureFpga.h"
#include "Utilities/FPGAIF.h"
#include "tests/database/RecordFactory.h"
#include "tests/support/Assertions.h"

#include <cerrno>
#include <filesystem>
#include <gmock/gmock.h>

namespace
{
template <class Record, class Class, class Value>
void Put(Record& record, void (Class::*set)(Value), Value (Class::*get)() const,
         std::type_identity_t<Value> value, int line = __builtin_LINE())
{
    (record.*set)(value);
    EXPECT_EQ((record.*get)(), value) << "the setting of line " << line;
}

/// Gives each setting that both records have a different value.
template <class R>
void PutShared(R& r)
{
    Put(r, &R::SetActive, &R::GetActive, true);
    Put(r, &R::SetRawPingDataState, &R::GetRawPingDataState, 77);
    Put(r, &R::SetChannel, &R::GetChannel, 254);
    Put(r, &R::SetNumberOfSamples, &R::GetNumberOfSamples, 4000000003U);
    Put(r, &R::SetWorkingDepth, &R::GetWorkingDepth, -8);
    Put(r, &R::SetRequestedDepth, &R::GetRequestedDepth, 9);
    Put(r, &R::SetDistancePerSample, &R::GetDistancePerSample, 10.0000004);
    Put(r, &R::SetStartSample, &R::GetStartSample, 4000000011U);
    Put(r, &R::SetNumberOfSamplesToProcess, &R::GetNumberOfSamplesToProcess, 4000000014U);
    Put(r, &R::SetCurrentGainLevelPercentage, &R::GetCurrentGainLevelPercent, 215);
    r.SetCurrentGainLevel(16.5F);
    Put(r, &R::SetCurrentColourGainLevelPercentage, &R::GetCurrentColourGainLevelPercent, 217);
    r.SetCurrentColourGainLevel(18.5F);
    Put(r, &R::SetCurrentClutterLevelPercentage, &R::GetCurrentClutterLevelPercent, 219);
    r.SetCurrentClutterLevel(-20.5F);
    Put(r, &R::SetCurrentBandwidthPercent, &R::GetCurrentBandwidthPercent, 221);
    Put(r, &R::SetCurrentBurstLengthValueInSec, &R::GetCurrentBurstLengthValueInSec, 22.5F);
    Put(r, &R::SetCalculatedSteppedAnalogueGain, &R::GetCalculatedSteppedAnalogueGain, 223);
    Put(r, &R::SetCalculatedBoostLevel, &R::GetCalculatedBoostLevel, 224);
    Put(r, &R::SetCurrentBurstLengthAsPercent, &R::GetCurrentBurstLengthAsPercent, 225);
    Put(r, &R::SetNumberOfSamplesToDisplay, &R::GetNumberOfSamplesToDisplay, 4000000026U);
    Put(r, &R::SetSampleDelay, &R::GetSampleDelay, 4000000027U);
    Put(r, &R::SetCorrectionFactor, &R::GetCorrectionFactor, 28.5F);
    Put(r, &R::SetBurstLengthCorrectionFactor, &R::GetBurstLengthCorrectionFactor, 29.5F);
    Put(r, &R::SetSteppedGainCorrectionFactor, &R::GetSteppedGainCorrectionFactor, 30.5F);
    Put(r, &R::SetPreviousDepth, &R::GetPreviousDepth, 31);
}

/// The text's values, one a line.
std::string Text(const std::string& values)
{
    std::string lines = values + "\n";
    std::ranges::replace(lines, ' ', '\n');
    return lines;
}

const std::string c_Levels = "215 16.500000 217 18.500000 219 -20.500000 221 22.500000 ";
const std::string c_Corrections = "225 4000000026 4000000027 28.500000 29.500000 30.500000 31";
} // namespace

TEST(RecordFile, EverySettingHasItsLine)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    using R = CDatabasePingMetaData;
    R r(&factory, 0);
    const std::string defaults = directory.Read("PingMetaData0.txt");
    EXPECT_EQ(defaults,
              Text("0 255 1024 0.000000 0.000000 0 -1 -2147483648 -2147483648 0.000000 0 0.000000 "
                   "0.000000 1024 0 0.000000 0 0.000000 0 0.000000 0 0.000000 0 0 0 1024 0 0.000000 "
                   "0.000000 0.000000 -2147483648"));
    PutShared(r);
    Put(r, &R::SetStartFreq, &R::GetStartFreq, 4.25);
    Put(r, &R::SetEndFreq, &R::GetEndFreq, 200000.5);
    Put(r, &R::SetNumberOfFullCycles, &R::GetNumberOfFullCycles, 4294967290U);
    Put(r, &R::SetDecimationRate, &R::GetDecimationRate, 7U);
    Put(r, &R::SetColourGain, &R::GetColourGain, 12.25);
    Put(r, &R::SetGain, &R::GetGain, -13.25);
    EXPECT_EQ(r.writeDB(), 0);
    EXPECT_EQ(directory.Read("PingMetaData0.txt"),
              Text("1 254 4000000003 4.250000 200000.500000 -6 7 -8 9 10.000000 -294967285 12.250000 "
                   "-13.250000 4000000014 " +
                   c_Levels + "223 224 " + c_Corrections));
    EXPECT_EQ(r.GetLowscanCoefs()->numberOfSamples, 4000000003U);
    EXPECT_EQ(r.GetLowscanCoefs()->corrections.previousDepth, 31);
    // Another record of the same index leaves the file alone until writeDB() is called.
    R other(&factory, 0);
    EXPECT_THAT(directory.Read("PingMetaData0.txt"), testing::StartsWith("1\n254\n"));
    EXPECT_EQ(other.writeDB(), 0);
    EXPECT_EQ(directory.Read("PingMetaData0.txt"), defaults) << "a tail was left";
}

TEST(RecordFile, LumetSettingsHaveTheirLinesAndTheTableFollowsPieceByPiece)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    using R = CDatabaseLumetPingMetaData;
    R r(&factory, 12);
    std::string old = directory.Read("PingMetaData12.txt");
    EXPECT_EQ(old, Text("0 255 2048 0 0 0 65535 65535 0 0 0 0 -2147483648 -2147483648 0.000000 0 2048 0 "
                        "0.000000 0 0.000000 0 0.000000 0 0.000000 0 0 2048 0 0.000000 0.000000 0.000000 "
                        "-2147483648 0 0") +
                       "Lumet Channel 255 CorrelationFilterTable Size = 0 \n");
    PutShared(r);
    Put(r, &R::SetBasebandCentreFreq, &R::GetBasebandCentreFreq, 4294967290U);
    Put(r, &R::SetSubSampleRate, &R::GetSubSampleRate, 4000000006U);
    Put(r, &R::SetStartFreq, &R::GetStartFreq, 40007);
    Put(r, &R::SetEndFreq, &R::GetEndFreq, 40008);
    Put(r, &R::SetChirpStartFreq, &R::GetChirpStartFreq, 4294967291U);
    Put(r, &R::SetChirpEndFreq, &R::GetChirpEndFreq, 4294967292U);
    Put(r, &R::SetChirpIncrement, &R::GetChirpIncrement, 4294967293U);
    Put(r, &R::SetBurstLengthInFullCycles, &R::GetBurstLengthInFullCycles, 4000000012U);
    EXPECT_EQ(r.GetLumetCoefs()->numberOfSamples, 4000000003U);
    std::size_t pieces = 0, last = 0;
    std::string uncut;
    factory.afterPiece = [&] {
        uncut = directory.Read("PingMetaData12.txt");
        return ++pieces != last;
    };
    const std::pair<CorrelationFilterCoefficients_T, std::string> tables[] = {
        {{{-32768, 32767}, {0, -1}}, "2 \n-32768,32767,0,-1,"}, {{}, "0 \n"}};
    for (const auto& [pairs, end] : tables) {
        const std::string text =
            Text("1 254 4000000003 223 -6 4000000006 40007 40008 -5 -4 -3 4000000012 -8 9 10.000000 "
                 "4000000011 4000000014 " +
                 c_Levels + "224 " + c_Corrections + " 234 235") +
            "Lumet Channel 254 CorrelationFilterTable Size = " + end;
        r.SetCorrelationTable({.coefficients = pairs, .downShift = 235, .scaling = 234});
        pieces = 0;
        EXPECT_EQ(r.writeDB(), 0);
        EXPECT_EQ(directory.Read("PingMetaData12.txt"), text);
        EXPECT_EQ(pieces, 2 + pairs.size()) << "the lines, the header, each pair";
        EXPECT_EQ(uncut, text + old.substr(std::min(old.size(), text.size()))) << "the tail is cut last";
        old = text;
    }
    // After a piece that could not be written, nothing more is written and nothing is cut.
    r.SetCorrelationTable({.coefficients = {{1, 2}, {3, 4}}});
    for (last = 1; last <= 4; ++last) {
        pieces = 0;
        EXPECT_EQ(r.writeDB(), -142);
        EXPECT_EQ(pieces, last);
        EXPECT_EQ(directory.Read("PingMetaData12.txt"), uncut);
    }
}

TEST(RecordFile, AFileThatCannotBeWrittenIsAnError)
{
    const TemporaryDirectory directory;
    const std::tuple<std::string, TSQEventCode_T, int> cases[] = {
        {"/dev/null", -142, EINVAL}, // takes the text and cannot be cut
        {"/dev/full", -142, ENOSPC},
        {directory.Path("missing/file"), ENOENT, 0}};
    for (const auto& [target, code, reason] : cases) {
        std::filesystem::remove(directory.Path("PingMetaData0.txt"));
        std::filesystem::create_symlink(target, directory.Path("PingMetaData0.txt"));
        RecordFactory factory(directory.Path());
        CDatabasePingMetaData record(&factory, 0);
        EXPECT_EQ(record.writeDB(), code) << target;
        EXPECT_EQ(record.GetErrorCode(), code) << target;
        Lines events{Line("3 %d CDatabasePingMetaData constructor: failed to write to DB", code)};
        if (reason != 0) {
            events.push_back(Line("3 %d CDatabasePingMetaData::writeDB(): failed to write contents", reason));
            events.insert(events.begin(), events.back());
        }
        EXPECT_EQ(factory.events, events) << target;
    }
}

TEST(RecordFile, WithoutARootTheFileIsInTheWorkingDirectory)
{
    struct : ScriptedFactory {
        IOSSFile* CreateFile(const char*, int flags, int mode) override
        {
            events.push_back(Line("%x %o", flags, mode));
            return nullptr;
        }
    } fileless;
    const CDatabasePingMetaData record(&fileless, 7);
    EXPECT_EQ(record.GetDBFilePath(), "PingMetaData7.txt");
    EXPECT_EQ(record.GetErrorCode(), 0);
    EXPECT_EQ(fileless.events, Lines{"841 640"});
}

TEST(Configure, LowscanRecordsBecomeARegisterSetInWhichIdleChannelsListenLikeTheirNeighbours)
{
    ScriptedFactory factory;
    factory.environment = {{"PRODUCT_ID", "N"}, {"PRODUCT_ID_Pk1", "N"}, {"FPGA_CHANNEL_0_COMMS", "fpga"}};
    CDatabasePingMetaData records[] = {{&factory, 0}, {&factory, 1}};
    CDatabasePingMetaData* pointers[] = {&records[0], &records[1]};
    CFPGAIF fpga(&factory, 0);
    using Values_T = std::vector<std::uint32_t>;
    const Values_T first{0x01880AC5, 45 << 16, 0x05050001, 0x03030101, 16, 256},
        second{0x45D, 7 << 16, 0x06060001, 0x04040202, 32, 512},
        // Without a period; a sweep that takes no time has the highest rate.
        quietFirst{0xFFFF0AC5, 0, 0x05050001, 0x03030101, 16, 256},
        quietSecond{0x45D, 0, 0x06060001, 0x04040202, 32, 512};
    const std::tuple<std::string, Values_T, Values_T, Values_T> cases[] = {
        {"none", quietSecond, quietFirst, {0x35, 0xA1}},
        {"0", first, quietFirst, {0x05, 0xA1}},
        {"1", quietSecond, second, {0x31, 0xB2}},
        {"01", first, second, {0x35, 0xB2}}};
    for (const auto& [channels, channel0, channel1, shared] : cases) {
        for (const bool channel : {false, true}) {
            CDatabasePingMetaData& record = records[channel];
            record.SetActive(channels.find(channel ? '1' : '0') != std::string::npos);
            record.SetNumberOfFullCycles(channel ? 7 : 45);
            record.SetStartFreq(channel ? 81000 : 200000);
            record.SetEndFreq(channel ? 81000 : 210000);
            record.SetNumberOfSamples(channel ? 0x202 : 0x101);
            record.SetSampleDelay(channel ? 0x404 : 0x303);
            record.SetDecimationRate(channel ? 0x606 : 0x505);
            record.SetGain(channel ? 2 : 1);
            record.SetColourGain(channel ? 0.5 : 0.25);
            record.SetCalculatedSteppedAnalogueGain(channel ? 0x31 : 0x05);
            record.SetCalculatedBoostLevel(channel ? 0xB2 : 0xA1);
        }
        EXPECT_EQ(CConfigureFpga().Configure(pointers, &fpga, true), 0) << channels;
        WireBytes expected{4};
        for (const Values_T* const pValues : {&channel0, &channel1, &shared}) {
            for (const std::uint32_t value : *pValues) {
                expected = expected + LowscanRecord(c_LowscanAddresses.at(expected.size() / 6), value);
            }
        }
        EXPECT_EQ(factory.devices["fpga"].writes.back(), expected) << channels;
    }
}

TEST(RecordFileDeathTest, MisuseFailsAnAssertion)
{
    ScriptedFactory factory;
    factory.environment["NONPERSISTED_DATABASE_ROOT"] = std::string(239, 'x');
    CDatabasePingMetaData record(&factory, 0); // the longest path
    CDatabasePingMetaData* records[] = {&record, nullptr};
    CFPGAIF fpga(&factory, 0);
    CConfigureFpga configure;
    const CDatabaseQL6MPingMetaData* const ql6m = nullptr;
    EXPECT_EQ(configure.Configure(nullptr, nullptr, &fpga, true), 0);
    EXPECT_EQ(configure.Configure(ql6m, &fpga, true), 0);
    record.SetStartFreq(1e308);
    record.SetGain(1e308);
    record.SetColourGain(1e308);
    ExpectAssertions(
        {{[&] { CDatabasePingMetaData(nullptr, 0); }, "m_pFactory"},
         {[&] { CDatabaseLumetPingMetaData(&factory, 10); },
          "m_DatabaseFilePath.length() <= MAX_DATABASE_PATH_LENGTH"},
         {[&] { record.readDB(); }, R"(0 && "CDatabasePingMetaData can't be read from disk!")"},
         {[&] { record.writeDB(); }, "static_cast<size_t>(bytesWritten) < sizeof(writeBuffer)"},
         {[&] { configure.Configure(records, &fpga, true); }, "PingMetaData[0] && PingMetaData[1]"},
         {[&] { configure.Configure(ql6m, nullptr, true); },
          R"(FpgaInterface && "No FpgaInterface Passed to ConfigureFpga")"}});
}
