#include "libqvio/descriptor.h"
#include "qvbus/pendingoutput.h"
#include "tests/fakes/fakesystem.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace {

class PendingOutputTest : public testing::Test {
protected:
    PendingOutputTest() {
        int ends[2];
        EXPECT_EQ(pipe(ends), 0);
        reader = Descriptor(ends[0]);
        writer = Descriptor(ends[1]);
        std::signal(SIGPIPE, SIG_IGN);
    }

    std::string read() const {
        std::array<char, 65536> bytes;
        const ssize_t n = ::read(reader.get(), bytes.data(), bytes.size());
        return n > 0 ? std::string(bytes.data(), static_cast<std::size_t>(n)) : std::string();
    }

    /// As many lines as the pipe holds, and one more.
    void fill(PendingOutput& out) {
        while (out.empty()) {
            out.line(std::string(99, 'x'));
        }
    }

    Descriptor reader;
    Descriptor writer;
};

} // namespace

TEST_F(PendingOutputTest, WritesALineAtOnceWhenThereIsRoom) {
    PendingOutput out(writer.get());
    out.line("one");
    EXPECT_TRUE(out.empty());
    EXPECT_EQ(read(), "one\n");
}

TEST_F(PendingOutputTest, KeepsWhatAFullPipeDoesNotTakeAndWritesItLater) {
    PendingOutput out(writer.get());
    fill(out);
    EXPECT_FALSE(out.flush());
    out.line("last");
    std::string all = read();
    while (out.flush()) {
        all += read();
    }
    EXPECT_TRUE(out.empty());
    EXPECT_FALSE(out.failed());
    EXPECT_EQ(all.substr(all.size() - 6), "\nlast\n");
    EXPECT_EQ((all.size() - 5) % 100, 0U) << "nothing is lost or doubled";
}

TEST_F(PendingOutputTest, GivesAPipeWholeLinesWhereTheyFit) {
    std::vector<std::string> pieces;
    PendingOutput out(writer.get());
    fill(out);
    for (int i = 0; i < 100; ++i) {
        out.line(std::string(299, 'y'));
    }
    read();
    FakeSystem system;
    system.write = [&pieces](int, const void* bytes, std::size_t n) {
        pieces.emplace_back(static_cast<const char*>(bytes), n);
        return static_cast<ssize_t>(n);
    };
    while (out.flush()) {
    }
    EXPECT_GT(pieces.size(), 5U);
    for (const std::string& piece : pieces) {
        EXPECT_LE(piece.size(), 4096U);
        EXPECT_EQ(piece.back(), '\n');
    }
}

TEST_F(PendingOutputTest, CutsALineThatIsTooLongForAPipe) {
    PendingOutput out(writer.get());
    const std::string line(10000, 'z');
    out.line(line);
    EXPECT_EQ(read(), line + '\n');
}

TEST_F(PendingOutputTest, HasFailedWhenItsReaderIsGone) {
    PendingOutput out(writer.get());
    reader.reset();
    out.line("one");
    EXPECT_TRUE(out.failed());
    EXPECT_TRUE(out.empty()) << "nobody would ever take it";
    out.line("two");
    EXPECT_TRUE(out.empty());
}

TEST_F(PendingOutputTest, WaitsOverASignalAndOverALackOfRoom) {
    PendingOutput out(writer.get());
    std::vector<int> errors = {EINTR, EAGAIN};
    {
        FakeSystem system;
        system.write = [&errors](int, const void*, std::size_t) {
            errno = errors.front();
            errors.erase(errors.begin());
            return ssize_t{-1};
        };
        out.line("one");
    }
    EXPECT_EQ(errors, std::vector<int>());
    EXPECT_FALSE(out.failed());
    EXPECT_TRUE(out.flush());
    EXPECT_EQ(read(), "one\n");
}
