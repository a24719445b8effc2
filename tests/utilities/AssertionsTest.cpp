#include "Utilities/FPGAIF.h"
#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "Utilities/OSSLinuxNetwork.h"
#include "tests/support/ScriptedDevice.h"

#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <sys/socket.h>

namespace
{
/// An operating system that makes no files.
struct FilelessFactory : ScriptedFactory {
    IOSSFile* CreateFile(const char*, int, int) override { return nullptr; }
};

using Faults_T = std::vector<std::pair<std::function<void()>, const char*>>;

/// Faults on either packet link; the Lumet one takes a channel too.
template <class Link, class... Channel>
Faults_T FaultsOn(Link& link, Channel... channel)
{
    return {
        {[&] { link.GetStatusRegister(nullptr); }, R"(Status && "no location to store status word")"},
        {[&] { link.GetVersion(nullptr); }, R"(SwVersion && "no location to store SwVersion word")"},
        {[&, channel...] { link.SetNumberOfSamplesToReceive(17, channel...); },
         R"(((NumberOf32bitSamples % 16) == 0) && "Number of Rx samples not a multiple of 16")"},
        {[&, channel...] { link.SetNumberOfSamplesToReceive(1'048'576, channel...); },
         R"(((NumberOf32bitSamples / 16) <= 0x0000FFFF) && "Number of Rx Samples requested is too large")"},
        {[&, channel...] { link.SetCorrelationFilter(CorrelationFilterCoefficients_T(4097), channel...); },
         R"((CorrelationFilter.size() <= Sizeof_CorrelationFilter) && "Correlation Filter table too long")"}};
}

TEST(AssertionsDeathTest, AProgrammingFaultNamesItsCondition)
{
    ScriptedFactory scripted;
    FilelessFactory fileless;
    CFPGAIFCorSpi link(true, "x", &scripted);
    link.SetNumberOfSamplesToReceive(1'048'560); // the limits themselves are in order
    link.SetTVGTable(TVGTable_T(1024));
    CFPGAIFLumetSPI lumet("x", &scripted);
    UINT8 samples[2049] = {};
    Buffer_Bytes_T ping(samples, sizeof samples);
    const std::string longest = "/tmp" + std::string(250, '/') + ".";
    COSSLinuxFile file(longest.c_str(), O_RDONLY, 0), closed("", O_RDWR, 0);
    COSSLinuxFactory factory;
    COSSLinuxNetwork socket(AF_INET, SOCK_DGRAM, 0, NETWORK_TEN);
    PollMembers_T bad = {{-1, 1}};
    UINT8 byte = 0;
    UINT8* const pNone = nullptr;
    const Buffer_Bytes_T buffer(&byte, 1);
    const char* const pNull = nullptr;

    Faults_T faults = {
        {[&] { CFPGAIF(nullptr, 0); }, R"(pFactory && "No Factory Passed to CFPGAIF")"},
        {[&] { CFPGAIFCorSpi(true, "x", nullptr); }, R"(pFactory && "No Factory passed into CFPGAIFCorSpi")"},
        {[&] { CFPGAIFCorSpi(true, "", &scripted); },
         R"(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFCorSpi")"},
        {[&] { CFPGAIFCorSpi(true, "x", &fileless); }, "m_SerialPort"},
        {[&] { link.GetDebugRegister(nullptr, 2); },
         R"(RegisterContents && "no location to store status word")"},
        {[&] { link.GetSpeedReading(nullptr); }, R"(SpeedReading && "no location to store Speed reading")"},
        {[&] { link.SetFilterSelectionRegister(PingConfigRxBand_Auto); },
         R"(false && "Auto is not a valid selection for the filter")"},
        {[&] { link.SetTVGTable(TVGTable_T(1025)); },
         R"((TvgTable.size() <= Sizeof_TVGTable) && "TVG table too long")"},
        {[&] { CFPGAIFLumetSPI("x", nullptr); }, R"(pFactory && "No Factory passed into CFPGAIFLumetSPI")"},
        {[&] { CFPGAIFLumetSPI("", &scripted); },
         R"(SerialDevicePath.length() != 0 && "Zero Length Serial Device Passed to CFPGAIFLumetSPI")"},
        {[&] { CFPGAIFLumetSPI("x", &fileless); }, "m_SerialPort"},
        {[&] { lumet.GetPing(0, &ping, {}); }, "totalBytesWanted <= c_MaxSamplesFromLumetFPGA"},
        {[&] { lumet.GetFifoStatusRegister(nullptr, 0); }, R"(Status && "no location to store status word")"},
        {[&] { lumet.GetDebugRegister(nullptr, 2); }, R"(Status && "no location to store status word")"},
        {[&] { lumet.GetWaterTemp(nullptr); }, R"(AdcValue && "no location to store ADC Value")"},
        {[&] { buffer.size(2); }, "NewSize <= m_Original_Size_Bytes"},
        {[&] { COSSLinuxFile((longest + ".").c_str(), O_RDONLY, 0); },
         R"((m_FileName[sizeof(m_FileName) - 1] == 0) && "File name is too long!")"},
        {[&] { COSSLinuxFile(nullptr, O_RDONLY, 0); }, "Name"},
        {[&] { file.Read(nullptr); }, "Buffer"},
        {[&] { file.ReadStream(pNone); }, "Data"},
        {[&] { closed.ReadStream(&byte); }, "pFile"},
        {[&] { file.ReadStream(reinterpret_cast<char*>(&byte), nullptr); }, "Format"},
        {[&] { file.MultiPoll(nullptr, 0); }, "ElementsToPoll"},
        {[&] { file.MultiPoll(&bad, 0); }, R"((fd != -1) && "bad FileDescriptor specified")"},
        {[&] { factory.CreateFile(nullptr, 0, 0); }, "Name"},
        {[&] { factory.SetEnv("x", nullptr, true); }, "Value"},
        {[&] { factory.CopyDirs(nullptr, "x"); }, "From"},
        {[&] { factory.CopyFile("x", nullptr, FOREGROUND_COPY); }, "To"},
        {[&] { factory.RemoveFiles(nullptr, "x"); }, "Path"},
        {[&] { factory.CreateSoftLink("x", nullptr); }, "Link"},
        {[&] { factory.CreateSoftLink(nullptr, "x"); }, "Target"},
        {[&] { factory.CreateFullPath(nullptr); }, "FullPath"},
        {[&] { factory.CheckForFile("/", nullptr); }, "FileName"},
        {[&] { factory.CheckForFile("/", "/etc"); },
         R"((FileName[0] != '/') && "FileName should not include a leading slash, )"
         R"(that could be the end of the FullPath")"},
        {[&] { COSSLinuxNetwork(-1, -1, -1, NETWORK_TEN); }, "m_Socket != -1"},
        {[&] { socket.Send(nullptr, "", 0); }, "Buffer"},
        {[&] { socket.Send(&buffer, pNull, 0); }, "Address"},
        {[&] { socket.GetSystemIPAddress(nullptr); }, "pIpAddr"},
    };
    for (const Faults_T& more : {FaultsOn(link), FaultsOn(lumet, FPGAChannel_T{1})}) {
        faults.insert(faults.end(), more.begin(), more.end());
    }
    for (const auto& [fault, condition] : faults) {
        EXPECT_DEATH(fault(), testing::HasSubstr(std::string("Assertion `") + condition + "' failed."))
            << condition;
    }
    EXPECT_DEATH(buffer.size(2),
                 "Utilities/ByteBuffer.cpp:[0-9]+: void Buffer_Bytes_T::size\\(size_t\\) const: ");
}
} // namespace
