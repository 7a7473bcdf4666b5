// The mutex, its attributes and its debug flag.

#include "libqvproc/mutex.h"
#include "tests/fakes/captured.h"
#include "tests/unit/libqvproc/freemutex.h"
#include "tests/unit/libqvproc/typedmutex.h"

#include <cerrno>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>
#include <pthread.h>

namespace {

static_assert(std::has_virtual_destructor_v<Mutex>);
static_assert(!std::is_copy_constructible_v<Mutex> && !std::is_copy_assignable_v<Mutex>);

// Wrong uses are the point here; clang's analysis would refuse them.
int lock(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.lock();
}
int unlock(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.unlock();
}
bool trylock(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.trylock();
}
int semaphoreP(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.P();
}
int semaphoreV(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.V();
}
bool semaphoreTryP(Mutex& mutex) QV_NO_THREAD_SAFETY_ANALYSIS {
    return mutex.tryP();
}

} // namespace

TEST(Mutex, ExcludesOthersBetweenLockAndUnlock) {
    Mutex mutex;
    EXPECT_TRUE(isFree(mutex));
    EXPECT_EQ(lock(mutex), 0);
    EXPECT_FALSE(isFree(mutex));
    EXPECT_EQ(unlock(mutex), 0);
    EXPECT_TRUE(isFree(mutex));
}

TEST(Mutex, TellsWhetherTryingTookIt) {
    Mutex mutex;
    EXPECT_TRUE(trylock(mutex));
    EXPECT_FALSE(isFree(mutex));
    EXPECT_FALSE(trylock(mutex));
    EXPECT_EQ(unlock(mutex), 0);
}

TEST(Mutex, WorksUnderSemaphoreNames) {
    Mutex mutex;
    EXPECT_EQ(semaphoreP(mutex), 0);
    EXPECT_FALSE(isFree(mutex));
    EXPECT_FALSE(semaphoreTryP(mutex));
    EXPECT_EQ(semaphoreV(mutex), 0);
    EXPECT_TRUE(semaphoreTryP(mutex));
    EXPECT_FALSE(isFree(mutex));
    EXPECT_EQ(semaphoreV(mutex), 0);
    EXPECT_TRUE(isFree(mutex));
}

TEST(Mutex, GivesTheUnderlyingMutex) {
    Mutex mutex;
    ASSERT_EQ(pthread_mutex_lock(&mutex.getMutex()), 0);
    EXPECT_FALSE(isFree(mutex));
    ASSERT_EQ(pthread_mutex_unlock(&mutex.getMutex()), 0);
    EXPECT_TRUE(isFree(mutex));
}

TEST(Mutex, RefusesASecondLockWhenItChecksErrors) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    EXPECT_EQ(typed.result, 0);
    EXPECT_EQ(lock(typed.mutex), 0);
    EXPECT_EQ(lock(typed.mutex), EDEADLK);
    EXPECT_EQ(semaphoreP(typed.mutex), EDEADLK);
    EXPECT_FALSE(trylock(typed.mutex));
    EXPECT_EQ(unlock(typed.mutex), 0);
    EXPECT_TRUE(isFree(typed.mutex));
}

TEST(Mutex, CountsTheLocksOfItsOwnerWhenRecursive) {
    TypedMutex typed(PTHREAD_MUTEX_RECURSIVE);
    EXPECT_EQ(typed.result, 0);
    EXPECT_EQ(lock(typed.mutex), 0);
    EXPECT_EQ(lock(typed.mutex), 0);
    EXPECT_TRUE(trylock(typed.mutex));
    EXPECT_EQ(unlock(typed.mutex), 0);
    EXPECT_EQ(unlock(typed.mutex), 0);
    EXPECT_FALSE(isFree(typed.mutex));
    EXPECT_EQ(unlock(typed.mutex), 0);
    EXPECT_TRUE(isFree(typed.mutex));
}

TEST(MutexAttr, RefusesATypeThatDoesNotExist) {
    EXPECT_EQ(Mutex::Attr().setType(99), EINVAL);
}

TEST(MutexAttr, GivesTheTypeThatWasSet) {
    Mutex::Attr attr;
    EXPECT_EQ(attr.setType(PTHREAD_MUTEX_RECURSIVE), 0);
    int type = -1;
    EXPECT_EQ(pthread_mutexattr_gettype(&attr.get(), &type), 0);
    EXPECT_EQ(type, PTHREAD_MUTEX_RECURSIVE);
}

TEST(MutexDebug, IsOffUntilSet) {
    Mutex mutex;
    EXPECT_FALSE(mutex.getDebug());
    mutex.setDebug(true);
    EXPECT_TRUE(mutex.getDebug());
    mutex.setDebug(false);
    EXPECT_FALSE(mutex.getDebug());
}

// The thread sanitizer is told (below) that the mistake here is meant.
int unlockWithoutALock(Mutex& mutex) {
    return unlock(mutex);
}

TEST(MutexDebug, WritesALineForEachFailureToStandardError) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    typed.mutex.setDebug(true);
    const Captured output = captured([&] {
        EXPECT_EQ(unlockWithoutALock(typed.mutex), EPERM);
        EXPECT_EQ(lock(typed.mutex), 0);
        EXPECT_EQ(lock(typed.mutex), EDEADLK);
        EXPECT_FALSE(trylock(typed.mutex));
        EXPECT_EQ(unlock(typed.mutex), 0);
    });
    EXPECT_EQ(output.err, "mutex unlock: Operation not permitted\n"
                          "mutex lock: Resource deadlock avoided\n");
    EXPECT_EQ(output.out, "");
}

TEST(MutexDebug, IsSilentWithoutTheFlag) {
    TypedMutex typed(PTHREAD_MUTEX_ERRORCHECK);
    const Captured output = captured([&] {
        EXPECT_EQ(lock(typed.mutex), 0);
        EXPECT_EQ(lock(typed.mutex), EDEADLK);
        EXPECT_EQ(unlock(typed.mutex), 0);
    });
    EXPECT_EQ(output.err, "");
    EXPECT_EQ(output.out, "");
}

extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
    return "mutex:unlockWithoutALock\n";
}
