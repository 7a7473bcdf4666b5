#include "libqvtrace/canexttracemessage.h"
#include "libqvutil/exception.h"
#include "qvtools/busnode.h"
#include "tests/fakes/temporaryfolder.h"

#include <array>
#include <cerrno>
#include <fstream>
#include <termios.h>

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// The other side of a node, as a program that has opened its name.
class Opened {
public:
    explicit Opened(const std::string& name) : fd(open(name.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {}
    ~Opened() { close(fd); }
    Opened(const Opened&) = delete;
    Opened& operator=(const Opened&) = delete;

    byteVec_t readAll() const {
        byteVec_t all;
        std::array<std::uint8_t, 512> piece;
        ssize_t n;
        while ((n = read(fd, piece.data(), piece.size())) > 0) {
            all.insert(all.end(), piece.begin(), piece.begin() + n);
        }
        return all;
    }

    const int fd;
};

byteVec_t someRecord() {
    CANExtTraceMessage message;
    message.resetPattern(0x123, false);
    byteVec_t record;
    message.createByteArray(record, true, true);
    return record;
}

bool exists(const std::string& name) {
    struct stat status {};
    return lstat(name.c_str(), &status) == 0;
}

std::string refusal(const std::string& name) {
    try {
        const BusNode node(name);
    } catch (const QVException& exception) {
        return exception.what();
    }
    return "not refused";
}

} // namespace

TEST(BusNode, PassesBytesAsTheyAre) {
    const TemporaryFolder folder;
    const BusNode node(folder / "node");
    const Opened user(folder / "node");
    termios settings{};
    ASSERT_EQ(tcgetattr(user.fd, &settings), 0);
    EXPECT_EQ(settings.c_lflag & static_cast<tcflag_t>(ECHO | ICANON | ISIG), 0U);
    EXPECT_EQ(settings.c_oflag & static_cast<tcflag_t>(OPOST), 0U);
    EXPECT_EQ(settings.c_iflag & static_cast<tcflag_t>(IXON | ICRNL), 0U);
}

TEST(BusNode, RemovesItsNameAtTheEnd) {
    const TemporaryFolder folder;
    {
        const BusNode node(folder / "node");
        EXPECT_TRUE(exists(folder / "node"));
    }
    EXPECT_FALSE(exists(folder / "node"));
}

TEST(BusNode, LeavesAFileThatTookItsNameInPlace) {
    const TemporaryFolder folder;
    {
        const BusNode node(folder / "node");
        unlink((folder / "node").c_str());
        std::ofstream(folder / "node") << "somebody else's";
    }
    EXPECT_TRUE(exists(folder / "node"));
}

TEST(BusNode, RefusesANameThatIsTaken) {
    const TemporaryFolder folder;
    std::ofstream(folder / "node") << "somebody else's";
    EXPECT_EQ(refusal(folder / "node"), folder / "node" + ": File exists");
    EXPECT_TRUE(exists(folder / "node"));
}

TEST(BusNode, RefusesANameInAFolderThatDoesNotExist) {
    const TemporaryFolder folder;
    EXPECT_EQ(refusal(folder / "no/node"), folder / "no/node" + ": No such file or directory");
}

TEST(BusNode, RemovesNoNameThatLeadsSomewhere) {
    const TemporaryFolder folder;
    ASSERT_EQ(symlink("/dev/null", (folder / "node").c_str()), 0);
    std::ofstream(folder / "file") << "somebody else's";
    BusNode::removeStaleName(folder / "node");
    BusNode::removeStaleName(folder / "file");
    BusNode::removeStaleName(folder / "nothing");
    EXPECT_TRUE(exists(folder / "node"));
    EXPECT_TRUE(exists(folder / "file"));
}

TEST(BusNode, ReplacesALinkThatAKilledBusLeftBehind) {
    const TemporaryFolder folder;
    ASSERT_EQ(symlink("/dev/pts/no-such-terminal", (folder / "node").c_str()), 0);
    BusNode::removeStaleName(folder / "node");
    const BusNode node(folder / "node");
    EXPECT_GE(Opened(folder / "node").fd, 0);
}

TEST(BusNode, IsPresentWhileSomebodyHasItOpen) {
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    EXPECT_FALSE(node.isPresent());
    {
        const Opened user(folder / "node");
        EXPECT_TRUE(node.isPresent());
    }
    EXPECT_FALSE(node.isPresent());
}

TEST(BusNode, MissesNothingWhileAbsent) {
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    node.deliver(someRecord());
    EXPECT_EQ(node.received, 0U);
    EXPECT_EQ(node.missed, 0U);
    const Opened user(folder / "node");
    EXPECT_TRUE(user.readAll().empty());
}

TEST(BusNode, HandsOverARecordByteForByte) {
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    const Opened user(folder / "node");
    node.deliver(someRecord());
    EXPECT_EQ(node.received, 1U);
    EXPECT_EQ(user.readAll(), someRecord());
}

TEST(BusNode, CountsWhatANodeThatDoesNotReadMissesAndNeverBlocks) {
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    const Opened user(folder / "node");
    constexpr std::uint64_t count = 20000; // more than any terminal's queue holds
    const byteVec_t record = someRecord();
    for (std::uint64_t i = 0; i < count; ++i) {
        node.deliver(record);
    }
    EXPECT_GT(node.missed, 0U);
    EXPECT_EQ(node.received + node.missed, count);

    // What counts as received arrives whole once the node reads again.
    byteVec_t all = user.readAll();
    while (node.hasRest()) {
        node.deliverRest();
        const byteVec_t more = user.readAll();
        all.insert(all.end(), more.begin(), more.end());
    }
    byteVec_t expected;
    for (std::uint64_t i = 0; i < node.received; ++i) {
        expected.insert(expected.end(), record.begin(), record.end());
    }
    EXPECT_EQ(all, expected);
}

TEST(BusNode, StartsWhoComesLaterWithNothing) {
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    {
        const Opened user(folder / "node");
        node.deliver(someRecord());
    }
    EXPECT_FALSE(node.isPresent());
    const Opened user(folder / "node");
    EXPECT_TRUE(user.readAll().empty());
}

TEST(BusNode, StillReadsWhatANodeWroteBeforeItWent) {
    MessageBase::registerMessages();
    const TemporaryFolder folder;
    BusNode node(folder / "node");
    const byteVec_t record = someRecord();
    {
        const Opened user(folder / "node");
        ASSERT_EQ(write(user.fd, record.data(), record.size()), static_cast<ssize_t>(record.size()));
    }
    EXPECT_TRUE(node.isPresent());
    EXPECT_TRUE(node.receive());
    const std::unique_ptr<MessageBase> message(node.nextMessage());
    ASSERT_NE(message, nullptr);
    EXPECT_EQ(message->getMessageId(), MSGID_CAN_EXT);
    EXPECT_FALSE(node.isPresent());
}
