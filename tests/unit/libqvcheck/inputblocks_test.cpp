#include "libqvcheck/inputblocks.h"
#include "tests/unit/libqvcheck/inputpipe.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>

namespace {

typedef std::vector<std::string> lines_t;

/// All lines that are there; `...` behind one that is not whole.
lines_t takeLines(InputBlocks& input) {
    lines_t lines;
    inputLine_t line;
    while (input.takeLine(line)) {
        lines.push_back(std::string(line.begin, line.end) + (line.whole ? "" : "..."));
    }
    return lines;
}

} // namespace

TEST(InputBlocks, GivesLinesAsSoonAsTheirEndIsThere) {
    InputPipe pipe;
    InputBlocks input(pipe.descriptor());
    pipe.write("one\n\ntw");
    input.fill();
    EXPECT_EQ(takeLines(input), (lines_t{"one", ""}));
    pipe.write("o\nth");
    input.fill();
    EXPECT_EQ(takeLines(input), (lines_t{"two"}));
    EXPECT_EQ(input.lineNumber(), 3U);
}

TEST(InputBlocks, GivesTheRestAtTheEndAsALineThatIsNotWhole) {
    InputPipe pipe;
    InputBlocks input(pipe.descriptor());
    pipe.fill(input, "one\nrest");
    EXPECT_TRUE(input.ended());
    EXPECT_EQ(takeLines(input), (lines_t{"one", "rest..."}));
    EXPECT_EQ(input.error(), 0);
}

TEST(InputBlocks, PassesOverTheRestOfALineThatIsLongerThanABlock) {
    InputPipe pipe;
    InputBlocks input(pipe.descriptor());
    lines_t lines;
    const std::string block(InputBlocks::capacity, 'x');
    for (int i = 0; i < 3; ++i) {
        pipe.write(block);
        input.fill();
        for (std::string& line : takeLines(input)) {
            lines.push_back(std::move(line));
        }
    }
    pipe.write("end\nnext\n");
    input.fill();
    EXPECT_EQ(lines, (lines_t{block + "..."}));
    EXPECT_EQ(takeLines(input), (lines_t{"next"}));
    EXPECT_EQ(input.lineNumber(), 2U);
}

TEST(InputBlocks, TakesALineThatFillsTheBlockToTheLastByte) {
    InputPipe pipe;
    InputBlocks input(pipe.descriptor());
    const std::string text(InputBlocks::capacity - 1, 'x');
    pipe.write(text + '\n');
    input.fill();
    EXPECT_EQ(takeLines(input), (lines_t{text}));
}

TEST(InputBlocks, KeepsTheErrorThatEndedTheInput) {
    const int folder = open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    InputBlocks input(folder);
    input.fill();
    EXPECT_TRUE(input.ended());
    EXPECT_EQ(input.error(), EISDIR);
    close(folder);
}

TEST(InputBlocks, GoesOnWhereNothingIsThereNow) {
    InputPipe pipe;
    fcntl(pipe.descriptor(), F_SETFL, O_NONBLOCK);
    InputBlocks input(pipe.descriptor());
    input.fill();
    EXPECT_FALSE(input.ended());
    pipe.write("one\n");
    input.fill();
    EXPECT_EQ(takeLines(input), (lines_t{"one"}));
}
