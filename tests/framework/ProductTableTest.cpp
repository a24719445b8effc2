#include "framework/Products.h"

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace
{

TEST(ProductTable, FindsEveryCodeAndGivesAnIdentityToOneProductOrOneModule)
{
    std::map<std::string_view, int> owners;
    for (const Product_T& product : Products()) {
        EXPECT_EQ(&ProductOf(product.code), &product) << product.name;
        for (const std::string_view identity : product.identities) {
            EXPECT_EQ(identity.find('\n'), identity.size() - 1) << identity;
            ++owners[identity];
        }
    }
    EXPECT_EQ(Products().size(), 30U);
    EXPECT_EQ(owners.size(), 37U);
    EXPECT_EQ(owners.at("QL3B\n"), 3) << "its boards are told apart by a reading";
    EXPECT_EQ(ProductOf(27).code + ProductOf(31).code, 0U);
}

TEST(ProductTable, HasNoRowThatWouldLeaveATestHalfEquipped)
{
    for (const Product_T& product : Products()) {
        SCOPED_TRACE(product.name);
        const bool hasLink = product.link != Link::None;
        const std::string part = product.partNumber;
        EXPECT_EQ(product.identities.empty(), product.identityFile == IdentityFile::None);
        EXPECT_EQ(part.empty(), !hasLink && product.setup != Setup::Display);
        EXPECT_TRUE(hasLink || *product.firmware.pattern == '\0');
        EXPECT_EQ(product.setup == Setup::Refused, product.power == SonarPower::NotKnown);
        EXPECT_EQ(product.adcFrequency != 0, product.link == Link::CorSpi);
        EXPECT_EQ(*product.fpgaSize != '\0', product.link == Link::CorSpi);
        // The FPGA layer finds the model by its part number, so each has one that no other has.
        int models = 0;
        for (const ModelPartNumber_T& model : ModelPartNumbers()) {
            models += part == model.partNumber ? 1 : 0;
        }
        EXPECT_EQ(models, part.empty() ? 0 : 1);
    }
}

} // namespace
