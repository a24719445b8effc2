#include "Utilities/FPGAIF.h"

#include "Utilities/FPGAIFCorSPI.h"
#include "Utilities/FPGAIFLSSPI.h"
#include "Utilities/FPGAIFLSUart.h"
#include "Utilities/FPGAIFLumetSPI.h"
#include "Utilities/IOSSFactory.h"
#include "Utilities/ProcessLifetime.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <memory>
#include <span>
#include <string>

namespace
{
/// What a unit is when its product identity is that of a model.
struct Model_T {
    const char* variable; ///< names the model's part number
    unsigned int meaning;
};

constexpr Model_T c_InterfaceTypes[] = {
    {"PRODUCT_ID_LUMETV1", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV2", eFpgaIfLumetSpi},
    {"PRODUCT_ID_LUMETV3", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV4", eFpgaIfLumetSpi},
    {"PRODUCT_ID_LUMETV5", eFpgaIfLumetSpi},    {"PRODUCT_ID_LUMETV6", eFpgaIfLumetSpi},
    {"PRODUCT_ID_LUMETV7", eFpgaIfLumetSpi},    {"PRODUCT_ID_TESSFINV1", eFpgaIfLumetSpi},
    {"PRODUCT_ID_Nr1", eFpgaIfLumetSpi},        {"PRODUCT_ID_Nr2", eFpgaIfLumetSpi},
    {"PRODUCT_ID_Nr3", eFpgaIfLumetSpi},        {"PRODUCT_ID_Varrow", eFpgaIfVarrowUart},
    {"PRODUCT_ID_VarrowX", eFpgaIfVarrowXUart}, {"PRODUCT_ID_Pk1", eFpgaIfLSSpi},
    {"PRODUCT_ID_Pk2", eFpgaIfLSSpi},           {"PRODUCT_ID_Pk3", eFpgaIfLSSpi},
    {"PRODUCT_ID_Pk4", eFpgaIfLSSpi},           {"PRODUCT_ID_QL1A", eFpgaIfQL1AUart},
    {"PRODUCT_ID_QL2A", eFpgaIfQL2AUart},       {"PRODUCT_ID_QL4K", eFpgaIfQL4KSpi},
    {"PRODUCT_ID_QL5K", eFpgaIfQL5KSpi},        {"PRODUCT_ID_QL6M", eFpgaIfQL6MSpi},
};

/// V4 stands before V3, and V5 counts as no variant: both are as the sounder's own software has them.
constexpr Model_T c_LumetVariants[] = {
    {"PRODUCT_ID_LUMETV1", 1},   {"PRODUCT_ID_LUMETV2", 2}, {"PRODUCT_ID_LUMETV4", 3},
    {"PRODUCT_ID_LUMETV3", 4},   {"PRODUCT_ID_LUMETV6", 5}, {"PRODUCT_ID_LUMETV7", 6},
    {"PRODUCT_ID_TESSFINV1", 7}, {"PRODUCT_ID_Nr1", 8},     {"PRODUCT_ID_Nr2", 8},
    {"PRODUCT_ID_Nr3", 8},
};

/// Length of a part number; what a product identity says beyond it does not make another model.
constexpr std::size_t c_PartNumberLength = 6;

/// The meaning of the first model that the unit's identity matches, 0 when there is none. What is not set
/// matches nothing.
unsigned int MatchProduct(IOSSFactory& factory, std::span<const Model_T> models)
{
    const char* identity = factory.GetEnv("PRODUCT_ID");
    const auto matches = [&](const Model_T& model) {
        const char* partNumber = factory.GetEnv(model.variable);
        return identity != nullptr && partNumber != nullptr &&
               std::strncmp(identity, partNumber, c_PartNumberLength) == 0;
    };
    const auto found = std::find_if(models.begin(), models.end(), matches);
    return found != models.end() ? found->meaning : 0;
}
} // namespace

CFPGAIF::CFPGAIF(IOSSFactory* pFactory, XdcrElementIndex_T element) : m_pFactory(pFactory)
{
    assert(pFactory && "No Factory Passed to CFPGAIF");
    m_InterfaceType = static_cast<FpgaInterfaceType_T>(MatchProduct(*pFactory, c_InterfaceTypes));
    if (m_InterfaceType == eFpgaIfLumetSpi) {
        m_LumetVariant = MatchProduct(*pFactory, c_LumetVariants);
    }
    CreateTransport(element);
}

void CFPGAIF::CreateTransport(XdcrElementIndex_T element)
{
    static constexpr struct {
        FpgaInterfaceType_T first;
        FpgaInterfaceType_T last;
        const char* announcement;
        void (CFPGAIF::*pCreate)(XdcrElementIndex_T);
    } c_Transports[] = {
        {eFpgaIfLumetSpi, eFpgaIfLumetSpi, "Running on a Lumet variant - Creating 1 SPI Interface for FPGA",
         &CFPGAIF::CreateLumet},
        {eFpgaIfLSSpi, eFpgaIfLSSpi, "Running on PELION - Creating A SPI Interface for FPGA",
         &CFPGAIF::CreateLSSpi},
        {eFpgaIfVarrowUart, eFpgaIfQL2AUart,
         "Running on ql_sounder 1A , 2A or VRRW - Creating 2 UART Interfaces for FPGA",
         &CFPGAIF::CreateUarts},
        {eFpgaIfQL4KSpi, eFpgaIfQL5KSpi, "Running on ql_sounder 4K / 5K - Creating SPI Interface for FPGA",
         &CFPGAIF::CreateCor},
        {eFpgaIfQL6MSpi, eFpgaIfQL6MSpi, "Running on ql_sounder 6M - Creating SPI Interface for FPGA",
         &CFPGAIF::CreateCor},
    };
    for (const auto& row : c_Transports) {
        if (row.first <= m_InterfaceType && m_InterfaceType <= row.last) {
            Inform(c_Success, row.announcement);
            (this->*row.pCreate)(element);
        }
    }
}

void CFPGAIF::CreateLumet(XdcrElementIndex_T)
{
    m_pLumetIF_SPI = KeepUntilExit(std::make_unique<CFPGAIFLumetSPI>(DevicePath(0), m_pFactory));
    Inform(m_pLumetIF_SPI->GetErrorCode(), "fetching error code from Lumet SPI");
}

void CFPGAIF::CreateLSSpi(XdcrElementIndex_T)
{
    m_pLSIF_SPI = KeepUntilExit(std::make_unique<CFPGAIFLSSPI>(DevicePath(0), m_pFactory));
    assert(m_pLSIF_SPI);
}

void CFPGAIF::CreateUarts(XdcrElementIndex_T)
{
    m_pLSIF_Uart0 = CreateUart(0);
    Inform(m_pLSIF_Uart0->GetErrorCode(), "fetching error code from UART");
    m_pLSIF_Uart1 = CreateUart(1);
}

CFPGAIFLSUart* CFPGAIF::CreateUart(LSChannel_T channel) const
{
    const std::string path = DevicePath(channel);
    return KeepUntilExit(std::make_unique<CFPGAIFLSUart>(
        path.empty() ? CFPGAIFLSUart::DefaultDevice(channel) : path, m_pFactory));
}

void CFPGAIF::CreateCor(XdcrElementIndex_T element)
{
    // The QL6M's wiring crosses: element 0 hangs on the second FPGA, which has no transducer interrupt, and
    // any other element on the first.
    const bool second = m_InterfaceType == eFpgaIfQL6MSpi && element == 0;
    m_pCorIF_SPI =
        KeepUntilExit(std::make_unique<CFPGAIFCorSpi>(!second, DevicePath(second ? 1 : 0), m_pFactory));
    Inform(m_pCorIF_SPI->GetErrorCode(), "fetching error code from Cor SPI");
}

std::string CFPGAIF::DevicePath(LSChannel_T channel) const
{
    const char* path = m_pFactory->GetEnv(channel == 0 ? "FPGA_CHANNEL_0_COMMS" : "FPGA_CHANNEL_1_COMMS");
    return path != nullptr ? path : "";
}

void CFPGAIF::Inform(TSQEventCode_T code, const char* text)
{
    m_pFactory->SendEvent(c_EventInformation, code, "CFPGAIF::CFPGAIF", text);
}
