#include "sonar/LumetSettings.h"
#include "sonar/SonarTestController.h"

namespace
{
constexpr std::uint32_t c_SonarChannel = 0;
} // namespace

int CSonarTestController::LumetPing(std::string* out, const QString& frequency)
{
    const Product_T& product = GetProduct();
    if (!product.ping.keepsFirmware) {
        // What comes of it is dropped: whether there is firmware shows when the ping asks for its version.
        std::string unused;
        LoadFPGABinary(unused, false);
    }
    std::optional<CPingMetaData> ping = LumetSetting(frequency.toLatin1().toStdString());
    if (!ping) {
        return Fail("ERROR: Unknown frequency request.\n", out);
    }
    if (ping->m_Channel == c_SonarChannel && product.ping.lacksSonarChannel) {
        return Fail("ERROR: Channel 0 (Sonar) does not exist. Will not ping.\n", out);
    }
    return Ping(out, *ping);
}
