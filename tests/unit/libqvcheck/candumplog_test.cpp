#include "libqvcheck/candumplog.h"
#include "tests/unit/libqvcheck/sourcereading.h"

#include <algorithm>

namespace {

typedef SourceReading<CandumpLog> Log;

/// Lines that begin like a frame and are none.
class BrokenLine : public testing::TestWithParam<const char*> {};

} // namespace

TEST(CandumpLog, GivesTheFramesOfItsLinesWithTimeInterfaceAndDirection) {
    const Log log("(1436509052.249713) vcan0 123#1122\n"
                  "(1436509052.24971) can1 00000123##1AB R\n"
                  "  (1.5) can0 123#\n"
                  "(0.123456789)  vcan0\t7FF#R4  T\r\n"
                  "\n"
                  "(9223372035.9) can1 20000080#0000000000000000\n");
    EXPECT_EQ(log.notes(),
              (notes_t{"00000123#1122", "80000123##1.AB interface 1", "400007FF#00000000 length 4 own",
                       "20000080#0000000000000000 interface 1"}));
    EXPECT_EQ(log.times(), (std::vector<std::int64_t>{1436509052249713000, 1436509052249710000, 123456789,
                                                      9223372035900000000}));
    EXPECT_EQ(log.interfaces.name(0), "vcan0");
    EXPECT_EQ(log.interfaces.name(1), "can1");
    EXPECT_EQ(log.counts.frames, 4U);
    EXPECT_EQ(log.counts.broken, 0U);
}

TEST_P(BrokenLine, IsCountedAndItsPlaceKept) {
    const Log log("# a comment\n(1.0) can0 123#11\n" + std::string(GetParam()) + "\n(1.0) can0 123#22\n(x\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000123#11", "00000123#22"}));
    EXPECT_EQ(log.counts.broken, 2U);
    EXPECT_EQ(log.counts.firstBroken, "log:3");
}

INSTANTIATE_TEST_SUITE_P(, BrokenLine,
                         testing::Values("(", "()", "(1)", "(1.) can0 123#", "(.1) can0 123#",
                                         "(1.1234567890) can0 123#", "(1.0 can0 123#", "(-1.0) can0 123#",
                                         "(9223372036.0) can0 123#", "(12345678901.0) can0 123#", "(1.0)",
                                         "(1.0) can0", "(1.0) can0 ", "(1.0)can0 123#", "(1.0) can0 xyz#",
                                         "(1.0) can0 123#11 X", "(1.0) can0 123#11R", "(1.0) can0 123#11 R T",
                                         "(1.0) can0 123#11 RT", "(1.0) can0 123#11 123#11", "(1.0) 123#11"));

TEST(CandumpLog, CountsALineWithANameThatNoInterfaceHasAsBroken) {
    EXPECT_EQ(Log("(1.0) " + std::string(128, 'x') + " 123#\n").counts.broken, 0U);
    EXPECT_EQ(Log("(1.0) " + std::string(129, 'x') + " 123#\n").counts.broken, 1U);
}

TEST(CandumpLog, TellsInterfacesApartWhoseNamesBeginAlike) {
    const Log log("(1.0) can1 1#\n(1.0) can1 001#\n(1.0) can10 001#\n(1.0) can1 001#\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000001#", "00000001# interface 1", "00000001#"}));
}

TEST(CandumpLog, TakesALastLineWithoutItsEndOnlyWhenNoByteCanBeMissing) {
    const std::string fd = "(1.0) can0 001##0" + std::string(128, 'A');
    EXPECT_EQ(Log("(1.0) can0 001#0000000100010203").frames.size(), 1U);
    EXPECT_EQ(Log(fd).frames.size(), 1U);
    for (const std::string& cut :
         {std::string("(1.0) can0 001#00000001000102"), fd.substr(0, fd.size() - 2)}) {
        EXPECT_EQ(Log(cut).counts.broken, 1U) << cut;
        EXPECT_EQ(Log(cut + '\n').frames.size(), 1U) << cut;
    }
}

TEST(CandumpLog, GivesWhatTheLoggerDroppedToTheNextFrameOfThatInterface) {
    const Log log("(1.0) can0 001#\n"
                  "(1.0) can1 001#\n"
                  "DROPCOUNT: dropped 1722 CAN frames on 'can1' socket (total drops 1722)\n"
                  "(1.0) can0 002#\n"
                  "DROPCOUNT: dropped 1 CAN frame on 'can1' socket (total drops 1723)\n"
                  "(1.0) can1 002#\n"
                  "(1.0) can1 003#\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000001#", "00000001# interface 1", "00000002#",
                                    "00000002# dropped 1723 interface 1", "00000003# interface 1"}));
    EXPECT_EQ(log.counts.waiting, 0U);
}

TEST(CandumpLog, GivesWhatALoggerOfAllInterfacesDroppedToTheNextFrame) {
    const Log log("DROPCOUNT: dropped 5 CAN frames on 'any' socket (total drops 5)\n(1.0) can3 001#\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000001# dropped 5"}));
    EXPECT_EQ(log.interfaces.size(), 1U);
}

TEST(CandumpLog, TellsFramesThatADumpLeavesOutFromThoseThatALoggerLost) {
    const Log log("(1.0) can1 001#\n"
                  "# left out 9 CAN frames on 'can1'\n"
                  "(1.0) can0 002#\n"
                  "(1.0) can1 002#\n"
                  "DROPCOUNT: dropped 2 CAN frames on 'can1' socket (total drops 2)\n"
                  "# left out 3 CAN frames on 'can1'\n"
                  "(1.0) can1 003#\n"
                  "(1.0) can1 004#\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000001#", "00000002# interface 1", "00000002# dropped 9",
                                    "00000003# dropped 5", "00000004#"}));
    const auto isLeftOut = [&log](std::size_t i) { return log.frames[i].leftOut; };
    EXPECT_EQ((std::vector<bool>{isLeftOut(0), isLeftOut(1), isLeftOut(2), isLeftOut(3), isLeftOut(4)}),
              (std::vector<bool>{false, false, true, false, false}));
}

TEST(CandumpLog, KeepsTheNumberOfFramesDroppedBehindTheLastOne) {
    EXPECT_EQ(Log("(1.0) can0 001#\nDROPCOUNT: dropped 7 CAN frames on 'can0' socket (total drops 7)\n")
                  .counts.waiting,
              7U);
}

TEST(CandumpLog, HoldsNumbersOfDropsThatNoCounterHolds) {
    const std::string line =
        "DROPCOUNT: dropped 99999999999999999999 CAN frames on 'can0' socket (total drops 1)\n";
    const Log log(line + line + "(1.0) can0 001#\n");
    EXPECT_EQ(log.notes(), (notes_t{"00000001# dropped 4294967295"}));
    EXPECT_EQ(log.counts.waiting, 0U);
}

TEST(CandumpLog, PassesOverACutOrEmptyDropLine) {
    for (const char* const line :
         {"DROPCOUNT: dropped ", "DROPCOUNT: dropped 5 CAN frames",
          "DROPCOUNT: dropped 5 CAN frames on 'can0", "DROPCOUNT: dropped 5 CAN frames on ''",
          "DROPCOUNT: dropped x frames on 'can0'"}) {
        EXPECT_EQ(Log(line).counts.waiting, 0U) << line;
    }
}
