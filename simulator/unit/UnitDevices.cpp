#include "simulator/unit/UnitDevices.h"

#include "simulator/models/CorFpgaModel.h"
#include "simulator/models/LowscanSpiModel.h"
#include "simulator/models/LowscanUartModel.h"
#include "simulator/models/LumetFpgaModel.h"

#include <span>

namespace
{
/// The parts of which the devices of one unit are made.
struct Parts_T {
    const Product_T& product;
    const FpgaSetup_T& fpga;
    std::shared_ptr<CLowscanFpgaModel> pLowscan; ///< shared by the nodes of a unit that has this FPGA
};

using Device_T = std::unique_ptr<IDeviceModel>;

Device_T MakeXkFpga(const Parts_T& parts, std::optional<std::uint8_t> firmwareVersion)
{
    const char* const size = parts.product.fpgaSize;
    const bool isFast = size != nullptr && std::string_view(size).ends_with("=1");
    FpgaSetup_T setup = parts.fpga;
    setup.firmwareVersion = firmwareVersion;
    return std::make_unique<CCorFpgaModel>(setup, isFast ? c_CorFastClockHz : c_CorClockHz);
}

/// A node and how its device is made.
struct NodeRow_T {
    const char* node;
    Device_T (*make)(const Parts_T& parts);
};

constexpr char c_FirstFpga[] = "LSfpga0";

constexpr NodeRow_T c_LowscanUart[] = {
    {"ttyO1",
     [](const Parts_T& parts) -> Device_T { return std::make_unique<CLowscanUartModel>(parts.pLowscan, 0); }},
    {"ttyO3",
     [](const Parts_T& parts) -> Device_T { return std::make_unique<CLowscanUartModel>(parts.pLowscan, 1); }},
    {c_FirstFpga,
     [](const Parts_T& parts) -> Device_T { return std::make_unique<CLowscanLoaderModel>(parts.pLowscan); }},
};
constexpr NodeRow_T c_LowscanSpi[] = {
    {c_FirstFpga,
     [](const Parts_T& parts) -> Device_T { return std::make_unique<CLowscanSpiModel>(parts.pLowscan); }},
};
// The modules' start-up leaves the first FPGA to the program, and loads the second.
constexpr NodeRow_T c_XkSpi[] = {
    {c_FirstFpga, [](const Parts_T& parts) { return MakeXkFpga(parts, std::nullopt); }},
    {"LSfpga1", [](const Parts_T& parts) { return MakeXkFpga(parts, parts.fpga.firmwareVersion); }},
};
constexpr NodeRow_T c_LumetSpi[] = {
    {c_FirstFpga,
     [](const Parts_T& parts) -> Device_T { return std::make_unique<CLumetFpgaModel>(parts.fpga); }},
};

/// By Link. A product without a link has an FPGA all the same, which environment variables can select.
constexpr std::span<const NodeRow_T> c_Rows[] = {c_LowscanSpi, c_LowscanUart, c_LowscanSpi, c_XkSpi,
                                                 c_LumetSpi};
static_assert(std::size(c_Rows) == static_cast<std::size_t>(Link::LumetSpi) + 1);

std::span<const NodeRow_T> RowsOf(const Product_T& product)
{
    const auto rows = c_Rows[static_cast<std::size_t>(product.link)];
    return product.link == Link::CorSpi && !product.twoFpgas ? rows.first(1) : rows;
}
} // namespace

std::vector<std::string> UnitNodes(const Product_T& product)
{
    std::vector<std::string> nodes;
    for (const NodeRow_T& row : RowsOf(product)) {
        nodes.emplace_back(row.node);
    }
    return nodes;
}

std::vector<UnitDevice_T> MakeUnitDevices(const Product_T& product, const FpgaSetup_T& fpga,
                                          CFaultPlan& faults)
{
    const Parts_T parts{product, fpga, std::make_shared<CLowscanFpgaModel>(fpga)};
    std::vector<UnitDevice_T> devices;
    for (const NodeRow_T& row : RowsOf(product)) {
        Device_T device = row.make(parts);
        auto faulty = std::make_unique<CFaultyDevice>(*device, faults);
        devices.push_back({row.node, std::move(device), std::move(faulty)});
    }
    return devices;
}
