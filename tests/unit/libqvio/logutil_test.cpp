// Debug and error lines: exact, whole, and written under the log lock.

#include "libqvio/logutil.h"
#include "libqvproc/thread.h"
#include "tests/fakes/captured.h"
#include "tests/fakes/pieces.h"

#include <cerrno>
#include <iomanip>
#include <iostream>
#include <map>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace {

static_assert(std::is_base_of_v<std::mutex, LogMutex>);

/// Whether some thread holds the log lock. Asked on a thread of its own: trying a lock that one holds is
/// undefined.
bool logIsLocked() {
    bool locked = true;
    std::thread([&locked] {
        std::mutex& mutex = LogUtil::logMutex;
        locked = !std::unique_lock<std::mutex>(mutex, std::try_to_lock).owns_lock();
    }).join();
    return locked;
}

/// Sets flags on a shared stream, for one test.
class Flags {
public:
    explicit Flags(std::ostream& _stream) : stream(_stream), flags(_stream.flags()), fill(_stream.fill('*')) {
        stream << std::hex << std::showbase << std::uppercase;
        set = stream.flags();
    }
    ~Flags() {
        EXPECT_EQ(stream.flags(), set) << "changed meanwhile";
        stream.flags(flags);
        stream.fill(fill);
    }
    Flags(const Flags&) = delete;
    Flags& operator=(const Flags&) = delete;

private:
    std::ostream& stream;
    std::ios_base::fmtflags flags;
    char fill;
    std::ios_base::fmtflags set;
};

} // namespace

TEST(LogUtil, WritesADebugLineToStandardOutput) {
    const Captured output = captured([] { LogUtil::debugLine("sendCAN", "written 72 bytes"); });
    EXPECT_EQ(output.out, "[DEBUG] BZ::sendCAN() written 72 bytes\n");
    EXPECT_EQ(output.err, "");
}

TEST(LogUtil, WritesAnErrorLineToStandardError) {
    const Captured output = captured([] { LogUtil::errorLine("sendPattern", "select", EBADF); });
    EXPECT_EQ(output.err, "[ERROR] BZ::sendPattern() select: Bad file descriptor\n");
    EXPECT_EQ(output.out, "");
}

TEST(LogUtil, CompletesAnErrorLineWithTheSystemsText) {
    const Captured output = captured([] {
        const LogUtil::Lock lock;
        std::cerr << "[ERROR] BZ::f() open";
        LogUtil::printError(ENOENT);
        LogUtil::printError(EBADF, "and the next");
    });
    EXPECT_EQ(output.err, "[ERROR] BZ::f() open: No such file or directory\n"
                          "and the next: Bad file descriptor\n");
    EXPECT_EQ(output.out, "");
}

TEST(LogUtil, NamesAnErrorThatTheSystemDoesNotKnow) {
    const Captured output = captured([] { LogUtil::errorLine("f", "call", 4711); });
    EXPECT_EQ(output.err, "[ERROR] BZ::f() call: Unknown error 4711\n");
}

TEST(LogUtil, NeitherHeedsNorChangesTheFlagsOfTheStreams) {
    const Captured output = captured([] {
        const Flags outFlags(std::cout);
        const Flags errFlags(std::cerr);
        LogUtil::debugLine("f", "text");
        LogUtil::errorLine("f", "call", 4711);
    });
    EXPECT_EQ(output.out, "[DEBUG] BZ::f() text\n");
    EXPECT_EQ(output.err, "[ERROR] BZ::f() call: Unknown error 4711\n");
}

TEST(LogUtil, WritesADebugLineInOneInsertionUnderTheLockAndFlushesIt) {
    Pieces pieces(std::cout);
    std::vector<bool> locked;
    pieces.onPiece = [&locked] { locked.push_back(logIsLocked()); };

    LogUtil::debugLine("f", "text");

    EXPECT_EQ(pieces.all, std::vector<std::string>{"[DEBUG] BZ::f() text\n"});
    EXPECT_EQ(pieces.flushes, 1U);
    EXPECT_EQ(locked, std::vector<bool>{true});
    EXPECT_FALSE(logIsLocked()) << "afterwards";
}

TEST(LogUtil, WritesAnErrorLineInOneInsertionUnderTheLockAndFlushesIt) {
    Pieces pieces(std::cerr);
    std::vector<bool> locked;
    pieces.onPiece = [&locked] { locked.push_back(logIsLocked()); };

    LogUtil::errorLine("f", "call", EIO);
    LogUtil::plainErrorLine("unknown ", 5);

    EXPECT_EQ(pieces.all, (std::vector<std::string>{"[ERROR] BZ::f() call: Input/output error\n",
                                                    "[ERROR] unknown 5\n"}));
    EXPECT_EQ(locked, (std::vector<bool>{true, true}));
    EXPECT_GE(pieces.flushes, 2U);
    EXPECT_FALSE(logIsLocked()) << "afterwards";
}

namespace {

/// A thread that ends by an exception.
struct Failing : Thread {
    void threadCode() override { throw std::runtime_error("the reason"); }
};

} // namespace

TEST(LogUtil, WritesTheLineOfAThreadsExceptionInOneInsertionUnderTheLock) {
    Pieces pieces(std::cerr);
    std::vector<bool> locked;
    pieces.onPiece = [&locked] { locked.push_back(logIsLocked()); };
    Failing thread;
    thread.start();
    thread.join();

    EXPECT_EQ(pieces.all, std::vector<std::string>{"[ERROR] BZ::threadCode() the reason\n"});
    EXPECT_EQ(locked, std::vector<bool>{true});
}

TEST(LogLock, HoldsTheMutexForAScope) {
    {
        const LogUtil::Lock lock;
        EXPECT_TRUE(logIsLocked());
    }
    EXPECT_FALSE(logIsLocked());
}

namespace {

constexpr int threads = 8;
constexpr int rounds = 100;

/// Writes one debug and one error line a round, on each of many threads.
void writeFromManyThreads() {
    std::vector<std::thread> writers;
    for (int i = 0; i < threads; ++i) {
        writers.emplace_back([i] {
            const std::string name = "thread" + std::to_string(i);
            for (int round = 0; round < rounds; ++round) {
                LogUtil::debugLine(name.c_str(), "a text of some length");
                LogUtil::errorLine(name.c_str(), "call", EIO);
            }
        });
    }
    for (std::thread& writer : writers) {
        writer.join();
    }
}

std::map<std::string, int> countLines(const std::string& text) {
    std::map<std::string, int> counts;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        ++counts[line];
    }
    return counts;
}

} // namespace

TEST(LogUtil, KeepsTheLinesOfManyThreadsWhole) {
    const Captured output = captured(writeFromManyThreads);
    std::map<std::string, int> out;
    std::map<std::string, int> err;
    for (int i = 0; i < threads; ++i) {
        const std::string name = "thread" + std::to_string(i);
        out["[DEBUG] BZ::" + name + "() a text of some length"] = rounds;
        err["[ERROR] BZ::" + name + "() call: Input/output error"] = rounds;
    }
    EXPECT_EQ(countLines(output.out), out);
    EXPECT_EQ(countLines(output.err), err);
}
