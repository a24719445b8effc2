#pragma once

#include <cstddef>
#include <string>

/// The settings of a table file for the fuzz targets; its other numbers are fixed.
struct TableNumbers_T {
    unsigned int filter = 222;
    unsigned long samples = 16;
    unsigned int centreFrequency = 2000;
    std::size_t chirpEntries = 1;
    std::size_t tvgEntries = 1;
    std::size_t correlationEntries = 1;
};

inline std::string TableEntries(std::size_t count, const char* entry)
{
    std::string lines = std::to_string(count) + "\n";
    for (std::size_t at = 0; at < count; ++at) {
        lines += entry;
    }
    return lines;
}

/// A table file that LoadTables accepts.
inline std::string TableText(const TableNumbers_T& numbers = {})
{
    const auto line = [](const char* name, unsigned long value) {
        return std::string("FpgaInterface->") + name + "( " + std::to_string(value) + ");\n";
    };
    return line("SetChannelFilterRegister", numbers.filter) + line("SetADCFrequencyRegister", 2) +
           line("SetNumberOfSamplesToReceive", numbers.samples) + line("SetSubSampleRate", 4) +
           line("SetSubSampleMode", 2) + line("SetSubSampleThreshold", 300) + line("SetBoostLevel", 91) +
           "FpgaInterface->SetChirpTable Details : size " +
           TableEntries(numbers.chirpEntries, "0x0010, 0x02ff\n") +
           "FpgaInterface->SetTVGTable: details size: " + TableEntries(numbers.tvgEntries, "10, 255\n") +
           line("GetBBFilterSubSampleDivisor", 8) + line("SetBaseBandFilterSelection", 1) +
           line("SetBaseBandFilterScalingReg", 3) +
           line("SetBaseBandFilterCentreFreq", numbers.centreFrequency) +
           "FpgaInterface->SetCorrelationFilter Details size " +
           TableEntries(numbers.correlationEntries, "-12, 7\n") + line("SetCorralationDownShift", 2) +
           line("SetCorralationScaling", 1) + "  " + line("SetCorralationScaling", 1) +
           "-------------------CONFIGURE FPGA VALUES  END ----------------\n";
}
