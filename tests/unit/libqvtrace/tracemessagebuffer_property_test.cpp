// Properties of the reader over streams of chance, with fixed seeds.

#include "libqvtrace/record.h"
#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <algorithm>
#include <string>

#include <gtest/gtest.h>

namespace {

std::vector<byteVec_t> someRecords(Numbers& numbers, std::size_t n) {
    std::vector<byteVec_t> records;
    while (records.size() < n) {
        records.push_back(numbers.record());
    }
    return records;
}

/// Gives `stream` in pieces of 1 to `longest` bytes.
void giveInPieces(ScriptedInput& input, const byteVec_t& stream, Numbers& numbers, std::uint32_t longest) {
    for (std::size_t at = 0; at < stream.size();) {
        const std::size_t n = std::min<std::size_t>(1 + numbers.below(longest), stream.size() - at);
        input.gives(part(stream, at, at + n));
        at += n;
    }
}

/// Noise, or what looks most like a record: sync bytes, a header alone, a record cut short or with one wrong
/// byte. Never a sound record.
byteVec_t garbage(Numbers& numbers) {
    byteVec_t bytes = numbers.record();
    switch (numbers.below(5)) {
    case 0: return numbers.bytes(1 + numbers.below(300));
    case 1: return byteVec_t(1 + numbers.below(50), numbers.below(2) == 0 ? 0xA7 : 0x5E);
    case 2: return headerOf(MSGID_CAN_EXT, numbers.below(1025));
    case 3: return part(bytes, 0, 1 + numbers.below(static_cast<std::uint32_t>(bytes.size() - 1)));
    default:
        std::uint8_t& wrong = bytes[numbers.below(static_cast<std::uint32_t>(bytes.size()))];
        wrong = static_cast<std::uint8_t>(wrong + 1 + numbers.below(255));
        return bytes;
    }
}

/// Bytes that begin no record, as many as any broken length can make the reader wait for.
const byteVec_t flush(record::maxSize, 0);

} // namespace

TEST(TraceStream, GivesTheSameMessagesForEachPlaceOfOneCut) {
    Numbers numbers(10);
    const std::vector<byteVec_t> records = someRecords(numbers, 4);
    const byteVec_t stream = joined(records);
    for (std::size_t cut = 1; cut < stream.size(); ++cut) {
        ScriptedInput input;
        input.gives(part(stream, 0, cut)).gives(part(stream, cut, stream.size()));
        Reader reader;
        reader.readAll(input);
        ASSERT_EQ(reader.messages, records) << cut;
        ASSERT_EQ(reader.reports, lines_t());
        ASSERT_EQ(reader.buffered(), 0U);
    }
}

class TraceStreamCut : public testing::TestWithParam<std::uint32_t> {};

TEST_P(TraceStreamCut, IntoPiecesGivesTheSameMessages) {
    Numbers numbers(GetParam());
    const std::vector<byteVec_t> records = someRecords(numbers, 200);
    ScriptedInput input;
    giveInPieces(input, joined(records), numbers, GetParam());
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, records);
    EXPECT_EQ(reader.reports, lines_t());
    EXPECT_EQ(reader.buffered(), 0U);
}

TEST_P(TraceStreamCut, WithGarbageBetweenTheRecordsGivesTheSoundOnes) {
    Numbers numbers(100 + GetParam());
    const std::vector<byteVec_t> records = someRecords(numbers, 200);
    byteVec_t stream;
    for (const byteVec_t& record : records) {
        append(stream, garbage(numbers) + (numbers.below(3) == 0 ? garbage(numbers) : byteVec_t()) + record);
    }
    append(stream, flush);
    ScriptedInput input;
    giveInPieces(input, stream, numbers, GetParam());
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, records);
    EXPECT_EQ(reader.buffered(), 0U);
    EXPECT_EQ(reader.buffer.counts().added, stream.size());
    EXPECT_EQ(reader.buffer.counts().taken, sizeOf(records));
    EXPECT_EQ(reader.buffer.counts().dropped, stream.size() - sizeOf(records));
    EXPECT_FALSE(reader.reports.empty());
}

