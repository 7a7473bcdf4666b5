#include "libqvutil/hexdump.h"
#include "tests/fakes/pieces.h"

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using bytes_t = std::vector<unsigned char>;

std::string dump(const bytes_t& bytes, unsigned int perLine, hexdumpPrefix_t prefix, bool withText) {
    std::ostringstream out;
    const unsigned char* const first = bytes.data();
    hexdump(out, first, first + bytes.size(), "raw", perLine, prefix, withText);
    return out.str();
}

bytes_t counting(unsigned char from, std::size_t n) {
    bytes_t bytes(n);
    for (std::size_t i = 0; i < n; ++i) {
        bytes[i] = static_cast<unsigned char>(from + i);
    }
    return bytes;
}

/// A pointer as the dump writes it.
std::string address(const void* pointer) {
    std::ostringstream out;
    out << std::hex << std::setfill('0') << std::setw(2 * sizeof pointer)
        << reinterpret_cast<std::uintptr_t>(pointer);
    return out.str();
}

} // namespace

TEST(HexDump, WritesTitleBytesAndPrintableCharacters) {
    EXPECT_EQ(dump(counting('A', 8), 4, HEXDUMP_PREFIX_NONE, true), "raw\n"
                                                                    "41 42 43 44  |ABCD|\n"
                                                                    "45 46 47 48  |EFGH|\n");
}

TEST(HexDump, LeavesTheCharactersOut) {
    EXPECT_EQ(dump({0x00, 0xAB, 0x7F}, 2, HEXDUMP_PREFIX_NONE, false), "raw\n"
                                                                       "00 ab\n"
                                                                       "7f\n");
}

TEST(HexDump, AlignsTheCharactersOfAShortLastLine) {
    EXPECT_EQ(dump(counting('a', 5), 4, HEXDUMP_PREFIX_NONE, true), "raw\n"
                                                                    "61 62 63 64  |abcd|\n"
                                                                    "65           |e|\n");
}

TEST(HexDump, ShowsADotForWhatIsNotPrintableAscii) {
    EXPECT_EQ(dump({0x1F, 0x20, 0x7E, 0x7F, 0x80, 0xFF}, 6, HEXDUMP_PREFIX_NONE, true),
              "raw\n1f 20 7e 7f 80 ff  |. ~...|\n");
}

TEST(HexDump, PrefixesLinesWithTheOffset) {
    EXPECT_EQ(dump(counting(0, 5), 2, HEXDUMP_PREFIX_OFFSET, false), "raw\n"
                                                                     "00000000: 00 01\n"
                                                                     "00000002: 02 03\n"
                                                                     "00000004: 04\n");
}

TEST(HexDump, WritesOffsetsInHexadecimal) {
    const std::string text = dump(counting(0, 17), 16, HEXDUMP_PREFIX_OFFSET, true);

    EXPECT_EQ(text, "raw\n"
                    "00000000: 00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f  |................|\n"
                    "00000010: 10                                               |.|\n");
}

TEST(HexDump, PrefixesLinesWithTheAddressInMemory) {
    const bytes_t bytes = counting('0', 3);

    EXPECT_EQ(dump(bytes, 2, HEXDUMP_PREFIX_ADDRESS, true),
              "raw\n" + address(bytes.data()) + ": 30 31  |01|\n" + address(&bytes[2]) + ": 32     |2|\n");
}

TEST(HexDump, PutsSixteenBytesOnALineWhenToldNone) {
    EXPECT_EQ(dump(counting(0, 17), 0, HEXDUMP_PREFIX_NONE, false),
              "raw\n00 01 02 03 04 05 06 07 08 09 0a 0b 0c 0d 0e 0f\n10\n");
}

TEST(HexDump, WritesTheTitleAloneForNoBytes) {
    EXPECT_EQ(dump({}, 16, HEXDUMP_PREFIX_OFFSET, true), "raw\n");
}

TEST(HexDump, ReadsBytesThroughAnyIterator) {
    const std::string bytes = "\xFFz";
    std::ostringstream out;
    hexdump(out, bytes.begin(), bytes.end(), "text", 16, HEXDUMP_PREFIX_NONE, false);
    EXPECT_EQ(out.str(), "text\nff 7a\n");
}

TEST(HexDump, NeitherHeedsNorChangesTheFlagsOfTheStream) {
    const bytes_t bytes = counting(0x0A, 3);
    std::ostringstream out;
    out << std::oct << std::uppercase << std::showbase << std::setfill('*');
    const auto flags = out.flags();

    hexdump(out, bytes.begin(), bytes.end(), "raw", 2, HEXDUMP_PREFIX_OFFSET, true);

    EXPECT_EQ(out.str(), "raw\n00000000: 0a 0b  |..|\n00000002: 0c     |.|\n");
    EXPECT_EQ(out.flags(), flags);
    EXPECT_EQ(out.fill(), '*');
}

TEST(HexDump, IsOneInsertionAndAFlush) {
    std::ostream out(nullptr);
    Pieces pieces(out);
    out.clear();
    const bytes_t bytes = counting(0, 3);

    hexdump(out, bytes.begin(), bytes.end(), "raw", 2, HEXDUMP_PREFIX_NONE, false);

    EXPECT_EQ(pieces.all, std::vector<std::string>{"raw\n00 01\n02\n"});
    EXPECT_EQ(pieces.flushes, 1U);
}
