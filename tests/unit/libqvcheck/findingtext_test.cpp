#include "libqvcheck/findingtext.h"

#include <functional>

#include <gtest/gtest.h>

namespace {

struct row_t {
    const char* name;
    std::function<void(finding_t&)> fill;
    const char* text;
};

void PrintTo(const row_t& row, std::ostream* out) {
    *out << row.name;
}

class FindingText : public testing::TestWithParam<row_t> {};

constexpr std::int64_t ms = 1000000;

void lose(finding_t& finding, std::uint32_t first, std::uint32_t n, std::int64_t span) {
    finding.kind = FK_LOST;
    finding.first = first;
    finding.last = first + n - 1;
    finding.count = n;
    finding.span = span;
}

void damage(finding_t& finding, damage_t kind, std::initializer_list<differingByte_t> bytes) {
    finding.kind = FK_CORRUPTED;
    finding.first = finding.last = 0x1B02;
    finding.evidence = {0x302, 0x1B02, 1, false, kind, 5, static_cast<std::uint8_t>(bytes.size()), {}};
    std::copy(bytes.begin(), bytes.end(), finding.evidence.bytes.begin());
}

void set(finding_t& finding, findingKind_t kind, std::uint32_t first, std::uint32_t last = 0) {
    finding.kind = kind;
    finding.first = first;
    finding.last = last == 0 ? first : last;
}

const receivedFrame_t* frameOf(bool fd, std::uint8_t length) {
    static receivedFrame_t frame{};
    frame.fd = fd;
    frame.length = length;
    return &frame;
}

} // namespace

