#include "Database/DatabaseLumetPingMetaData.h"
#include "Database/DatabasePingMetaData.h"
#include "tests/database/RecordFactory.h"

#include <cerrno>
#include <csignal>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{
template <class Record, class Class, class Value>
void Put(Record& record, void (Class::*set)(Value), Value (Class::*get)() const,
         std::type_identity_t<Value> value)
{
    (record.*set)(value);
    EXPECT_EQ((record.*get)(), value);
}

/// Gives the settings that both records have values of their own.
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

const std::string c_Unset = "-2147483648";
const std::string c_Zeros = "0 0.000000 0 0.000000 0 0.000000 0 0.000000 "; // the levels
const std::string c_Defaults = Text("0 255 1024 0.000000 0.000000 0 -1 " + c_Unset + " " + c_Unset +
                                    " 0.000000 0 0.000000 0.000000 1024 " + c_Zeros +
                                    "0 0 0 1024 0 0.000000 0.000000 0.000000 " + c_Unset);
const std::string c_LumetDefaults =
    Text("0 255 2048 0 0 0 65535 65535 0 0 0 0 " + c_Unset + " " + c_Unset + " 0.000000 0 2048 " + c_Zeros +
         "0 0 2048 0 0.000000 0.000000 0.000000 " + c_Unset + " 0 0") +
    "Lumet Channel 255 CorrelationFilterTable Size = 0 \n";
const std::string c_Levels = "215 16.500000 217 18.500000 219 -20.500000 221 22.500000 ";
const std::string c_Corrections = "225 4000000026 4000000027 28.500000 29.500000 30.500000 31";
} // namespace

TEST(RecordFile, EverySettingHasItsLine)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    using R = CDatabasePingMetaData;
    R r(&factory, 0);
    EXPECT_EQ(directory.Read("PingMetaData0.txt"), c_Defaults);
    EXPECT_EQ(r.GetLowscanCoefs()->numberOfSamples, 1024U);
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
    EXPECT_EQ(r.GetLowscanCoefs()->previousDepth, 31);
    // Another record of the same index leaves the file alone until it is told to write.
    R other(&factory, 0);
    EXPECT_THAT(directory.Read("PingMetaData0.txt"), testing::StartsWith("1\n254\n"));
    EXPECT_EQ(other.writeDB(), 0);
    EXPECT_EQ(directory.Read("PingMetaData0.txt"), c_Defaults) << "a tail was left";
}

TEST(RecordFile, LumetSettingsHaveTheirLinesAndTheTableFollows)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    using R = CDatabaseLumetPingMetaData;
    R r(&factory, 12);
    EXPECT_EQ(directory.Read("PingMetaData12.txt"), c_LumetDefaults);
    EXPECT_EQ(r.GetLumetCoefs()->numberOfSamples, 2048U);
    PutShared(r);
    Put(r, &R::SetBasebandCentreFreq, &R::GetBasebandCentreFreq, 4294967290U);
    Put(r, &R::SetSubSampleRate, &R::GetSubSampleRate, 4000000006U);
    Put(r, &R::SetStartFreq, &R::GetStartFreq, 40007);
    Put(r, &R::SetEndFreq, &R::GetEndFreq, 40008);
    Put(r, &R::SetChirpStartFreq, &R::GetChirpStartFreq, 4294967291U);
    Put(r, &R::SetChirpEndFreq, &R::GetChirpEndFreq, 4294967292U);
    Put(r, &R::SetChirpIncrement, &R::GetChirpIncrement, 4294967293U);
    Put(r, &R::SetBurstLengthInFullCycles, &R::GetBurstLengthInFullCycles, 4000000012U);
    const std::string block = Text("1 254 4000000003 223 -6 4000000006 40007 40008 -5 -4 -3 4000000012 -8 9 "
                                   "10.000000 4000000011 4000000014 " +
                                   c_Levels + "224 " + c_Corrections + " 234 235") +
                              "Lumet Channel 254 CorrelationFilterTable Size = ";
    std::size_t pieces = 0, expected = 0;
    std::string uncut;
    factory.afterPiece = [&] { uncut = ++pieces == expected ? directory.Read("PingMetaData12.txt") : ""; };
    std::string old;
    for (const std::size_t size : {4096U, 2U, 0U}) {
        CorrelationFilterCoefficients_T pairs;
        std::string text = block + std::to_string(size) + " \n";
        for (std::int16_t next = -32768; pairs.size() < size; ++next) {
            pairs.push_back({next, static_cast<std::int16_t>(-1 - next)});
            text += std::to_string(next) + "," + std::to_string(-1 - next) + ",";
        }
        r.SetCorrelationTable({.coefficients = pairs, .downShift = 235, .scaling = 234});
        // One for the lines, one for the header, one a pair; the old tail stays to the end.
        pieces = 0;
        expected = 2 + size;
        EXPECT_EQ(r.writeDB(), 0);
        EXPECT_EQ(directory.Read("PingMetaData12.txt"), text);
        EXPECT_EQ(pieces, expected);
        EXPECT_EQ(uncut, text + old.substr(std::min(old.size(), text.size())));
        old = text;
    }
}

