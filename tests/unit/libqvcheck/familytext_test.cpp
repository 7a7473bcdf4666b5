#include "libqvcheck/familytext.h"
#include "tests/unit/libqvcheck/sourcereading.h"

namespace {

typedef SourceReading<FamilyText> Text;

constexpr std::int64_t hour = 3600000000000;

} // namespace

TEST(FamilyText, GivesTheFramesOfASenderAndTellsItsOwnFromThoseItReceived) {
    const Text text("enabled CAN_RAW_FD_FRAMES\n"
                    "[DEBUG] BZ::sendPattern() select([n=4:  3],[n=4:  3],..,18446744073709551615)\n"
                    "[DEBUG] BZ::sendCAN() send: 00:00:01.000002 ch0 001#0000000100010203\n"
                    "raw\n    01 00 00 00 08 00 00 00  00 00 00 01 00 01 02 03\n"
                    "[DEBUG] BZ::sendPattern() discard: 00:00:01.000400 ch0 7FE#FFFFFFFEFFFEFDFC\n");
    EXPECT_EQ(text.notes(), (notes_t{"00000001#0000000100010203 own", "000007FE#FFFFFFFEFFFEFDFC"}));
    EXPECT_EQ(text.times(), (std::vector<std::int64_t>{1000002000, 1000400000}));
    EXPECT_EQ(text.interfaces.name(0), "ch0");
    EXPECT_EQ(text.counts.frames, 2U);
    EXPECT_EQ(text.counts.broken, 0U);
}

TEST(FamilyText, GivesTheRecordsOfABusWhateverItsNodesAreCalled) {
    const Text text("3 nodes: /tmp/my ch0 to /tmp/my ch2\n"
                    "/tmp/my ch0 07:53:14.260885 ch0 001#0000000100010203\n"
                    "/tmp/my ch1 07:53:14.260885 ch255 00000123##3AB error=stuff tx\n"
                    "/tmp/my ch2 07:53:14.260885 ch1 7FF#R4 tx\r\n"
                    "/tmp/my ch0: 1 sent, 0 received, 0 missed\n");
    EXPECT_EQ(text.notes(), (notes_t{"00000001#0000000100010203", "A0000123##3.AB interface 1 own",
                                     "400007FF#00000000 length 4 interface 2 own"}));
    EXPECT_EQ(text.interfaces.name(1), "ch255");
}

TEST(FamilyText, GivesAFrameOnceThatANodeTellsOfTwice) {
    const std::string one = "07:53:14.260885 ch0 001#0000000100010203\n";
    const std::string two = "07:53:14.260886 ch0 002#0000000201020304\n";
    const std::string returned = "[DEBUG] BZ::readCAN() t=07:53:14.300000: return: ";
    const Text text(returned + one + returned + two + "rcvd " + one + "[DEBUG] BZ::sendPattern() discard: " +
                    two + returned + one + "rcvd " + one + "rcvd " + one);
    EXPECT_EQ(text.notes(), (notes_t{"00000001#0000000100010203", "00000002#0000000201020304",
                                     "00000001#0000000100010203", "00000001#0000000100010203"}));
}

TEST(FamilyText, GoesOnCountingTimeAtMidnight) {
    const std::string frame = " ch0 001#\n";
    const Text text("23:59:59.999999" + frame + "00:00:00.000001" + frame + "23:00:00.000000" + frame +
                    "01:00:00.000000" + frame + "00:59:59.000000" + frame);
    EXPECT_EQ(text.times(), (std::vector<std::int64_t>{24 * hour - 1000, 24 * hour + 1000, 47 * hour,
                                                       49 * hour, 49 * hour - 1000000000}));
}

TEST(FamilyText, CountsALineWhoseFrameCannotBeReadAsBroken) {
    for (const char* const frame : {"ch0 001#123", "ch0 001#12 what", "ch0 001#12 error=a b", "ch0 001",
                                    "ch0 ", "ch 001#", "chx 001#", "ch1234 001#"}) {
        const Text text("nothing\nrcvd 07:53:14.260885 " + std::string(frame) + "\n");
        EXPECT_EQ(text.notes(), notes_t{}) << frame;
        EXPECT_EQ(text.counts.firstBroken, "log:2") << frame;
    }
}

TEST(FamilyText, TakesALastLineWithoutItsEndOnlyWhenNoByteCanBeMissing) {
    EXPECT_EQ(Text("07:53:14.260885 ch0 001#0000000100010203").frames.size(), 1U);
    EXPECT_EQ(Text("07:53:14.260885 ch0 001#00000001000102").counts.broken, 1U);
}

TEST(FamilyText, PassesOverLinesWithoutAFrame) {
    const Text text("ch0 001#\n07:53:14.2608 ch0 001#\n07-53-14.260885 ch0 001#\n07:53:14.260885 c0 001#\n  "
                    "vcan0  123   [2]  11 22\n");
    EXPECT_EQ(text.notes(), notes_t{});
    EXPECT_EQ(text.counts.broken, 0U);
}
