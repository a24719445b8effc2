// Command lines of arbitrary bytes, on a unit in which everything works. The first byte of the input chooses
// the product; the rest is the words, each ended by a zero byte.

#include "fuzz/FuzzWorld.h"
#include "fuzz/TableText.h"

#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* pData, std::size_t size)
{
    static const std::string table = TableText();
    CFuzzInput input(pData, size);
    const Product_T& product = input.OneOf<const std::span<const Product_T>>(Products());

    std::vector<std::string> arguments = {"./sonarbench"};
    const auto bytes = input.Take(size);
    std::istringstream words(std::string(bytes.begin(), bytes.end()));
    for (std::string word; std::getline(words, word, '\0');) {
        arguments.push_back(word);
    }

    CFuzzWorld world(product, input, Answer_T::Summed);
    world.files["table.txt"] = table;
    world.Run(std::move(arguments));
    return 0;
}
