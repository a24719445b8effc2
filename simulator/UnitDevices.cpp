#include "simulator/UnitDevices.h"

#include "simulator/CorFpgaModel.h"

#include <cerrno>

namespace
{
constexpr char c_FirstFpga[] = "LSfpga0";
constexpr char c_SecondFpga[] = "LSfpga1";

/// An FPGA of which only the loading of firmware is simulated: everything else is refused.
class CImageOnlyModel final : public IDeviceModel
{
public:
    DeviceOutcome_T Write(ByteView_T) override { return Refuse("a write"); }
    std::size_t IoctlArgumentSize(unsigned long) const override { return 0; }
    DeviceOutcome_T Ioctl(unsigned long, ByteView_T) override { return Refuse("a device request"); }
    DeviceOutcome_T TakeImage(ByteView_T) override { return {.meaning = "firmware image"}; }

private:
    static DeviceOutcome_T Refuse(const std::string& what)
    {
        return {.error = ENOTTY,
                .refusals = {what + " to an FPGA of which only firmware loading is simulated"}};
    }
};

std::unique_ptr<IDeviceModel> MakeXkFpga(const UnitDeviceSetup_T& setup, bool hasFirmware)
{
    const bool isFast = std::string_view(setup.product.fpgaSize) == "1";
    CorFpgaSetup_T fpga{.product = setup.product.name,
                        .scene = setup.scene,
                        .isPowered = setup.isPowered,
                        .clockHz = isFast ? c_CorFastClockHz : c_CorClockHz};
    if (hasFirmware) {
        fpga.firmwareVersion = setup.firmwareVersion;
    }
    return std::make_unique<CCorFpgaModel>(std::move(fpga));
}
} // namespace

std::vector<UnitDevice_T> MakeUnitDevices(const UnitDeviceSetup_T& setup, CFaultPlan& faults)
{
    std::vector<UnitDevice_T> devices;
    const auto add = [&](const char* node, std::unique_ptr<IDeviceModel> device) {
        auto faulty = std::make_unique<CFaultyDevice>(*device, faults);
        devices.push_back({node, std::move(device), std::move(faulty)});
    };
    const Product_T& product = setup.product;
    if (product.link == Link::CorSpi) {
        add(c_FirstFpga, MakeXkFpga(setup, false));
        if (product.twoFpgas) {
            // The unit's start-up loads the second FPGA; the program only ever loads the first.
            add(c_SecondFpga, MakeXkFpga(setup, true));
        }
    } else if (product.firmware.pattern[0] != '\0' || product.setup != Setup::Refused) {
        add(c_FirstFpga, std::make_unique<CImageOnlyModel>());
    }
    return devices;
}
