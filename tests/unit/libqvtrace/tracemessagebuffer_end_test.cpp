// The end of the input and a device that hangs up.

#include "libqvtrace/tracemessagebuffer.h"
#include "tests/unit/libqvtrace/scriptedinput.h"

#include <cerrno>
#include <string>

#include <gtest/gtest.h>

TEST(TraceMessageBufferAtTheEnd, SaysSoEachTimeAndLeavesThePauseToItsCaller) {
    ScriptedInput input;
    input.ends().ends().ends();
    Reader reader;
    EXPECT_FALSE(reader.buffer.atEnd());
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(reader.buffer.read(), 0);
        EXPECT_TRUE(reader.buffer.atEnd());
        EXPECT_EQ(input.newCalls(), lines_t({"read"}));
    }
}

TEST(TraceMessageBufferAtTheEnd, KeepsTheNumberOfARepeatedError) {
    ScriptedInput input;
    input.fails(EIO).fails(EIO).fails(EAGAIN);
    Reader reader;
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_TRUE(reader.buffer.atEnd());
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EIO);
    EXPECT_EQ(input.newCalls(), lines_t({"read", "read"}));
    EXPECT_EQ(reader.buffer.read(), -1);
    EXPECT_EQ(errno, EAGAIN);
}

TEST(TraceMessageBufferAtTheEnd, IsStillAtTheEndWhenAnErrorFollows) {
    ScriptedInput input;
    input.ends().fails(EIO);
    Reader reader;
    reader.buffer.read();
    reader.buffer.read();
    EXPECT_TRUE(reader.buffer.atEnd());
}

TEST(TraceMessageBufferAtTheEnd, IsNoLongerAtTheEndWhenBytesCome) {
    ScriptedInput input;
    input.ends().gives(recordWith(1));
    Reader reader;
    reader.readAll(input);
    EXPECT_FALSE(reader.buffer.atEnd());
    input.gives(recordWith(2)).ends().ends();
    reader.readAll(input);
    EXPECT_TRUE(reader.buffer.atEnd());
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

TEST(TraceMessageBufferAtTheEnd, DeliversASoundRecordBehindATornOne) {
    for (const std::size_t kept : {8U, 12U, 19U}) { // of 92, so that more than what follows is missing
        ScriptedInput input;
        input.gives(firstOf(recordWith(1, 64), kept) + recordWith(2) + recordWith(3)).ends();
        Reader reader;
        reader.readAll(input);
        EXPECT_EQ(reader.messages, std::vector<byteVec_t>({recordWith(2), recordWith(3)})) << kept;
        EXPECT_EQ(reader.reports,
                  lines_t({"trace buffer: passed over " + std::to_string(kept) +
                           (kept == 1 ? " byte" : " bytes") + " outside of any sound record"}));
    }
}

TEST(TraceMessageBufferAtTheEnd, DeliversASoundRecordBehindATornOneAfterAnError) {
    ScriptedInput input;
    input.gives(firstOf(recordWith(1, 64), 20) + recordWith(2)).fails(EIO).ends();
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({recordWith(2)})) << "a terminal that hangs up";
}

TEST(TraceMessageBufferAtTheEnd, DeliversASoundRecordBehindATornOneAtALaterEndToo) {
    const byteVec_t torn = firstOf(recordWith(1, 64), 20);
    ScriptedInput input;
    input.gives(torn + recordWith(2)).ends().gives(torn + recordWith(3)).ends();
    Reader reader;
    reader.readAll(input);
    EXPECT_EQ(reader.messages, std::vector<byteVec_t>({recordWith(2), recordWith(3)}));
}
