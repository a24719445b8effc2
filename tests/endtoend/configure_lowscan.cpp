#include "Database/DatabasePingMetaData.h"
#include "PingProcessing/ProgramFpga/ConfigureFpga.h"
#include "Utilities/FPGAIF.h"
#include "Utilities/OSSLinuxFactory.h"

/// Usage: configure_lowscan CHANNELS. Configures the Lowscan FPGA that the environment selects from two
/// records, of which those of the channels (such as 01) are active; exits with 0 when that succeeded.
int main(int, char** argv)
{
    COSSLinuxFactory factory;
    CDatabasePingMetaData first(&factory, 0), second(&factory, 1);
    CDatabasePingMetaData* records[] = {&first, &second};
    for (const bool channel : {false, true}) {
        CDatabasePingMetaData& record = *records[channel];
        record.SetActive(std::string(argv[1]).find(channel ? '1' : '0') != std::string::npos);
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
    CFPGAIF fpga(&factory, 0);
    return CConfigureFpga().Configure(records, &fpga, true) == 0 ? 0 : 1;
}
