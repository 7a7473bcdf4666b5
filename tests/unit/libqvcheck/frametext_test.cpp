#include "libqvcheck/frametext.h"
#include "tests/unit/libqvcheck/framenote.h"

#include <cstring>
#include <memory>
#include <string>
#include <tuple>

#include <gtest/gtest.h>

namespace {

struct read_t {
    const char* name;
    const char* text;
    const char* note; ///< null: no frame
};

void PrintTo(const read_t& row, std::ostream* out) {
    *out << row.text;
}

class FrameText : public testing::TestWithParam<read_t> {};

std::string readWhole(const std::string& text) {
    receivedFrame_t frame{};
    const char* const end = text.data() + text.size();
    return readFrameText(text.data(), end, frame) == end ? noteOf(frame) : "none";
}

} // namespace

TEST_P(FrameText, IsReadAsTheFrameThatTheNotationMeans) {
    const std::string text = GetParam().text;
    EXPECT_EQ(readWhole(text), GetParam().note == nullptr ? "none" : GetParam().note);
}

INSTANTIATE_TEST_SUITE_P(
    , FrameText,
    testing::Values(
        read_t{"standard", "123#1122", "00000123#1122"}, read_t{"no_data", "000#", "00000000#"},
        read_t{"lower_case", "7ff#aBcDeF", "000007FF#ABCDEF"},
        read_t{"extended", "1FFFFFFF#0102030405060708", "9FFFFFFF#0102030405060708"},
        read_t{"extended_although_small", "00000001#", "80000001#"},
        read_t{"dots", "123#11.22.33", "00000123#112233"}, read_t{"dot_at_the_end", "123#11.", "00000123#11"},
        read_t{"dot_in_front", "123#.11", nullptr}, read_t{"two_dots", "123#11..22", nullptr},
        read_t{"dot_inside_a_byte", "123#1.1", nullptr},
        read_t{"nine_bytes", "123#112233445566778899", nullptr}, read_t{"half_a_byte", "123#112", nullptr},
        read_t{"identifier_above_11_bits", "800#", nullptr},
        read_t{"identifier_above_29_bits", "40000000#", nullptr}, read_t{"four_digits", "1234#", nullptr},
        read_t{"nine_digits", "123456789#", nullptr}, read_t{"no_identifier", "#11", nullptr},
        read_t{"no_mark", "123", nullptr}, read_t{"no_hexadecimal_digit", "12g#", nullptr},
        read_t{"error_frame", "20000004#0001000000000000", "20000004#0001000000000000"},
        read_t{"remote", "123#R", "40000123# length 0"},
        read_t{"remote_of_a_length", "123#r5", "40000123#0000000000 length 5"},
        read_t{"remote_extended", "00000123#R8_C", "C0000123#0000000000000000 length 8"},
        read_t{"remote_of_nine", "123#R9", nullptr},
        read_t{"raw_length_code", "123#0011223344556677_F", "00000123#0011223344556677"},
        read_t{"raw_length_code_of_eight", "123#0011223344556677_8", nullptr},
        read_t{"raw_length_code_without_eight_bytes", "123#00_9", nullptr},
        read_t{"raw_length_code_missing", "123#0011223344556677_", nullptr},
        read_t{"fd", "123##5AA", "00000123##1.AA"}, read_t{"fd_without_data", "1ABCDEF0##3", "9ABCDEF0##3."},
        read_t{"fd_without_flags", "123##", nullptr}, read_t{"fd_of_half_a_byte", "123##1A", nullptr},
        read_t{"xl", "45123#81:00:12345678#11223344.556677", "00000123# xl"},
        read_t{"xl_without_type", "45123#81:12345678#1122", nullptr},
        read_t{"xl_cut", "45123#81:00:12345678", nullptr}, read_t{"empty", "", nullptr}),
    [](const auto& row) { return row.param.name; });

TEST(FrameTextData, MayBeSixtyFourBytesOfAnFdFrameAndNoMore) {
    std::string data;
    for (unsigned int i = 0; i < 64; ++i) {
        appendHex(data, i * 3, 2, true);
    }
    EXPECT_EQ(readWhole("123##0" + data), "00000123##0." + data);
    EXPECT_EQ(readWhole("123##0" + data + "00"), "none");
}

TEST(FrameTextEnd, IsWhereTheFrameEndsWhateverFollows) {
    const std::string text = "123#1122 R";
    receivedFrame_t frame{};
    EXPECT_EQ(readFrameText(text.data(), text.data() + text.size(), frame), text.data() + 8);
}

/// Valgrind and the address sanitizer see a byte too many.
TEST(FrameTextEnd, IsNotReadBeyond) {
    const std::string whole = "1FFFFFFF##1AABB_F";
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        const std::unique_ptr<char[]> exact(new char[n + 1]);
        std::memcpy(exact.get(), whole.data(), n);
        exact[n] = '#'; // would be read as more of the frame
        receivedFrame_t frame{};
        const char* const end = readFrameText(exact.get(), exact.get() + n, frame);
        EXPECT_TRUE(end == nullptr || end <= exact.get() + n);
    }
}

TEST(FrameTextBytes, AreAllThereOnlyOfAFullFrame) {
    receivedFrame_t frame{};
    for (const auto& [fd, length, all] : {std::tuple(false, 8, true),
                                          {false, 7, false},
                                          {true, 8, false},
                                          {true, 63, false},
                                          {true, 64, true}}) {
        frame.fd = fd;
        frame.length = static_cast<std::uint8_t>(length);
        EXPECT_EQ(hasAllBytes(frame), all) << length;
    }
}
