// The device object: what its constructor keeps, and what its destructor closes.

#include "tests/fakes/captured.h"
#include "tests/unit/qvtools/recordfile.h"

#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <vector>

namespace {

static_assert(CanDevice::A_NO == 0 && CanDevice::A_YES == 1, "the values are part of the interface");
static_assert(CanDevice::LOOP_UNDEFINED == 0xFFFFFFFF && CanDevice::LOOP_FILE_DEFAULT == 1 &&
                  CanDevice::LOOP_PATTERN_DEFAULT == 1024 && CanDevice::TIME_GAP == 100000 &&
                  CanDevice::CANID_SEND == 1 && CanDevice::CAN_CHANNEL == 0,
              "defaults that users' scripts rely on");
static_assert(std::is_base_of<Thread, CanDevice>::value && std::has_virtual_destructor<CanDevice>::value,
              "deleted through its base");
static_assert(std::is_same<CanDevice::devices_t, std::vector<std::shared_ptr<CanDevice>>>::value,
              "shared handles own the devices");

class CanDeviceObject : public ScriptedDevice {
protected:
    /// The descriptors that a device with `settings` closes when it goes.
    std::vector<int> closedBy() {
        std::vector<int> closed;
        system.close = [&closed](int fd) {
            closed.push_back(fd);
            errno = EBADF;
            return -1; // is ignored
        };
        make().reset();
        return closed;
    }
};

struct jitter_t {
    const char* name;
    std::uint64_t timegap;
    std::uint64_t jitter;
    std::uint64_t kept;
    friend void PrintTo(const jitter_t& row, std::ostream* out) { *out << row.name; }
};

class CanDeviceJitter : public CanDeviceObject, public testing::WithParamInterface<jitter_t> {};

} // namespace

TEST_P(CanDeviceJitter, IsCutToTheGapWithoutAWord) {
    settings.timegap = GetParam().timegap;
    settings.jitter = GetParam().jitter;
    const Captured text = captured([&] {
        const auto kept = CanDeviceTestAccess::settingsOf(*make(3));
        EXPECT_EQ(kept.timegap, GetParam().timegap);
        EXPECT_EQ(kept.jitter, GetParam().kept);
    });

    EXPECT_EQ(text.out + text.err, "");
}

INSTANTIATE_TEST_SUITE_P(
    Rows, CanDeviceJitter,
    testing::Values(jitter_t{"above", 100, 500, 100}, jitter_t{"below", 100, 99, 99},
                    jitter_t{"equal", 100, 100, 100}, jitter_t{"one_above", 100, 101, 100},
                    jitter_t{"none", 100, 0, 0}, jitter_t{"gap_of_zero", 0, 5, 0},
                    jitter_t{"beyond_32_bits", 0x100000000, 0xFFFFFFFFFFFFFFFF, 0x100000000},
                    jitter_t{"highest", 0xFFFFFFFFFFFFFFFF, 0x8000000000000000, 0x8000000000000000}),
    [](const auto& row) { return std::string(row.param.name); });

TEST_F(CanDeviceObject, KeepsWhatItIsGiven) {
    settings.network = false;
    settings.verbose = 65535;
    settings.answer = CanDevice::A_YES;
    settings.pattern = true;
    settings.errnum = 0xFFFFFFFF;
    settings.loop = 0xFFFFFFFE;
    settings.canFd = true;
    settings.brs = true;
    settings.canId = 0xE0000001;
    settings.channel = 255;
    const auto kept = CanDeviceTestAccess::settingsOf(*make());

    EXPECT_EQ(kept.fd, descriptor);
    EXPECT_FALSE(kept.network);
    EXPECT_EQ(kept.verbose, 65535);
    EXPECT_EQ(kept.answer, CanDevice::A_YES);
    EXPECT_TRUE(kept.pattern);
    EXPECT_EQ(kept.errnum, 0xFFFFFFFF);
    EXPECT_EQ(kept.loop, 0xFFFFFFFE);
    EXPECT_TRUE(kept.canFd);
    EXPECT_TRUE(kept.brs);
    EXPECT_EQ(kept.canId, 0xE0000001);
    EXPECT_EQ(kept.channel, 255);
}

TEST_F(CanDeviceObject, AcceptsTheFileNamesAndDropsThem) {
    settings.readFileName = "received";
    settings.sendFileName = "sent";
    const auto kept = CanDeviceTestAccess::settingsOf(*make());

    EXPECT_EQ(kept.readFileName, "");
    EXPECT_EQ(kept.sendFileName, "");
}

