#include "framework/Products.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

TEST(ProductTable, AnIdentityIsAWholeLineOfOneProductOrOneModule)
{
    std::map<std::string_view, int> owners;
    for (const Product_T& product : Products()) {
        for (const std::string_view identity : product.identities) {
            EXPECT_EQ(identity.find('\n'), identity.size() - 1) << identity;
            ++owners[identity];
        }
    }
    EXPECT_EQ(owners.size(), 37U);
    EXPECT_EQ(owners.at("QL3B\n"), 3) << "its boards are told apart by a reading";
}
