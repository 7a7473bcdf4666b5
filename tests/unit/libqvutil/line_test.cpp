#include "libqvutil/line.h"
#include "tests/fakes/pieces.h"

#include <iomanip>
#include <ios>
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

TEST(Line, ComposesTextAndNumbers) {
    Line line;
    line << "n=" << 12 << ' ' << std::string("text ") << 2.5;
    EXPECT_EQ(line.str(), "n=12 text 2.5");
}

TEST(Line, IsWrittenInOneInsertionWithItsLineEndAndAFlush) {
    Sink sink;
    (Line() << "one " << 2 << " three").writeLine(sink);
    EXPECT_EQ(sink.pieces.all, texts_t{"one 2 three\n"});
    EXPECT_EQ(sink.pieces.flushes, 1U);
}

TEST(Line, IsWrittenWithoutLineEndAndFlushed) {
    Sink sink;
    (Line() << "counter: " << 5 << "\r").write(sink);
    EXPECT_EQ(sink.pieces.all, texts_t{"counter: 5\r"});
    EXPECT_EQ(sink.pieces.flushes, 1U);
}

TEST(Line, MayBeWrittenTwice) {
    Line line;
    line << "again";
    Sink sink;
    line.writeLine(sink);
    line.write(sink);
    EXPECT_EQ(sink.pieces.all, (texts_t{"again\n", "again"}));
}

TEST(Line, DoesNotHeedTheFlagsOfTheStream) {
    std::ostringstream out;
    out << std::hex << std::showbase << std::uppercase;
    (Line() << 255 << ' ' << true).writeLine(out);
    EXPECT_EQ(out.str(), "255 1\n");
}

TEST(Line, KeepsItsManipulatorsToItself) {
    std::ostringstream out;
    (Line() << std::setfill('0') << std::setw(4) << std::setbase(16) << 255).write(out);
    out << ' ' << 255;
    EXPECT_EQ(out.str(), "00ff 255");
}

TEST(Line, WritesNoFurtherThanANullText) {
    for (const bool lineEnd : {true, false}) {
        Sink sink;
        Line line;
        line << "before " << static_cast<const char*>(nullptr) << "after" << 5 << std::string("end");

        lineEnd ? line.writeLine(sink) : line.write(sink);

        EXPECT_EQ(sink.pieces.all, texts_t{"before "});
        EXPECT_TRUE(sink.bad());
    }
}

TEST(Line, TakesAWritableNullTextForOneToo) {
    Sink sink;
    char* const text = nullptr;
    (Line() << "before" << text).writeLine(sink);
    EXPECT_EQ(sink.pieces.all, texts_t{"before"});
    EXPECT_TRUE(sink.bad());
}

TEST(Line, TakesWritableText) {
    char text[] = "writable";
    EXPECT_EQ((Line() << text).str(), "writable");
}

TEST(Line, DoesNotSpeakThroughAStreamThatIsBad) {
    Sink sink;
    sink.setstate(std::ios_base::badbit);
    (Line() << "text").writeLine(sink);
    EXPECT_EQ(sink.pieces.all, texts_t());
}
