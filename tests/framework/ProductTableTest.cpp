#include "framework/Products.h"

#include <gtest/gtest.h>

#include <string>

namespace
{

bool Overlap(const BoardRange_T& one, const BoardRange_T& other)
{
    // Without a range a product claims every reading.
    return one.high == 0 || other.high == 0 || (one.low < other.high && other.low < one.high);
}

TEST(ProductTable, GivesEveryUnitAtMostOneProduct)
{
    EXPECT_EQ(Products().size(), 30U);
    for (const Product_T& product : Products()) {
        EXPECT_EQ(&ProductOf(product.code), &product);
        for (const std::string_view identity : product.identities) {
            EXPECT_EQ(identity.find('\n'), identity.size() - 1) << identity;
            for (const Product_T& other : Products()) {
                for (const std::string_view otherIdentity : other.identities) {
                    EXPECT_FALSE(&identity != &otherIdentity && product.code != other.code &&
                                 product.identityFile == other.identityFile && identity == otherIdentity &&
                                 Overlap(product.board, other.board))
                        << product.name << " and " << other.name;
                }
            }
        }
        EXPECT_TRUE(&product == &Products().front() || (&product)[-1].code < product.code) << product.name;
    }
    EXPECT_EQ(ProductOf(27).code, 0U);
    EXPECT_EQ(ProductOf(31).code, 0U);
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