TEST_F(CanDeviceObject, StartsWithAnEmptyPatternMessage) {
    const auto device = make();
    const CANExtTraceMessage& message = CanDeviceTestAccess::patternMsg(*device);

    EXPECT_EQ(message.getMessageId(), MSGID_CAN_EXT);
    EXPECT_EQ(message.getTimeStamp(), 0U);
    EXPECT_EQ(message.getChannel(), 0);
    EXPECT_EQ(message.getType(), CF_STANDARD);
    EXPECT_EQ(message.getStatus(), CSE_NO);
    EXPECT_EQ(message.getCanType(), CT_EXTENDED);
    EXPECT_EQ(message.getNumDataBytes(), 0);
    EXPECT_EQ(message.getCanId(), 0U);
    EXPECT_EQ(hexadecimal(message.getDataBytes(), 8), "0000000000000000");
}

TEST_F(CanDeviceObject, ClosesItsDescriptorOnceAndIgnoresTheResult) {
    EXPECT_EQ(closedBy(), std::vector<int>({descriptor}));
}

TEST_F(CanDeviceObject, ClosesStandardInputWhenThatIsItsDescriptor) {
    settings.fd = 0;

    EXPECT_EQ(closedBy(), std::vector<int>({0}));
}

TEST_F(CanDeviceObject, ClosesNothingWithoutADescriptor) {
    for (const int none : {-1, -2}) {
        settings.fd = none;
        EXPECT_EQ(closedBy(), std::vector<int>());
    }
}

TEST_F(CanDeviceObject, IsDeletedThroughItsBase) {
    int closed = 0;
    system.close = [&closed](int) { return closed++; };
    const std::unique_ptr<Thread> thread = make();
    EXPECT_EQ(closed, 0);
}

namespace {

struct buffer_t {
    const char* name;
    unsigned short verbose;
    bool debug;
    friend void PrintTo(const buffer_t& row, std::ostream* out) { *out << row.name; }
};

class CanDeviceBuffer : public RecordFile, public testing::WithParamInterface<buffer_t> {};

} // namespace

TEST_P(CanDeviceBuffer, ReadsTheDeviceFileAndTalksFromVerbosityThreeOn) {
    open(GetParam().verbose);
    chunks.push_back(frameRecord(1));
    const Captured text = captured([&] { readOnce(); });

    EXPECT_EQ(reads, 1) << "of the device's descriptor, which the script checks";
    EXPECT_EQ(text.out != withoutBufferLines(text.out), GetParam().debug) << text.out;
}

INSTANTIATE_TEST_SUITE_P(Verbosity, CanDeviceBuffer,
                         testing::Values(buffer_t{"0", 0, false}, buffer_t{"2", 2, false},
                                         buffer_t{"3", 3, true}, buffer_t{"highest", 65535, true}),
                         [](const auto& row) { return std::string(row.param.name); });

TEST_F(CanDeviceObject, OfTheNetworkBuildLeavesTheTraceBufferWithoutDescriptorAndDebugFlag) {
    const auto device = make(3);
    int readFrom = 0;
    system.read = [&readFrom](int fd, void*, std::size_t) -> ssize_t {
        readFrom = fd;
        return 0;
    };
    auto& buffer = const_cast<TraceMessageBuffer&>(CanDeviceTestAccess::buffer(*device));
    const Captured text = captured([&] {
        buffer.read();
        buffer.getNextMessage(); // says what was read, if its debug flag is set
    });

    EXPECT_EQ(readFrom, -1);
    EXPECT_EQ(text.out, "");
}

TEST_F(CanDeviceObject, ThatCannotBeConstructedLeavesTheDescriptorOpen) {
    settings.network = false;
    settings.readFileName = std::string(100, 'x'); // a copy takes memory
    int closed = 0;
    system.close = [&closed](int) {
        ++closed;
        return 0;
    };
    std::size_t thrown = 0;
    bool reached = true;
    for (std::size_t nth = 1; reached; ++nth) {
        const allocations::FailNth failure(nth);
        try {
            const std::unique_ptr<CanDevice> device(CanDeviceTestAccess::makeWithFiles(settings));
        } catch (const std::bad_alloc&) {
            ++thrown;
        }
        reached = failure.failed();
    }
    EXPECT_GT(thrown, 1U) << "more than the object itself takes memory";
    EXPECT_EQ(closed, 1) << "by the one that was constructed";
}

TEST_F(CanDeviceObject, OfTheFileBuildMakesTheMessageKindsKnown) {
    settings.network = false;
    make();

    EXPECT_TRUE(MessageBase::isRegistered(MSGID_CAN));
    EXPECT_TRUE(MessageBase::isRegistered(MSGID_CAN_EXT));
    EXPECT_FALSE(MessageBase::isRegistered(static_cast<msgid_t>(77)));
}

// CTest runs each case in a process of its own, where nothing else has made the kinds known.
TEST_F(CanDeviceObject, OfTheNetworkBuildDoesNotMakeTheMessageKindsKnown) {
    const bool before = MessageBase::isRegistered(MSGID_CAN_EXT);
    make();

    EXPECT_EQ(MessageBase::isRegistered(MSGID_CAN_EXT), before);
}
