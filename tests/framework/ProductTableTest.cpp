#include "framework/Products.h"

#include <algorithm>
#include <gtest/gtest.h>
#include <string>

namespace
{
bool IsAskedForItsBoard(const Product_T& product) { return product.board.low < product.board.high; }

/// Whether no board reading means both products.
bool HaveDistinctBoards(const Product_T& one, const Product_T& other)
{
    return IsAskedForItsBoard(one) && IsAskedForItsBoard(other) &&
           (one.board.high <= other.board.low || other.board.high <= one.board.low);
}
} // namespace

TEST(ProductTable, CodesAreInAscendingOrderAndFindTheirRow)
{
    const auto products = Products();
    ASSERT_FALSE(products.empty());
    EXPECT_EQ(products.front().code, 0U) << "the row of a unit that is not recognised";
    for (std::size_t i = 0; i < products.size(); ++i) {
        EXPECT_STREQ(ProductOf(products[i].code).name, products[i].name);
        if (i > 0) {
            EXPECT_LT(products[i - 1].code, products[i].code) << products[i].name;
        }
    }
    EXPECT_STREQ(ProductOf(27).name, "none");
    EXPECT_STREQ(ProductOf(products.back().code + 1).name, "none");
}

TEST(ProductTable, AnIdentityIsAWholeLineOfOneProductOrOfDistinctBoards)
{
    for (const Product_T& product : Products()) {
        EXPECT_EQ(product.identities.front().empty(), product.code == 0) << product.name;
        EXPECT_EQ(product.identityFile == IdentityFile::None, product.code == 0) << product.name;
        for (const std::string_view identity : product.identities) {
            if (identity.empty()) {
                continue;
            }
            EXPECT_EQ(identity.find('\n'), identity.size() - 1) << product.name << ": " << identity;
            for (const Product_T& other : Products()) {
                const bool isShared = other.code != product.code &&
                                      std::ranges::find(other.identities, identity) != other.identities.end();
                if (isShared) {
                    EXPECT_TRUE(HaveDistinctBoards(product, other))
                        << product.name << " and " << other.name << " are both " << identity;
                }
            }
        }
    }
}

TEST(ProductTable, APartNumberIsThatOfAModelAndOfOneProductWithALink)
{
    for (const Product_T& product : Products()) {
        if (product.productId == nullptr) {
            EXPECT_TRUE(product.link == Link::None) << product.name << " has a link and no part number";
            EXPECT_TRUE(product.setup == Setup::Refused)
                << product.name << " is set up without a part number";
            continue;
        }
        const std::string productId = product.productId;
        const std::string value = std::string("=") + product.PartNumber();
        EXPECT_EQ(productId, "PRODUCT_ID" + value);
        EXPECT_EQ(
            std::ranges::count_if(ModelVariables(),
                                  [&value](std::string_view variable) { return variable.ends_with(value); }),
            1)
            << product.name << ": models with the part number " << value;
        for (const Product_T& other : Products()) {
            const bool isShared = other.code != product.code && other.productId != nullptr &&
                                  other.productId == productId && other.link != Link::None;
            EXPECT_FALSE(isShared) << product.name << " and " << other.name << " are both " << productId;
        }
    }
}
