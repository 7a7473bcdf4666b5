// A list of devices is started and joined as a whole, each device on a thread of its own.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/scripteddevice.h"

#include <atomic>
#include <cerrno>
#include <mutex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

class CanDeviceThreads : public ScriptedDevice {
protected:
    CanDevice::devices_t list(std::size_t n) {
        CanDevice::devices_t devices;
        for (std::size_t i = 0; i < n; ++i) {
            devices.emplace_back(make());
        }
        return devices;
    }
};

} // namespace

TEST_F(CanDeviceThreads, OfAnEmptyListAreNone) {
    int calls = 0;
    system.pthread_create = [&calls](pthread_t*, void* (*)(void*), void*) { return ++calls; };
    system.pthread_join = [&calls](pthread_t) { return ++calls; };
    CanDevice::start({});
    CanDevice::join({});

    EXPECT_EQ(calls, 0);
}

TEST_F(CanDeviceThreads, AreCreatedAndJoinedInTheOrderOfTheList) {
    std::vector<void*> created;
    std::vector<pthread_t> joined;
    system.pthread_create = [&created](pthread_t* handle, void* (*function)(void*), void* object) {
        EXPECT_NE(function, nullptr);
        *handle = static_cast<pthread_t>(100 + created.size());
        created.push_back(object);
        return 0;
    };
    system.pthread_join = [&joined](pthread_t handle) {
        joined.push_back(handle);
        return 0;
    };
    const CanDevice::devices_t devices = list(3);
    CanDevice::start(devices);
    EXPECT_TRUE(joined.empty()) << "all are created before any is joined";
    CanDevice::join(devices);

    ASSERT_EQ(created.size(), 3U);
    for (std::size_t i = 0; i < created.size(); ++i) {
        EXPECT_EQ(created[i], static_cast<Thread*>(devices[i].get()));
    }
    EXPECT_EQ(joined, std::vector<pthread_t>({100, 101, 102}));
}

TEST_F(CanDeviceThreads, ThatCannotBeCreatedAreNeitherReportedNorJoined) {
    int created = 0;
    std::vector<pthread_t> joined;
    system.pthread_create = [&created](pthread_t* handle, void* (*)(void*), void*) {
        *handle = static_cast<pthread_t>(100 + created);
        return ++created == 2 ? EAGAIN : 0;
    };
    system.pthread_join = [&joined](pthread_t handle) {
        joined.push_back(handle);
        return ESRCH; // is ignored, too
    };
    const Captured text = captured([&] {
        const CanDevice::devices_t devices = list(3);
        CanDevice::start(devices);
        CanDevice::join(devices);
    });

    EXPECT_EQ(created, 3) << "the others are started all the same";
    EXPECT_EQ(joined, std::vector<pthread_t>({100, 102}));
    EXPECT_EQ(text.out + text.err, "");
}

TEST_F(CanDeviceThreads, RunTheModeOfTheirDevice) {
    settings.answer = CanDevice::A_YES;
    std::mutex lock;
    std::set<std::thread::id> threads;
    system.read = [&](int, void*, std::size_t) -> ssize_t {
        const std::lock_guard<std::mutex> guard(lock);
        threads.insert(std::this_thread::get_id());
        errno = ENODEV;
        return -1; // ends the answer mode
    };
    const Captured text = captured([&] {
        const CanDevice::devices_t devices = list(3);
        CanDevice::start(devices);
        CanDevice::join(devices);
    });

    EXPECT_EQ(text.err,
              "read error: No such device\nread error: No such device\nread error: No such device\n");
    EXPECT_GE(threads.size(), 1U);
    EXPECT_EQ(threads.count(std::this_thread::get_id()), 0U) << "none of them is the caller's";
}

TEST_F(CanDeviceThreads, LeftByAnExceptionEndAloneWithOneErrorLine) {
    std::atomic<int> reads{0};
    system.read = [&reads](int, void*, std::size_t) -> ssize_t {
        if (++reads == 1) {
            throw std::runtime_error("the reason");
        }
        throw 42;
    };
    const Captured text = captured([&] {
        const CanDevice::devices_t devices = list(1);
        CanDevice::start(devices);
        CanDevice::join(devices);
        CanDevice::start(devices);
        CanDevice::join(devices);
    });

    EXPECT_EQ(text.err, "[ERROR] BZ::threadCode() the reason\n[ERROR] BZ::threadCode() unknown exception\n");
    EXPECT_EQ(text.out, "nothing to send, just reading ...\nnothing to send, just reading ...\n");
}

TEST_F(CanDeviceThreads, ShareTheDescriptorAndEachDeviceClosesIt) {
    settings.answer = CanDevice::A_YES;
    system.read = [](int, void*, std::size_t) -> ssize_t { return 0; };
    int closed = 0;
    const auto original = system.close;
    system.close = [&](int fd) {
        closed += fd == descriptor ? 1 : 0;
        return original(fd);
    };
    captured([&] {
        CanDevice::devices_t devices = list(4);
        CanDevice::start(devices);
        CanDevice::join(devices);
        EXPECT_EQ(closed, 0) << "not before the list is dropped";
        devices.clear();
    });

    EXPECT_EQ(closed, 4);
}