TEST_P(FindingText, SaysWhatWasFound) {
    demands_t demands;
    demands.loop = 1000;
    demands.gap = 2 * ms;
    finding_t finding{};
    finding.count = 1;
    GetParam().fill(finding);
    EXPECT_EQ(findingText(finding, demands), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(
    , FindingText,
    testing::Values(row_t{"lost_before_this_host",
                          [](finding_t& f) {
                              lose(f, 0x12A4, 2, 6003912);
                              f.causes[LC_BEFORE] = 2;
                          },
                          "lost 2: 12A4 to 12A5, in 6.004 ms; before this host"},
                    row_t{"lost_in_the_queue",
                          [](finding_t& f) {
                              lose(f, 0x15F0, 31, 64120000);
                              f.causes[LC_QUEUE] = 31;
                          },
                          "lost 31: 15F0 to 160E, in 64.120 ms; this host, queue (31 dropped)"},
                    row_t{"lost_for_two_causes",
                          [](finding_t& f) {
                              lose(f, 1, 5, 0);
                              f.causes[LC_INPUT] = 3;
                              f.causes[LC_BEFORE] = 2;
                          },
                          "lost 5: 1 to 5; 3 input; 2 before this host"},
                    row_t{"lost_and_to_be_corrupted",
                          [](finding_t& f) {
                              lose(f, 0xA, 1, 4 * ms);
                              f.causes[LC_BUS] = 1;
                              f.injected = true;
                          },
                          "lost 1: A, in 4.000 ms; bus, was to be corrupted"},
                    row_t{"repeated",
                          [](finding_t& f) {
                              set(f, FK_REPEATED, 0x1733);
                              f.span = 113000;
                          },
                          "repeated 1733, 0.113 ms after the first"},
                    row_t{"repeated_of_unknown_time",
                          [](finding_t& f) {
                              set(f, FK_REPEATED, 0x1733, 0x1735);
                              f.count = 3;
                              f.span = -1;
                          },
                          "repeated 1733 to 1735"},
                    row_t{"reordered",
                          [](finding_t& f) {
                              set(f, FK_REORDERED, 0x1900);
                              f.extent = 2;
                              f.span = 4210000;
                          },
                          "reordered 1900, 2 frames and 4.210 ms late"},
                    row_t{"late",
                          [](finding_t& f) {
                              set(f, FK_LATE, 0x1900);
                              f.extent = 1;
                              f.span = 1500 * ms;
                          },
                          "late 1900, 1 frame and 1.500 s late"},
                    row_t{"inverted",
                          [](finding_t& f) {
                              damage(f, DT_INVERTED, {{5, 0xFD, 2}});
                          },
                          "corrupted 1B02: byte 5 is FD instead of 02 (inverted); identifier says 302, "
                          "counter 1B02, run 01"},
                    row_t{"one_bit",
                          [](finding_t& f) {
                              damage(f, DT_ONE_BIT, {{5, 3, 2}});
                          },
                          "corrupted 1B02: byte 5 is 03 instead of 02 (one bit); identifier says 302, "
                          "counter 1B02, run 01"},
                    row_t{"one_byte",
                          [](finding_t& f) {
                              damage(f, DT_ONE_BYTE, {{63, 0, 0xFF}});
                          },
                          "corrupted 1B02: byte 63 is 00 instead of FF (one byte); identifier says 302, "
                          "counter 1B02, run 01"},
                    row_t{"many_bytes",
                          [](finding_t& f) {
                              damage(f, DT_BYTES, {{4, 1, 2}, {5, 3, 4}, {6, 5, 6}, {7, 7, 8}, {8, 9, 0}});
                          },
                          "corrupted 1B02: byte 4 is 01 instead of 02, byte 5 is 03 instead of 04, byte 6 is "
                          "05 instead of 06, byte 7 is "
                          "07 instead of 08 and so on (5 bytes); identifier says 302, counter 1B02, run 01"},
                    row_t{"identifier", [](finding_t& f) { damage(f, DT_IDENTIFIER, {}); },
                          "corrupted 1B02: identifier; identifier says 302, counter 1B02, run 01"},
                    row_t{"width", [](finding_t& f) { damage(f, DT_WIDTH, {}); },
                          "corrupted 1B02: width; identifier says 302, counter 1B02, run 01"},
                    row_t{"shortened", [](finding_t& f) { damage(f, DT_SHORTENED, {}); },
                          "corrupted 1B02: shortened to 5; identifier says 302, counter 1B02, run 01"},
                    row_t{"mixed", [](finding_t& f) { damage(f, DT_MIXED, {}); },
                          "corrupted 1B02: two frames mixed; identifier says 302, counter 1B02, run 01"},
                    row_t{"uninjected", [](finding_t& f) { set(f, FK_UNINJECTED, 0x64); },
                          "uninjected 64: intact, was to be corrupted"},
                    row_t{"format_of_a_frame_not_at_hand", [](finding_t& f) { set(f, FK_FORMAT, 0x64); },
                          "format 64: not as told"},
                    row_t{"format_classic",
                          [](finding_t& f) {
                              set(f, FK_FORMAT, 0x64);
                              f.frame = frameOf(false, 8);
                          },
                          "format 64: classic with 8 bytes instead of FD with 64"},
                    row_t{"format_without_switch",
                          [](finding_t& f) {
                              set(f, FK_FORMAT, 0x64, 0x66);
                              f.count = 3;
                              f.frame = frameOf(true, 64);
                          },
                          "format 3: 64 to 66, no bit rate switch"},
                    row_t{"restart",
                          [](finding_t& f) {
                              set(f, FK_RESTART, 1, 0x4E1C);
                              f.began = true;
                          },
                          "restart: the sender began again at 001, after 4E1C"},
                    row_t{"went_back", [](finding_t& f) { set(f, FK_RESTART, 0x12345, 0x20000); },
                          "restart: the counter went back from 20000 to 12345"},
                    row_t{"jump", [](finding_t& f) { set(f, FK_JUMP, 0x9E1C00, 0x4E1C); },
                          "jump: the counter went on from 4E1C to 9E1C00"},
                    row_t{"stray", [](finding_t& f) { set(f, FK_STRAY, 0x1F02); },
                          "stray 1F02: fits no place of the stream"},
                    row_t{"gap",
                          [](finding_t& f) {
                              set(f, FK_GAP, 1);
                              f.span = 3286 * ms;
                          },
                          "gap: silent for 3.286 s"},
                    row_t{"absent", [](finding_t& f) { set(f, FK_ABSENT, 0xC0000123); },
                          "absent: no frame of the stream from 00000123 remote"},
                    row_t{"surplus",
                          [](finding_t& f) {
                              set(f, FK_SURPLUS, 0x3E9, 0x3F4);
                              f.count = 12;
                          },
                          "surplus 12: 3E9 to 3F4, beyond the 1000 told"},
                    row_t{"unanswered",
                          [](finding_t& f) {
                              set(f, FK_UNANSWERED, 0x2E0, 0x2E3);
                              f.count = 4;
                          },
                          "unanswered 2E0 to 2E3"},
                    row_t{"slow",
                          [](finding_t& f) {
                              set(f, FK_SLOW, 0x12A4);
                              f.span = 6120000;
                          },
                          "slow 12A4: answered after 6.120 ms"},
                    row_t{"early",
                          [](finding_t& f) {
                              set(f, FK_EARLY, 0x12A4);
                              f.span = -20000;
                          },
                          "early 12A4: answered 0.020 ms before it came"},
                    row_t{"pace",
                          [](finding_t& f) {
                              set(f, FK_PACE, 1);
                              f.span = 2200000;
                          },
                          "pace: a gap of 2.200 ms instead of 2.000 ms"},
                    row_t{"overrun",
                          [](finding_t& f) {
                              set(f, FK_OVERRUN, 0);
                              f.count = 31;
                          },
                          "overrun 31"}),
    [](const auto& row) { return row.param.name; });

TEST(StreamText, SaysWhatAStreamIsAndHowItBegan) {
    streamSummary_t stream{};
    stream.width = 11;
    stream.length = 64;
    stream.fd = true;
    stream.startKnown = true;
    stream.start = stream.first = 1;
    EXPECT_EQ(streamText(stream), "FD 64, standard, start 001, first frame seen");
    stream.first = 0x12345;
    EXPECT_EQ(streamText(stream), "FD 64, standard, start 001, first frame is 12345");
    stream.startKnown = false;
    stream.start = 0x23;
    stream.role = SR_ANSWER;
    EXPECT_EQ(streamText(stream), "answers, FD 64, standard, start xx..23, first frame is 12345");
    stream.width = 29;
    stream.length = 8;
    stream.fd = false;
    stream.role = SR_REMOTE;
    stream.startKnown = true;
    stream.start = stream.first = 0x1ABCDEF0;
    EXPECT_EQ(streamText(stream), "remote, extended, by identifier only, start 1ABCDEF0, first frame seen");
}
