#include "tests/support/Assertions.h"
#include "Utilities/FPGAIF.h"
#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "Utilities/OSSLinuxNetwork.h"
#include "tests/support/ScriptedDevice.h"

#include <fcntl.h>

// Arguments that would overrun a buffer or give the hardware wrong values. Null pointers: one for each layer.
TEST(AssertionsDeathTest, AnArgumentBeyondALimitEndsTheProgram)
{
    ScriptedFactory factory;
    CFPGAIFCorSpi cor(true, "x", &factory);
    CFPGAIFLumetSPI lumet("x", &factory);
    CFPGAIFLSUart uart("u", &factory);
    CFPGAIFLSSPI spi("s", &factory);
    cor.SetNumberOfSamplesToReceive(1'048'560); // the limits themselves are allowed
    cor.SetTVGTable(TVGTable_T(1024));
    WireBytes storage(5000);
    Buffer_Bytes_T ping(storage.data(), 2049), packet(storage.data(), 4 * 1028), exact(&storage[4994], 6);
    factory.devices["u"].replies = {{1, 2, 3, 4}, {5, 6, 7, 8}}; // more than the buffer holds
    const std::string longest = "/tmp" + std::string(250, '/') + ".";
    COSSLinuxFile file(longest.c_str(), O_RDONLY, 0), closed("", O_RDWR, 0);
    PollMembers_T bad = {{-1, 1}};
    ExpectAssertions({
        {[&] { CFPGAIF(nullptr, 0); }, R"(pFactory && "No Factory Passed to CFPGAIF")"},
        {[&] { CFPGAIFCorSpi(true, "", &factory); },
         R"(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFCorSpi")"},
        {[&] { cor.SetNumberOfSamplesToReceive(1'048'576); },
         R"(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large")"},
        {[&] { cor.SetTVGTable(TVGTable_T(1025)); },
         R"((TvgTable.size() <= Sizeof_TVGTable) && "TVG table too long")"},
        {[&] { cor.SetFilterSelectionRegister(PingConfigRxBand_Auto); },
         R"(false && "Auto is not a valid selection for the filter")"},
        {[&] { lumet.SetNumberOfSamplesToReceive(17, 1); },
         R"(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16")"},
        {[&] { lumet.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097), 1); },
         R"((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long")"},
        {[&] { lumet.GetPing(0, &ping, {}); }, "totalBytesWanted <= c_MaxSamplesFromLumetFPGA"},
        {[&] { uart.SetPulse(2, c_PeriodUnknown, 1, 1); }, "Period != c_PeriodUnknown"},
        {[&] { uart.SetSampling(2, 0, 0, 0); }, "((Channel == c_Channel0) || (Channel == c_Channel1))"},
        {[&] { uart.ReceiveData(&packet); }, "bytesWanted <= sizeof(LSPingReturnPacket_T)"},
        {[&] { spi.GetPing(0, &packet, &packet); }, "sizeOfRxBuffer <= sizeof(LSPingReturnPacket_T)"},
        {[&] { uart.ReceiveData(&exact); }, "NewSize <= m_Original_Size_Bytes"},
        {[&] { COSSLinuxFile((longest + ".").c_str(), O_RDONLY, 0); },
         R"((m_FileName[sizeof(m_FileName) - 1] == 0) && "File name is too long!")"},
        {[&] { closed.ReadStream(storage.data()); }, "pFile"},
        {[&] { file.MultiPoll(&bad, 0); }, R"((fd != -1) && "bad FileDescriptor specified")"},
        {[&] { factory.CheckForFile("/", "/etc"); },
         R"((FileName[0] != '/') && "FileName should not include a leading slash, )"
         R"(that could be the end of the FullPath")"},
        {[&] { COSSLinuxNetwork(-1, -1, -1, NETWORK_TEN); }, "m_Socket != -1"},
    });
    EXPECT_DEATH(ping.size(2050),
                 "Utilities/ByteBuffer.cpp:[0-9]+: void Buffer_Bytes_T::size\\(size_t\\) const: ");
    EXPECT_DEATH(CFPGAIF(nullptr, 0), "Utilities/FPGAIF.cpp:[0-9]+: ");
}
