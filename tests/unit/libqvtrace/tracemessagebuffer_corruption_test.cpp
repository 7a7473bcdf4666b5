// A long stream on a bad line: what becomes of the undamaged records around the damaged ones.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <string>

#include <gtest/gtest.h>

namespace {

const std::uint32_t recordCount = 10000;
const std::uint32_t oneInSoMany = 50; ///< records is damaged

struct damage_t {
    const char* name;
    void (*apply)(byteVec_t& record, Numbers& numbers);
};

std::ptrdiff_t somewhere(const byteVec_t& record, Numbers& numbers) {
    return static_cast<std::ptrdiff_t>(numbers.below(static_cast<std::uint32_t>(record.size())));
}

void flipABit(byteVec_t& record, Numbers& numbers) {
    std::uint8_t& byte = *(record.begin() + somewhere(record, numbers));
    byte = static_cast<std::uint8_t>(byte ^ 1U << numbers.below(8));
}

void changeABurst(byteVec_t& record, Numbers& numbers) {
    for (auto byte = record.begin() + somewhere(record, numbers); byte != record.end(); ++byte) {
        *byte = static_cast<std::uint8_t>(*byte + 1 + numbers.below(255));
        if (numbers.below(4) == 0) {
            break;
        }
    }
}

void changeTheLength(byteVec_t& record, Numbers& numbers) {
    std::uint8_t& byte = record[6 + numbers.below(2)];
    byte = static_cast<std::uint8_t>(byte + 1 + numbers.below(255));
}

void loseBytes(byteVec_t& record, Numbers& numbers) {
    const auto from = record.begin() + somewhere(record, numbers);
    const auto most = static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(record.end() - from, 20));
    record.erase(from, from + 1 + static_cast<std::ptrdiff_t>(numbers.below(most)));
}

void insertBytes(byteVec_t& record, Numbers& numbers) {
    const byteVec_t more = numbers.bytes(1 + numbers.below(20));
    record.insert(record.begin() + 1 +
                      somewhere(record, numbers) % static_cast<std::ptrdiff_t>(record.size() - 1),
                  more.begin(), more.end());
}

} // namespace

class DamagedLine : public testing::TestWithParam<damage_t> {};

TEST_P(DamagedLine, LosesNoUndamagedRecordAndDelaysNone) {
    Numbers numbers(20);
    ScriptedInput input;
    Reader reader;
    std::uint32_t damaged = 0;
    for (std::uint32_t i = 0; i < recordCount; ++i) {
        const byteVec_t sound = numbers.record();
        byteVec_t arrives = sound;
        const bool damage = numbers.below(oneInSoMany) == 0;
        if (damage) {
            ++damaged;
            GetParam().apply(arrives, numbers);
        }
        input.gives(arrives);
        reader.messages.clear();
        reader.readAll(input);
        // An undamaged record is out as soon as its last byte is in; of a damaged one nothing is ever made
        // up.
        ASSERT_EQ(reader.messages, damage ? std::vector<byteVec_t>() : std::vector<byteVec_t>({sound})) << i;
    }
    EXPECT_GT(damaged, recordCount / oneInSoMany / 2);
    EXPECT_FALSE(reader.reports.empty());
}

INSTANTIATE_TEST_SUITE_P(Kinds, DamagedLine,
                         testing::Values(damage_t{"flipped_bit", flipABit},
                                         damage_t{"changed_burst", changeABurst},
                                         damage_t{"wrong_length", changeTheLength},
                                         damage_t{"lost_bytes", loseBytes},
                                         damage_t{"inserted_bytes", insertBytes}),
                         [](const auto& row) { return std::string(row.param.name); });