TEST(RecordFile, WhatCannotBeWrittenIsNotReportedAsWritten)
{
    const TemporaryDirectory directory;
    const std::string file = directory.Write("file", "") + "/", closed = directory.Path("closed/"),
                      full = directory.Path("full/"), endless = directory.Path("endless/");
    for (const std::string& path : {directory.Path(), closed, full, endless}) {
        mkdir(path.c_str(), 0700);
        chmod(path.c_str(), path == closed ? 0555 : 0755); // others may look, too
    }
    ASSERT_EQ(symlink("/dev/full", (full + "PingMetaData0.txt").c_str()), 0);
    ASSERT_EQ(symlink("/dev/null", (endless + "PingMetaData0.txt").c_str()), 0);
    const std::tuple<std::string, TSQEventCode_T, int> cases[] = {
        {directory.Path("missing/"), ENOENT, 0},
        {file, ENOTDIR, 0},
        {closed, EACCES, 0},
        {full, -142, ENOSPC},
        {endless, -142, EINVAL}}; // takes the text and cannot be cut
    for (const auto& [root, code, reason] : cases) {
        RecordFactory factory(root);
        ASSERT_TRUE(geteuid() != 0 || seteuid(65534) == 0); // permissions do not stop root
        CDatabasePingMetaData record(&factory, 0);
        const TSQEventCode_T again = record.writeDB();
        ASSERT_TRUE(getuid() != 0 || seteuid(0) == 0);
        EXPECT_EQ(record.GetErrorCode(), code) << root;
        EXPECT_EQ(again, code) << root;
        Lines events{Line("3 %d CDatabasePingMetaData constructor: failed to write to DB", code)};
        if (reason != 0) {
            events.push_back(Line("3 %d CDatabasePingMetaData::writeDB(): failed to write contents", reason));
            events.insert(events.begin(), events.back());
        }
        EXPECT_EQ(factory.events, events) << root;
    }
}

TEST(RecordFile, ATableThatOnlyPartlyFitsIsNotReportedAsWritten)
{
    const TemporaryDirectory directory;
    RecordFactory factory(directory.Path());
    CDatabaseLumetPingMetaData record(&factory, 0);
    record.SetCorrelationTable({.coefficients = CorrelationFilterCoefficients_T(4096, {1, 2})});
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit small{1000, usual.rlim_max};
    std::signal(SIGXFSZ, SIG_IGN);
    setrlimit(RLIMIT_FSIZE, &small);
    const TSQEventCode_T code = record.writeDB();
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(code, -142);
    EXPECT_EQ(factory.events,
              Lines{Line("3 %d CDatabaseLumetPingMetaData::writeDB(): failed to write contents", EFBIG)});
    EXPECT_EQ(directory.Read("PingMetaData0.txt").size(), 1000U);
    EXPECT_EQ(record.writeDB() + record.GetErrorCode(), 0) << "there is room again";
}

TEST(RecordFile, WithoutARootItLiesInTheWorkingDirectory)
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
    EXPECT_EQ(record.MessageSize_Bytes(), 5328U);
    EXPECT_EQ(CDatabaseLumetPingMetaData(&fileless, 7).MessageSize_Bytes(), 10468U);
}
