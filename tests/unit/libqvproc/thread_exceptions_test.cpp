// What leaves a thread's code ends that thread alone.

#include "tests/fakes/allocations.h"
#include "tests/fakes/captured.h"
#include "tests/unit/libqvproc/probe.h"

#include <functional>
#include <future>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

/// Runs `body` on a thread to its end; what was written.
Captured run(const std::function<void()>& body) {
    return captured([&body] {
        Probe probe(body);
        EXPECT_EQ(probe.start(), 0);
        EXPECT_EQ(probe.join(), 0);
    });
}

/// Says when it goes out of scope.
struct Local {
    explicit Local(bool& _destroyed) : destroyed(_destroyed) {}
    ~Local() { destroyed = true; }
    bool& destroyed;
};

struct thrown_t {
    const char* name;
    void (*body)();
    const char* text;
};

const thrown_t thrownRows[] = {
    {"runtime_error", [] { throw std::runtime_error("the text"); }, "the text"},
    {"derived_exception", [] { throw std::out_of_range("too far"); }, "too far"},
    {"empty_text", [] { throw std::runtime_error(""); }, ""},
    {"bad_alloc", [] { throw std::bad_alloc(); }, "std::bad_alloc"},
    {"number", [] { throw 5; }, "unknown exception"},
    {"text", [] { throw "text"; }, "unknown exception"},
};

} // namespace

class ThreadException : public testing::TestWithParam<thrown_t> {};

TEST_P(ThreadException, BecomesOneErrorLine) {
    const Captured output = run(GetParam().body);
    EXPECT_EQ(output.err, std::string("[ERROR] BZ::threadCode() ") + GetParam().text + "\n");
    EXPECT_EQ(output.out, "");
}

INSTANTIATE_TEST_SUITE_P(Rows, ThreadException, testing::ValuesIn(thrownRows),
                         [](const auto& row) { return std::string(row.param.name); });

TEST(ThreadEnd, IsSilentWithoutAnException) {
    const Captured output = run([] {});
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(output.out, "");
}

TEST(ThreadEnd, ByAnExceptionLeavesTheOtherThreadsRunning) {
    std::promise<void> firstHasEnded;
    bool secondWentOn = false;
    const Captured output = captured([&] {
        Probe first([] { throw std::runtime_error("the text"); });
        Probe second([&] {
            firstHasEnded.get_future().wait();
            secondWentOn = true;
        });
        EXPECT_EQ(second.start(), 0);
        EXPECT_EQ(first.start(), 0);
        EXPECT_EQ(first.join(), 0);
        firstHasEnded.set_value();
        EXPECT_EQ(second.join(), 0);
    });
    EXPECT_TRUE(secondWentOn);
    EXPECT_EQ(output.err, "[ERROR] BZ::threadCode() the text\n");
}

TEST(ThreadEnd, ByAnExceptionIsKnownAfterJoinUntilTheNextStart) {
    bool failing = true;
    Probe probe([&failing] {
        if (failing) {
            throw 5;
        }
    });
    const auto run = [&probe] {
        captured([&probe] {
            EXPECT_EQ(probe.start(), 0);
            EXPECT_EQ(probe.join(), 0);
        });
        return probe.endedByException();
    };
    EXPECT_FALSE(probe.endedByException());
    EXPECT_TRUE(run());
    failing = false;
    EXPECT_FALSE(run());
}

TEST(ThreadEnd, ByAnExceptionDestroysWhatTheThreadHeld) {
    bool destroyed = false;
    run([&destroyed] {
        const Local local(destroyed);
        throw std::runtime_error("the text");
    });
    EXPECT_TRUE(destroyed);
}

TEST(ThreadEnd, ForLackOfMemoryIsReportedWithoutAllocating) {
    const Captured output = run([] {
        // Until the thread has ended: the next allocation fails, whoever makes it.
        static thread_local const allocations::FailNth next(1);
        throw std::bad_alloc();
    });
    EXPECT_EQ(output.err, "[ERROR] BZ::threadCode() std::bad_alloc\n");
}

TEST(ThreadEnd, CutsATextThatIsTooLongForALine) {
    const Captured output = run([] { throw std::runtime_error(std::string(2000, 'x')); });
    EXPECT_LT(output.err.size(), 1000U);
    EXPECT_EQ(output.err.substr(0, 27), "[ERROR] BZ::threadCode() xx");
    EXPECT_EQ(output.err.substr(output.err.size() - 2), "x\n");
}

TEST(ThreadEnd, ByPthreadExitUnwindsInSilence) {
    bool destroyed = false;
    bool wentOn = false;
    const Captured output = run([&] {
        const Local local(destroyed);
        pthread_exit(nullptr);
        wentOn = true;
    });
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(wentOn);
    EXPECT_EQ(output.err, "");
}

TEST(ThreadEnd, ByCancellationUnwindsInSilence) {
    bool destroyed = false;
    bool wentOn = false;
    const Captured output = run([&] {
        const Local local(destroyed);
        pthread_cancel(pthread_self());
        pthread_testcancel();
        wentOn = true;
    });
    EXPECT_TRUE(destroyed);
    EXPECT_FALSE(wentOn);
    EXPECT_EQ(output.err, "");
}
