// Measures the times of the parts that a command waits for; docs/budgets.md has the figures.

#include "Database/DatabaseLumetPingMetaData.h"
#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/Lowscan.h"
#include "Utilities/OSSLinuxFactory.h"
#include "bench/Jobs.h"
#include "framework/TestControllerBase.h"
#include "sonar/SampleBlock.h"
#include "sonar/TableFile.h"

#include <benchmark/benchmark.h>
#include <cstdlib>

namespace
{
constexpr char c_TableFile[] = SONARBENCH_EXAMPLES "/full.txt";

using State_T = benchmark::State;

struct Tables_T {
    ChirpTable_T chirp;
    TVGTable_T tvg;
    CorrelationFilterCoefficients_T correlation;
};

Tables_T Load()
{
    TestControllerBase framework;
    Tables_T tables;
    std::string output;
    if (CTableFile::Open(framework, QStringLiteral(SONARBENCH_EXAMPLES "/full.txt"))
            .LoadTables(tables.chirp, tables.tvg, tables.correlation, &output) != OPERATION_PERFORMED) {
        std::abort();
    }
    return tables;
}

/// The whole configuration of an xK ping, on a device that accepts everything.
void QueueConfiguration(State_T& state)
{
    COSSLinuxFactory factory;
    CFPGAIFCorSpi link(true, "/dev/null", &factory);
    const Tables_T tables = Load();
    const FpgaChnlFltByte_T filter{0xDE};
    while (state.KeepRunning()) {
        link.SetCommandRegister({2});
        link.SetChannelFilterRegister(&filter);
        link.SetADCFrequencyRegister(eFpgaAdcFrequency_T{2});
        link.SetNumberOfSamplesToReceive(4096);
        link.SetSubSampleRate(64);
        link.SetSubSampleMode(FpgaSubSampleMode_T{2});
        link.SetSubSampleThreshold(120);
        link.SetBoostLevel(3);
        link.SetChirpTable(tables.chirp);
        link.SetTVGTable(tables.tvg);
        link.SetBaseBandFilterSubSampleReg(1);
        link.SetBaseBandFilterSelectionReg(1);
        link.SetBaseBandFilterScalingReg(1);
        link.SetBaseBandFilterCentreFreq(500);
        link.SetCorrelationFilter(tables.correlation);
        link.SetCorralationDownShift(2);
        link.SetCorralationScaling(1);
        link.UpdateFPGA();
    }
}
BENCHMARK(QueueConfiguration);

/// A Lowscan link on a device that always delivers zeros.
struct CZeroLink : CLowscan {
    explicit CZeroLink(IOSSFactory* pFactory) : CLowscan("CZeroLink", "/dev/zero", pFactory) { OpenDevice(); }
    using CLowscan::ReceivePing;
    TSQEventCode_T SetRegisters(std::span<const LSRegisterValue_T>) override { return c_Success; }
};

void UnpackPing(State_T& state)
{
    COSSLinuxFactory factory;
    CZeroLink link(&factory);
    std::vector<float> samples(c_MaxSamplesFromLowscanFPGA);
    std::vector<float> values(samples.size());
    Buffer_Bytes_T sampleBytes(reinterpret_cast<std::uint8_t*>(samples.data()),
                               samples.size() * sizeof(float));
    Buffer_Bytes_T valueBytes(reinterpret_cast<std::uint8_t*>(values.data()), values.size() * sizeof(float));
    while (state.KeepRunning()) {
        if (link.ReceivePing(&sampleBytes, &valueBytes) != c_Success) {
            state.SkipWithError("no ping came");
        }
        benchmark::DoNotOptimize(samples.data());
    }
    state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(samples.size()));
}
BENCHMARK(UnpackPing);

template <auto MakeEcho>
void BareLoop(State_T& state)
{
    const auto echo = MakeEcho(static_cast<std::size_t>(state.range()));
    std::string text(echo.size() * 6, '\0');
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(FormatBare(echo, text.data()));
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

void ShortBlock(State_T& state)
{
    const CSilence silence;
    const auto echo = EchoOf(static_cast<std::size_t>(state.range()));
    while (state.KeepRunning()) {
        OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), 1);
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

void FloatBlock(State_T& state)
{
    const CSilence silence;
    const auto echo = ByteEchoOf(static_cast<std::size_t>(state.range()));
    while (state.KeepRunning()) {
        OutputAsString(echo.data(), static_cast<int>(echo.size()));
    }
    state.SetItemsProcessed(state.iterations() * state.range());
}

void Counts(benchmark::internal::Benchmark* pBenchmark)
{
    for (const int samples : {1024, 65536, 1048560}) {
        pBenchmark->Arg(samples);
    }
}
BENCHMARK_TEMPLATE(BareLoop, EchoOf)->Apply(Counts)->Name("BareShorts");
BENCHMARK(ShortBlock)->Apply(Counts);
BENCHMARK_TEMPLATE(BareLoop, ByteEchoOf)->Apply(Counts)->Name("BareFloats");
BENCHMARK(FloatBlock)->Apply(Counts);

void PassOverTable(State_T& state)
{
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(PassOver(c_TableFile));
    }
}
BENCHMARK(PassOverTable);

void ReadTable(State_T& state)
{
    while (state.KeepRunning()) {
        benchmark::DoNotOptimize(Load());
    }
}
BENCHMARK(ReadTable);

void WriteRecord(State_T& state)
{
    char directory[] = "/tmp/sonarbench.XXXXXX";
    if (mkdtemp(directory) == nullptr) {
        state.SkipWithError("no directory for the record");
        return;
    }
    const std::string root = std::string(directory) + "/";
    COSSLinuxFactory factory;
    factory.SetEnv("NONPERSISTED_DATABASE_ROOT", root.c_str(), true);
    CDatabaseLumetPingMetaData record(&factory, 0);
    while (state.KeepRunning()) {
        if (record.writeDB() != c_Success) {
            state.SkipWithError("the record was not written");
        }
    }
    factory.RemoveDirs(directory, true);
}
BENCHMARK(WriteRecord);
} // namespace

BENCHMARK_MAIN();
