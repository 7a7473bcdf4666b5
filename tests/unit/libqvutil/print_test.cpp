// Lines and pieces of lines on shared streams: whole, and as if the stream had no flags.

#include "libqvutil/print.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/pieces.h"

#include <cerrno>
#include <iomanip>
#include <new>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using texts_t = std::vector<std::string>;

/// A stream whose insertions are counted.
struct Sink : std::ostream {
    Sink() : std::ostream(nullptr), pieces(*this) { clear(); }
    Pieces pieces;
};

} // namespace

TEST(Print, WritesTextNumbersAndWhatCanBeInsertedInOneInsertionAndFlushesIt) {
    Sink sink;
    char writable[] = "writable";
    print(sink, "n=", 12, ' ', std::string("text "), 2.5, ' ', writable, "\r");
    EXPECT_EQ(sink.pieces.all, texts_t{"n=12 text 2.5 writable\r"});
    EXPECT_EQ(sink.pieces.flushes, 1U);
}

TEST(Print, WritesALineWithItsEndInOneInsertionAndFlushesIt) {
    Sink sink;
    printLine(sink, "one ", 2, " three");
    printLine(sink);
    EXPECT_EQ(sink.pieces.all, (texts_t{"one 2 three\n", "\n"}));
    EXPECT_EQ(sink.pieces.flushes, 2U);
}

TEST(Print, NeitherHeedsNorChangesTheFlagsOfTheStream) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase;
    printLine(out, 255, ' ', true);
    print(out, std::setfill('0'), std::setw(4), std::setbase(8), 8);
    out << ' ' << 255;
    EXPECT_EQ(out.str(), "255 1\n0010 0XFF");
}

TEST(Print, WritesNoFurtherThanANullTextAndBreaksTheStream) {
    for (const bool lineEnd : {true, false}) {
        Sink sink;
        char* const writable = nullptr;
        const char* const null = nullptr;
        lineEnd ? printLine(sink, "before ", null, "after", 5) : print(sink, "before ", writable, "after");
        EXPECT_EQ(sink.pieces.all, texts_t{"before "});
        EXPECT_TRUE(sink.bad());
    }
}

TEST(Print, WritesNothingToAStreamThatIsBad) {
    Sink sink;
    sink.setstate(std::ios_base::badbit);
    printLine(sink, "text");
    EXPECT_EQ(sink.pieces.all, texts_t());
}

TEST(Text, ThrowsWhicheverAllocationFailsAndIsNeverCutShort) {
    const std::string piece(600, 'x');
    bool reached = true;
    std::size_t thrown = 0;
    for (std::size_t nth = 1; reached; ++nth) {
        const allocations::FailNth failure(nth);
        try {
            const Text text({"[", piece, 5, "]"});
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
        reached = failure.failed();
        EXPECT_EQ(thrown, reached ? nth : nth - 1);
    }
    EXPECT_GT(thrown, 1U);
}

TEST(PrintErrno, WritesThePiecesAndTheSystemsTextOnStandardErrorAndReturnsMinusOne) {
    int result = 0;
    const Captured text = captured([&] {
        errno = EBADF;
        result = printErrno(errno, "ioctl error ", "can", 0);
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(text.err, "ioctl error can0: Bad file descriptor\n");
    EXPECT_EQ(text.out, "");
}
