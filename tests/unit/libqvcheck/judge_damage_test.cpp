// Every byte of a frame, damaged in every way, at the beginning, in the middle and at the end of a stream.

#include "tests/unit/libqvcheck/judged.h"

#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace {

constexpr std::uint32_t frames = 600; // a held frame is decided within 512

/// What is told of a run whose frame 100 comes as `hurt`.
evidence_t evidenceOf(const patternSender_t& from, const receivedFrame_t& hurt) {
    Judged judged;
    judged.see(from, 0, 100).see(hurt).see(from, 101, frames);
    const streamSummary_t s = only(judged.end());
    EXPECT_EQ(s.totals.corrupted, 1U);
    EXPECT_EQ(s.totals.lost, 0U);
    EXPECT_EQ(judged.findings.size(), 1U);
    EXPECT_EQ(judged.first(FK_CORRUPTED).first, from.start + 100);
    return judged.first(FK_CORRUPTED).evidence;
}

using shape_t = std::tuple<bool, std::uint8_t, bool>; // extended, length, answers

class Damage : public testing::TestWithParam<shape_t> {
protected:
    static patternSender_t sender() {
        const auto& [extended, length, answer] = GetParam();
        return {extended ? 0x12345678U : 0x345U, extended, length, answer};
    }

    /// One frame of a run is damaged with `flip` in byte `index`.
    static void expectFound(std::uint32_t number, std::uint8_t index, std::uint8_t flip) {
        const patternSender_t from = sender();
        Judged judged;
        judged.see(from, 0, number);
        receivedFrame_t hurt = from.frame(number);
        hurt.data[index] ^= flip;
        judged.see(from.seen(hurt)).see(from, number + 1, frames);
        const streamSummary_t s = only(judged.end());
        EXPECT_EQ(s.totals.intact, frames - 1);
        EXPECT_EQ(s.totals.corrupted, 1U);
        EXPECT_EQ(s.totals.lost + s.totals.stray + s.totals.reordered, 0U);
        ASSERT_EQ(judged.findings.size(), 1U);
        const finding_t& f = judged.findings[0];
        EXPECT_EQ(f.kind, FK_CORRUPTED);
        EXPECT_EQ(f.first, from.start + number);
        ASSERT_EQ(f.evidence.differing, 1U);
        EXPECT_EQ(f.evidence.bytes[0].index, index);
        EXPECT_EQ(f.evidence.bytes[0].got, hurt.data[index]);
        EXPECT_EQ(f.evidence.bytes[0].wanted, from.frame(number).data[index]);
        EXPECT_EQ(f.evidence.damage, flip == 0xFF ? DT_INVERTED : DT_ONE_BIT);
    }
};

TEST_P(Damage, OfAnyOneByteIsFoundInItsPlace) {
    for (std::uint8_t index = 0; index < std::get<1>(GetParam()); ++index) {
        for (const std::uint32_t number : {0U, frames / 2, frames - 1}) {
            for (const unsigned flip : {0xFFU, 1U, 2U, 4U, 8U, 16U, 32U, 64U, 128U}) {
                SCOPED_TRACE("byte " + std::to_string(index) + " of frame " + std::to_string(number) +
                             " with " + std::to_string(flip));
                expectFound(number, index, static_cast<std::uint8_t>(flip));
                if (HasFatalFailure() || HasNonfatalFailure()) {
                    return; // one is enough to see
                }
            }
        }
    }
}

TEST_P(Damage, OfTheIdentifierIsFoundInItsPlace) {
    const patternSender_t from = sender();
    for (unsigned bit = 0; bit < (from.extended ? 29U : 11U); ++bit) {
        SCOPED_TRACE("bit " + std::to_string(bit));
        receivedFrame_t hurt = from.seen(from.frame(100));
        hurt.canId ^= 1U << bit;
        EXPECT_EQ(evidenceOf(from, hurt).damage, DT_IDENTIFIER);
    }
}

TEST_P(Damage, ThatLengthensOrShortensTheIdentifierIsFoundInItsPlace) {
    const patternSender_t from = sender();
    receivedFrame_t hurt = from.seen(from.frame(100));
    hurt.canId ^= CAN_EFF_FLAG;
    EXPECT_EQ(evidenceOf(from, hurt).damage, DT_WIDTH);
}

INSTANTIATE_TEST_SUITE_P(Shape, Damage,
                         testing::Combine(testing::Bool(), testing::Values(8, 64), testing::Bool()),
                         [](const auto& shape) {
                             return std::string(std::get<0>(shape.param) ? "Extended" : "Standard") +
                                    std::to_string(std::get<1>(shape.param)) +
                                    (std::get<2>(shape.param) ? "Answers" : "Frames");
                         });

class DamageOfLength : public testing::TestWithParam<bool> {};

TEST_P(DamageOfLength, IsFoundInItsPlace) {
    const patternSender_t from = {0x345, false, 64, GetParam()};
    for (const std::uint8_t length : std::initializer_list<std::uint8_t>{4, 5, 8, 12, 32, 48}) {
        SCOPED_TRACE(int{length});
        receivedFrame_t hurt = from.seen(from.frame(100));
        hurt.length = length;
        const evidence_t told = evidenceOf(from, hurt);
        EXPECT_EQ(told.damage, DT_SHORTENED);
        EXPECT_EQ(told.length, length);
    }
}

INSTANTIATE_TEST_SUITE_P(OfAnswers, DamageOfLength, testing::Bool());

TEST(DamageByMixingTwoFrames, IsNamed) {
    const patternSender_t from = {0x1FE, false, 64};
    Judged judged;
    judged.see(from, 0, 2);
    receivedFrame_t mixed = from.frame(2); // counter 200, of which 1FF differs in two bytes
    mixed.data[2] = from.frame(1).data[2];
    mixed.data[3] = from.frame(1).data[3];
    judged.see(mixed).see(from, 3, 30);
    judged.end();
    ASSERT_EQ(judged.found(FK_CORRUPTED), 1U);
    EXPECT_EQ(judged.first(FK_CORRUPTED).evidence.damage, DT_MIXED);
    EXPECT_EQ(judged.first(FK_CORRUPTED).first, 0x200U);
}

} // namespace
