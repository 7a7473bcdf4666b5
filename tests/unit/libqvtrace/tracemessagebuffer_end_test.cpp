// The end of the input and a device that hangs up: said at once, and then not at the cost of a processor.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

namespace {

const std::string nap = "nap of 0 s 10000000 ns";

} // namespace

TEST(TraceMessageBufferAtTheEnd, SaysSoAtOnceAndNapsBeforeItSaysSoAgain) {
    ScriptedInput input;
    input.ends().ends().ends();
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), 0);
    EXPECT_EQ(input.newCalls(), lines_t({"read"}));
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(reader.buffer.read(), 0);
        EXPECT_EQ(input.newCalls(), lines_t({nap, "read"}));
    }
}

TEST(TraceMessageBufferAtTheEnd, NapsBeforeARepeatedErrorAndKeepsItsNumber) {
    ScriptedInput input;
    input.fails(EIO).fails(EIO).fails(EAGAIN);
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(input.newCalls(), lines_t({"read"}));
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(input.newCalls(), lines_t({nap, "read"}));
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(TraceMessageBufferAtTheEnd, NapsWhenAnErrorFollowsTheEnd) {
    ScriptedInput input;
    input.ends().fails(EIO);
    Reader reader;
    reader.buffer.read();
    reader.buffer.read();
    EXPECT_EQ(input.newCalls(), lines_t({"read", nap, "read"}));
}

TEST(TraceMessageBufferAtTheEnd, DoesNotNapAnyMoreWhenBytesCame) {
    ScriptedInput input;
    input.ends().gives(recordWith(1)).gives(recordWith(2)).ends().ends();
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(input.newCalls(), lines_t({"read", nap, "read", "read", "read", nap, "read"}));
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({recordWith(1), recordWith(2)}));
}

TEST(TraceMessageBufferAtTheEnd, StillDeliversWhatIsBuffered) {
    ScriptedInput input;
    input.gives(recordWith(1) + recordWith(2)).ends();
    Reader reader;
    reader.buffer.read();
    EXPECT_EQ(reader.next(), recordWith(1));
    reader.buffer.read();
    EXPECT_EQ(reader.next(), recordWith(2));
    EXPECT_EQ(reader.reports, lines_t()) << "the input ended behind a record, not inside one";
}
