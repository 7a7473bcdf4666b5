#include "tests/unit/libqvproc/freemutex.h"
#include "tests/unit/libqvproc/typedmutex.h"

#include <cerrno>
#include <stdexcept>
#include <type_traits>

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

static_assert(!std::is_copy_constructible_v<MutexLocker> && !std::is_copy_assignable_v<MutexLocker>);
static_assert(!std::is_constructible_v<MutexLocker, const Mutex&> &&
              !std::is_default_constructible_v<MutexLocker>);

} // namespace

TEST(MutexLocker, HoldsTheMutexForAScope) {
    Mutex mutex;
    {
        const MutexLocker locker(mutex);
        EXPECT_FALSE(isFree(mutex));
    }
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, ReleasesAndTakesTheMutexInsideTheScope) {
    Mutex mutex;
    {
        MutexLocker locker(mutex);
        EXPECT_EQ(locker.unlock(), 0);
        EXPECT_TRUE(isFree(mutex));
        EXPECT_EQ(locker.lock(), 0);
        EXPECT_FALSE(isFree(mutex));
    }
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, DoesNotReleaseAtTheEndWhatItHasReleasedBefore) {
    TypedMutex typed(PTHREAD_MUTEX_RECURSIVE);
    Mutex& mutex = typed.mutex;
    mutex.lock(); // a second release by the locker would take this one away
    [&]() QV_NO_THREAD_SAFETY_ANALYSIS {
        MutexLocker locker(mutex);
        EXPECT_EQ(locker.unlock(), 0);
    }();
    EXPECT_FALSE(isFree(mutex));
    mutex.unlock();
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, PassesTheResultsOfTheMutex) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    Mutex& mutex = typed.mutex;
    [&]() QV_NO_THREAD_SAFETY_ANALYSIS {
        MutexLocker locker(mutex);
        EXPECT_EQ(locker.lock(), EDEADLK);
        EXPECT_EQ(locker.unlock(), 0);
    }();
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, StillReleasesAMutexThatRefusedToBeTakenTwice) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    Mutex& mutex = typed.mutex;
    [&]() QV_NO_THREAD_SAFETY_ANALYSIS {
        MutexLocker locker(mutex);
        EXPECT_EQ(locker.lock(), EDEADLK);
    }();
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, DoesNotReleaseAMutexThatItCouldNotTakeAgain) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    Mutex& mutex = typed.mutex;
    [&]() QV_NO_THREAD_SAFETY_ANALYSIS {
        MutexLocker locker(mutex);
        EXPECT_EQ(locker.unlock(), 0);
        EXPECT_EQ(mutex.lock(), 0);
        EXPECT_EQ(locker.lock(), EDEADLK);
    }();
    EXPECT_FALSE(isFree(mutex));
    [&]() QV_NO_THREAD_SAFETY_ANALYSIS { EXPECT_EQ(mutex.unlock(), 0); }(); // taken in the scope above
}

TEST(MutexLocker, ReleasesTheMutexWhenAnExceptionLeavesTheScope) {
    Mutex mutex;
    const auto scope = [&] {
        const MutexLocker locker(mutex);
        throw std::runtime_error("leaves");
    };
    EXPECT_THROW(scope(), std::runtime_error);
    EXPECT_TRUE(isFree(mutex));
}

TEST(MutexLocker, GivesItsMutex) {
    Mutex mutex;
    MutexLocker locker(mutex);
    EXPECT_EQ(&locker.get(), &mutex);
}
