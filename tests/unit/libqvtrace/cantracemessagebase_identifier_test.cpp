// Identifiers are kept masked to the width of the CAN type.

#include "tests/unit/libqvtrace/tracebytes.h"

#include <string>

#include <gtest/gtest.h>

namespace {

struct width_t {
    const char* name;
    cantype_t canType;
    std::uint32_t values; ///< 2 to the power of the width
};

CANExtTraceMessage messageOf(cantype_t canType, std::uint32_t id) {
    return CANExtTraceMessage(0, 0, CF_STANDARD, CSE_NO, canType, 0, id, byteVec_t(1).data());
}

} // namespace

class IdentifierMask : public testing::TestWithParam<width_t> {
protected:
    const width_t& row = GetParam();

    /// Every power of two and its neighbours, and values of chance.
    template<typename Check>
    void forMany(Check&& check) {
        for (unsigned int bit = 0; bit < 32; ++bit) {
            for (const std::uint32_t offset : {0xFFFFFFFFU, 0U, 1U}) {
                check((1U << bit) + offset);
            }
        }
        Numbers numbers(1);
        for (int i = 0; i < 10000; ++i) {
            check(numbers.any());
        }
    }
};

TEST_P(IdentifierMask, KeepsTheLowBitsOfAnyNumber) {
    forMany([this](std::uint32_t id) {
        ASSERT_EQ(CANTraceMessageBase::fixCanId(id, row.canType), id % row.values) << id;
    });
}

TEST_P(IdentifierMask, IsAppliedByTheConstructor) {
    forMany([this](std::uint32_t id) {
        ASSERT_EQ(messageOf(row.canType, id).getCanId(), id % row.values) << id;
    });
}

TEST_P(IdentifierMask, IsAppliedBySetCanIdWhichLeavesZero) {
    CANExtTraceMessage message = messageOf(row.canType, 5);
    forMany([&](std::uint32_t id) {
        message.setCanId(id);
        ASSERT_EQ(message.getCanId(), id % row.values) << id;
    });
    message.setCanId(row.values);
    EXPECT_EQ(message.getCanId(), 0U);
}

TEST_P(IdentifierMask, IsAppliedByTheMemberFixCanIdWhichReplacesZeroByOne) {
    forMany([this](std::uint32_t id) {
        CANExtTraceMessage message = messageOf(row.canType, id);
        message.fixCanId();
        ASSERT_EQ(message.getCanId(), id % row.values == 0 ? 1 : id % row.values) << id;
    });
}

INSTANTIATE_TEST_SUITE_P(Types, IdentifierMask,
                         testing::Values(width_t{"standard", CT_STANDARD, 1U << 11U},
                                         width_t{"extended", CT_EXTENDED, 1U << 29U},
                                         width_t{"fd_standard", CT_FD_STANDARD, 1U << 11U},
                                         width_t{"fd_extended", CT_FD_EXTENDED, 1U << 29U}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(Identifier, OfAllBitsIsMaskedToTheWidthOfAnFdType) {
    EXPECT_EQ(CANTraceMessageBase::fixCanId(0xFFFFFFFF, CT_FD_EXTENDED), 0x1FFFFFFFU);
    EXPECT_EQ(CANTraceMessageBase::fixCanId(0xFFFFFFFF, CT_FD_STANDARD), 0x7FFU);
}

TEST(Identifier, BeyondElevenBitsBecomesZeroAndOnlyTheMemberFixMakesItOne) {
    CANExtTraceMessage message = messageOf(CT_STANDARD, 0x123);
    message.setCanId(0x800);
    EXPECT_EQ(message.getCanId(), 0U);
    message.fixCanId();
    EXPECT_EQ(message.getCanId(), 1U);
}

TEST(Identifier, IsExtendedExactlyWhenTheTypeWithoutItsFdBitIsOne) {
    EXPECT_FALSE(CANTraceMessageBase::isExtended(CT_STANDARD));
    EXPECT_TRUE(CANTraceMessageBase::isExtended(CT_EXTENDED));
    EXPECT_FALSE(CANTraceMessageBase::isExtended(CT_FD_STANDARD));
    EXPECT_TRUE(CANTraceMessageBase::isExtended(CT_FD_EXTENDED));
}
