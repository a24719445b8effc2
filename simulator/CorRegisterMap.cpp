#include "simulator/CorRegisterMap.h"

const CPacketRegisterMap& CorRegisters()
{
    using enum RegisterAccess_T;
    // A value of several bytes is several registers wherever the device takes it byte by byte.
    static const CPacketRegisterMap c_Map({
        {"Command", PacketAddress::c_Command, 1, Write},
        {"Status", PacketAddress::c_Status, 1, Read},
        {"Version", PacketAddress::c_Version, 1, Read},
        {"AdcFrequency", 4, 1, Write},
        {"BoostLevel", 8, 1, Write},
        {"SampleCountLow", CorAddress::c_SampleCount, 1, Write},
        {"SampleCountHigh", CorAddress::c_SampleCount + 1, 1, Write},
        {"ChannelFilter", 18, 1, Write},
        {"OutputDataToLog", 24, 1, Write},
        {"CentreFrequency0", CorAddress::c_CentreFrequency, 1, Write},
        {"CentreFrequency1", CorAddress::c_CentreFrequency + 1, 1, Write},
        {"CentreFrequency2", CorAddress::c_CentreFrequency + 2, 1, Write},
        {"CentreFrequency3", CorAddress::c_CentreFrequency + 3, 1, Write},
        {"BasebandSelection", 36, 1, Write},
        {"BasebandScaling", 37, 1, Write},
        {"BasebandSubSample", CorAddress::c_BasebandSubSample, 1, Write},
        {"CorrelationLength", 48, 1, Write},
        {"CorrelationScaling", 50, 1, Write},
        {"CorrelationDownShift", 51, 1, Write},
        {"SubSampleRate", CorAddress::c_SubSampleRate, 1, Write},
        {"SubSampleMode", 53, 1, Write},
        {"SubSampleThreshold", 56, 2, Write},
        {"SpeedA", CorAddress::c_SpeedA, 1, Read},
        {"SpeedB", CorAddress::c_SpeedB, 1, Read},
        {"TransducerRead", CorAddress::c_TransducerRead, 1, Read},
        {"TransducerWrite", 67, 1, Write},
        {"FifoData", CorAddress::c_FifoData, 0, Stream},
        {"FifoControl", CorAddress::c_FifoData + PacketAddress::c_FifoControl, 1, Write},
        {"FifoStatus", CorAddress::c_FifoData + PacketAddress::c_FifoStatus, 1, Read},
        {"Sync", 96, 1, Write},
        {"TvgLengthLow", 256, 1, Write},
        {"TvgLengthHigh", 257, 1, Write},
        {"ChirpLengthLow", CorAddress::c_ChirpLength, 1, Write},
        {"ChirpLengthHigh", CorAddress::c_ChirpLength + 1, 1, Write},
        {"TvgTable", CorAddress::c_TvgTable, 2048, Table, 2},
        {"ChirpTable", CorAddress::c_ChirpTable, 16384, Table, 4},
        {"CorrelationTable", CorAddress::c_CorrelationTable, 16384, Table, 4},
    });
    return c_Map;
}
