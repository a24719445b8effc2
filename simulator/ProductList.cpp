#include "simulator/ProductList.h"

#include "framework/Products.h"

#include <array>
#include <cstdio>

namespace
{
/// Names of the links, in the order of Link.
constexpr std::array<const char*, 5> c_LinkNames = {"-", "UART", "Lowscan SPI", "Cor SPI", "Lumet SPI"};

/// A command that only some products can carry out.
struct ProductCommand_T {
    const char* name;
    bool (*makesSense)(const Product_T& product);
};

// A product that is refused at start-up has no link to ask for the version, or to ping.
bool LoadsFirmware(const Product_T& product)
{
    return product.firmware.pattern[0] != '\0' && product.setup != Setup::Refused;
}

bool HasLumetPing(const Product_T& product)
{
    return product.link == Link::LumetSpi && product.setup != Setup::Refused;
}

bool IsXkModule(const Product_T& product) { return product.link == Link::CorSpi; }

constexpr std::array<ProductCommand_T, 6> c_ProductCommands = {{
    {"loadfpgabinary", LoadsFirmware},
    {"ping", [](const Product_T& product) { return product.link == Link::Uart; }},
    {"lumetping", HasLumetPing},
    {"lowscanping", HasLumetPing},
    {"xkping", IsXkModule},
    {"speed", IsXkModule},
}};

constexpr char c_CommandsOfAll[] =
    "Every product: batteryvoltage lcdtemperature sensepin, and watertemperature where the\n"
    "sensor's file was given with --set.\n";

std::string CommandsOf(const Product_T& product)
{
    std::string text;
    for (const ProductCommand_T& command : c_ProductCommands) {
        if (command.makesSense(product)) {
            text.append(text.empty() ? "" : " ").append(command.name);
        }
    }
    return text.empty() ? "-" : text;
}
} // namespace

std::string ProductList()
{
    std::string text = "code  name              link         part number  commands\n";
    for (const Product_T& product : Products()) {
        std::array<char, 160> line{};
        std::snprintf(line.data(), line.size(), "%4u  %-16s  %-11s  %-11s  %s\n", product.code, product.name,
                      c_LinkNames[static_cast<std::size_t>(product.link)],
                      product.model != nullptr ? product.model->partNumber : "-",
                      CommandsOf(product).c_str());
        text += line.data();
    }
    return text + c_CommandsOfAll;
}
