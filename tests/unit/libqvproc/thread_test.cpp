// Threads: their start, their end, and the handle in between.

#include "tests/fakes/fakesystem.h"
#include "tests/unit/libqvproc/probe.h"

#include <cerrno>
#include <functional>
#include <memory>
#include <thread>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

static_assert(std::has_virtual_destructor_v<Thread> && std::is_abstract_v<Thread>);
static_assert(!std::is_copy_constructible_v<Thread> && !std::is_copy_assignable_v<Thread>);

/// Tells of its end.
class Mortal : public Probe {
public:
    explicit Mortal(bool& _dead) : dead(_dead) {}
    ~Mortal() override { dead = true; }

private:
    bool& dead;
};

using slot_t = void (*)(Thread*);

/// Calls a virtual operation by its place in the class's table, as the ABI lays it out.
void callSlot(Thread* thread, std::size_t slot) {
    const slot_t* const table = *reinterpret_cast<slot_t**>(thread);
    table[slot](thread);
}

} // namespace

TEST(Thread, RunsItsCodeOnAThreadOfItsOwn) {
    std::thread::id id;
    Probe probe([&id] { id = std::this_thread::get_id(); });

    EXPECT_EQ(probe.start(), 0);
    EXPECT_EQ(probe.join(), 0);

    EXPECT_NE(id, std::thread::id());
    EXPECT_NE(id, std::this_thread::get_id());
}

TEST(Thread, JoinWaitsForTheEnd) {
    bool ended = false;
    Probe probe([&ended] {
        for (int i = 0; i < 1000; ++i) {
            std::this_thread::yield();
        }
        ended = true;
    });
    EXPECT_EQ(probe.start(), 0);
    EXPECT_EQ(probe.join(), 0);
    EXPECT_TRUE(ended);
}

TEST(Thread, MayBeStartedAgainAfterItsEnd) {
    int runs = 0;
    Probe probe([&runs] { ++runs; });
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(probe.start(), 0);
        EXPECT_EQ(probe.join(), 0);
    }
    EXPECT_EQ(runs, 2);
}

TEST(Thread, StartHandsTheWrapperAndTheObjectToTheSystem) {
    Probe probe;
    FakeSystem fake;
    int calls = 0;
    fake.pthread_create = [&](pthread_t*, void* (*function)(void*), void* argument) {
        ++calls;
        EXPECT_EQ(function, &Probe::startWrapper);
        EXPECT_EQ(argument, static_cast<Thread*>(&probe));
        return EPERM;
    };
    EXPECT_EQ(probe.start(), EPERM);
    EXPECT_EQ(calls, 1);
}

TEST(Thread, WrapperRunsTheCodeOfTheObject) {
    int runs = 0;
    Probe probe([&runs] { ++runs; });
    EXPECT_EQ(Probe::startWrapper(static_cast<Thread*>(&probe)), nullptr);
    EXPECT_EQ(runs, 1);
}

TEST(Thread, HasAnInvalidHandleOfAllBits) {
    pthread_t handle = pthread_self();
    Thread::invalidate(handle);
    EXPECT_EQ(handle, static_cast<pthread_t>(-1));
}

namespace {

/// The system's calls to wait for a thread, each answered with `result`.
struct Joins {
    explicit Joins(int result) {
        fake.pthread_join = [this, result](pthread_t) {
            ++calls;
            return result;
        };
    }
    int calls = 0;
    FakeSystem fake;
};

void expectNothingToJoin(Probe& probe) {
    const Joins joins(0);
    EXPECT_EQ(probe.join(), ESRCH);
    EXPECT_EQ(joins.calls, 0);
}

} // namespace

TEST(ThreadJoin, OfAThreadThatNeverRanReturnsAnErrorNumber) {
    Probe probe;
    expectNothingToJoin(probe);
}

TEST(ThreadJoin, ForTheSecondTimeReturnsAnErrorNumber) {
    Probe probe;
    EXPECT_EQ(probe.start(), 0);
    EXPECT_EQ(probe.join(), 0);
    expectNothingToJoin(probe);
}

TEST(ThreadJoin, AfterAFailedStartReturnsAnErrorNumber) {
    Probe probe;
    {
        FakeSystem fake;
        fake.pthread_create = [](pthread_t* handle, void* (*)(void*), void*) {
            *handle = static_cast<pthread_t>(4711); // POSIX leaves the handle undefined
            return EAGAIN;
        };
        EXPECT_EQ(probe.start(), EAGAIN);
    }
    expectNothingToJoin(probe);
}

TEST(ThreadJoin, PassesTheSystemsErrorNumberAndMayBeTriedAgain) {
    Probe probe;
    EXPECT_EQ(probe.start(), 0);
    {
        const Joins joins(EDEADLK);
        EXPECT_EQ(probe.join(), EDEADLK);
        EXPECT_EQ(joins.calls, 1);
    }
    EXPECT_EQ(probe.join(), 0);
}

TEST(Thread, IsDestroyedThroughItsBase) {
    bool dead = false;
    std::unique_ptr<Thread> thread = std::make_unique<Mortal>(dead);
    thread.reset();
    EXPECT_TRUE(dead);
}

TEST(ThreadSlots, HoldTheDeletingDestructorSecond) {
    bool dead = false;
    callSlot(new Mortal(dead), 1); // leaks, by the address sanitizer, if it does not delete
    EXPECT_TRUE(dead);
}

TEST(ThreadSlots, HoldTheCodeThird) {
    int runs = 0;
    Probe probe([&runs] { ++runs; });
    callSlot(&probe, 2);
    EXPECT_EQ(runs, 1);
}
