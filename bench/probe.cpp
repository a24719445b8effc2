// Runs one job once, while scripts/budgets counts its instructions and its heap.

#include "bench/Jobs.h"
#include "framework/TestControllerBase.h"
#include "sonar/SampleBlock.h"
#include "sonar/TableFile.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace
{
template <typename Sample>
void Bare(const std::vector<Sample>& samples)
{
    std::string text(samples.size() * 6, '\0');
    text.resize(static_cast<std::size_t>(FormatBare(samples, text.data()) - text.data()));
    std::fwrite(text.data(), 1, text.size(), stdout);
}

void Load(const char* fileName)
{
    TestControllerBase framework;
    ChirpTable_T chirp;
    TVGTable_T tvg;
    CorrelationFilterCoefficients_T correlation;
    std::string output;
    if (CTableFile::Open(framework, QString::fromLocal8Bit(fileName))
            .LoadTables(chirp, tvg, correlation, &output) != OPERATION_PERFORMED) {
        std::fputs(output.c_str(), stderr);
        std::exit(EXIT_FAILURE);
    }
}

/// Makes samples and does something with them.
template <auto MakeEcho, auto Do>
void OnEcho(const char* count)
{
    Do(MakeEcho(std::strtoul(count, nullptr, 10)));
}

void PrintShorts(const std::vector<unsigned short>& echo)
{
    OutputAsStringShort(echo.data(), static_cast<int>(echo.size()), 1);
}

void PrintFloats(const std::vector<float>& echo)
{
    OutputAsString(echo.data(), static_cast<int>(echo.size()));
}

template <typename Sample>
void Drop(const std::vector<Sample>&)
{
}

void Nothing(const char*) {}

constexpr struct {
    std::string_view name;
    void (*run)(const char* sizeOrFile);
} c_Jobs[] = {
    {"make-shorts", OnEcho<EchoOf, Drop<unsigned short>>},
    {"bare-shorts", OnEcho<EchoOf, Bare<unsigned short>>},
    {"shorts", OnEcho<EchoOf, PrintShorts>},
    {"make-floats", OnEcho<ByteEchoOf, Drop<float>>},
    {"bare-floats", OnEcho<ByteEchoOf, Bare<float>>},
    {"floats", OnEcho<ByteEchoOf, PrintFloats>},
    {"nothing", Nothing},
    {"table", Load},
};
} // namespace

int main(int argc, char* argv[])
{
    for (const auto& job : c_Jobs) {
        if (argc == 3 && job.name == argv[1]) {
            job.run(argv[2]);
            return EXIT_SUCCESS;
        }
    }
    std::fputs("usage: sonarbench-probe JOB SIZE-OR-FILE\n", stderr);
    return EXIT_FAILURE;
}
