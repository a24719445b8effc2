// Command lines of arbitrary bytes, on a unit in which everything works. The first byte of the input chooses
// the product; the rest is the words, each ended by a zero byte.

#include "fuzz/FuzzWorld.h"
#include "fuzz/TableText.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    static const std::string table = TableText();
    CFuzzInput input(pData, size);
    const Product_T& product = input.OneOf<const std::span<const Product_T>>(Products());

    std::vector<std::string> arguments = {"./sonarbench"};
    for (bool starts = true; !input.IsEmpty();) {
        if (starts) {
            arguments.emplace_back();
        }
        const char next = static_cast<char>(input.Byte());
        starts = next == '\0';
        if (!starts) {
            arguments.back() += next;
        }
    }

    CFuzzWorld world(product, input, Answer_T::Summed);
    world.files["table.txt"] = table;
    world.Run(std::move(arguments));
    return 0;
}