INSTANTIATE_TEST_SUITE_P(OfUpTo, TraceStreamCut, testing::Values(1U, 2U, 7U, 36U, 100U, 1000U, 4096U, 20000U),
                         [](const auto& row) { return std::to_string(row.param) + "_bytes"; });

TEST(TraceStream, ShowsAnySingleFlippedBitAndKeepsTheNeighbours) {
    Numbers numbers(11);
    const byteVec_t before = numbers.record();
    const byteVec_t after = numbers.record();
    const byteVec_t hit = recordOf(MSGID_CAN_EXT, fields_t{1, 2, 0, 0, CT_STANDARD, 3, counting(20)}.body());
    for (std::size_t bit = 0; bit < 8 * hit.size(); ++bit) {
        byteVec_t broken = hit;
        broken[bit / 8] = static_cast<std::uint8_t>(broken[bit / 8] ^ 1U << bit % 8);
        ScriptedInput input;
        input.gives(before + broken + after).ends();
        Reader reader;
        reader.readAll(input);
        ASSERT_EQ(reader.messages, std::vector<byteVec_t>({before, after})) << bit;
        ASSERT_EQ(reader.buffer.counts().dropped, hit.size()) << bit;
        ASSERT_EQ(reader.reports, lines_t({"trace buffer: passed over 48 bytes outside of any sound record"}))
            << bit;
    }
}

TEST(TraceStream, NeverWaitsForTheBodyOfABrokenLength) {
    Numbers numbers(12);
    const byteVec_t sound = numbers.record();
    for (std::size_t at = 6; at < 8; ++at) {
        for (unsigned int flip = 1; flip < 256; ++flip) {
            byteVec_t broken = sound;
            broken[at] = static_cast<std::uint8_t>(broken[at] ^ flip);
            ScriptedInput input;
            input.gives(broken + sound);
            Reader reader;
            reader.readAll(input);
            ASSERT_EQ(reader.messages, std::vector<byteVec_t>({sound})) << at << ' ' << flip;
        }
    }
}

TEST(TraceStream, FindsASoundRecordInsideOfABrokenOne) {
    Numbers numbers(13);
    const byteVec_t inner = numbers.record(8);
    byteVec_t outer = recordOf(500, counting(10) + inner + counting(10));
    outer.back() = static_cast<std::uint8_t>(outer.back() ^ 1U);
    ScriptedInput input;
    input.gives(outer);
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({inner}));
}

TEST(TraceStream, DeliversNoRecordThatIsThePayloadOfASoundOne) {
    Numbers numbers(14);
    const byteVec_t inner = numbers.record(8);
    const byteVec_t outer = recordOf(500, inner);
    ScriptedInput input;
    input.gives(outer + inner);
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({inner}));
    EXPECT_EQ(reader.reports, lines_t({"trace buffer: passed over 1 record of unknown kind"}));
}

TEST(TraceStream, AccountsForEveryByteAfterEveryCall) {
    Numbers numbers(15);
    ScriptedInput input;
    Reader reader;
    std::uint64_t given = 0;
    std::uint64_t taken = 0;
    for (int i = 0; i < 2000; ++i) {
        const byteVec_t piece = numbers.below(2) == 0 ? numbers.record() : garbage(numbers);
        input.gives(piece);
        given += piece.size();
        ASSERT_EQ(reader.buffer.read(), static_cast<int>(piece.size()));
        ASSERT_EQ(reader.buffer.counts().added, given);
        reader.messages.clear();
        reader.takeAll();
        taken += sizeOf(reader.messages);
        ASSERT_EQ(reader.buffer.counts().taken, taken);
        ASSERT_LT(reader.buffered(), record::maxSize) << "more than one incomplete record stays";
    }
    input.gives(flush);
    reader.readAll(input);
    EXPECT_EQ(reader.buffered(), 0U);
}
