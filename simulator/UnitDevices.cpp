#include "simulator/UnitDevices.h"

#include "simulator/CorFpgaModel.h"
#include "simulator/LowscanSpiModel.h"
#include "simulator/LowscanUartModel.h"
#include "simulator/LumetFpgaModel.h"

#include <cerrno>

namespace
{
constexpr char c_FirstFpga[] = "LSfpga0";
constexpr char c_SecondFpga[] = "LSfpga1";
/// Serial lines of the channels 0 and 1.
constexpr const char* c_SerialLines[CLowscanFpgaModel::c_Channels] = {"ttyO1", "ttyO3"};

/// The node that takes the firmware of an FPGA whose registers hang on serial lines.
class CFirmwareLoader final : public IDeviceModel
{
public:
    explicit CFirmwareLoader(std::shared_ptr<CLowscanFpgaModel> pFpga) : m_pFpga(std::move(pFpga)) {}

    DeviceOutcome_T Write(ByteView_T) override { return Refuse("a write"); }
    std::size_t IoctlArgumentSize(unsigned long) const override { return 0; }
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override { return Refuse("a device request"); }
    DeviceOutcome_T TakeImage(ByteView_T bytes) override { return m_pFpga->TakeImage(bytes); }

private:
    static DeviceOutcome_T Refuse(const std::string& what)
    {
        return {.error = ENOTTY, .refusals = {what + " to a node that only takes firmware"}};
    }

    std::shared_ptr<CLowscanFpgaModel> m_pFpga;
};

/// What a node and its model are made with.
using Add_T = std::function<void(const char* node, std::unique_ptr<IDeviceModel> device)>;

void AddXkFpgas(const Product_T& product, const FpgaSetup_T& fpga, const Add_T& add)
{
    const bool isFast = product.fpgaSize != nullptr && std::string_view(product.fpgaSize).ends_with("=1");
    const double clockHz = isFast ? c_CorFastClockHz : c_CorClockHz;
    // The modules' start-up leaves the first FPGA to the program, and loads the second.
    FpgaSetup_T first = fpga;
    first.firmwareVersion.reset();
    add(c_FirstFpga, std::make_unique<CCorFpgaModel>(first, clockHz));
    if (product.twoFpgas) {
        add(c_SecondFpga, std::make_unique<CCorFpgaModel>(fpga, clockHz));
    }
}

void AddLumetFpga(const Product_T&, const FpgaSetup_T& fpga, const Add_T& add)
{
    add(c_FirstFpga, std::make_unique<CLumetFpgaModel>(fpga));
}

void AddLowscanLines(const Product_T&, const FpgaSetup_T& fpga, const Add_T& add)
{
    const auto pFpga = std::make_shared<CLowscanFpgaModel>(fpga);
    for (std::size_t channel = 0; channel < CLowscanFpgaModel::c_Channels; ++channel) {
        add(c_SerialLines[channel], std::make_unique<CLowscanUartModel>(pFpga, channel));
    }
    add(c_FirstFpga, std::make_unique<CFirmwareLoader>(pFpga));
}

void AddLowscanFpga(const Product_T&, const FpgaSetup_T& fpga, const Add_T& add)
{
    add(c_FirstFpga, std::make_unique<CLowscanSpiModel>(std::make_shared<CLowscanFpgaModel>(fpga)));
}

/// By Link. What has no link of its own has the FPGA that an environment can select by itself.
constexpr void (*c_Builders[])(const Product_T&, const FpgaSetup_T&, const Add_T&) = {
    AddLowscanFpga, AddLowscanLines, AddLowscanFpga, AddXkFpgas, AddLumetFpga};
static_assert(std::size(c_Builders) == static_cast<std::size_t>(Link::LumetSpi) + 1);
} // namespace

std::vector<UnitDevice_T> MakeUnitDevices(const UnitDeviceSetup_T& setup, CFaultPlan& faults)
{
    std::vector<UnitDevice_T> devices;
    const Product_T& product = setup.product;
    c_Builders[static_cast<std::size_t>(product.link)](
        product,
        {.product = product.name,
         .scene = setup.scene,
         .isPowered = setup.isPowered,
         .firmwareVersion = setup.firmwareVersion,
         .needsReset = product.firmware.resetsFirst},
        [&](const char* node, std::unique_ptr<IDeviceModel> device) {
            auto faulty = std::make_unique<CFaultyDevice>(*device, faults);
            devices.push_back({node, std::move(device), std::move(faulty)});
        });
    return devices;
}
