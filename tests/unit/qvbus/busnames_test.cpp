#include "libqvutil/exception.h"
#include "qvbus/busnames.h"
#include "tests/fakes/temporaryfolder.h"

#include <fstream>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

class BusNamesTest : public testing::Test {
protected:
    bool exists(const std::string& name) const {
        struct stat status {};
        return lstat((folder / name.c_str()).c_str(), &status) == 0;
    }

    std::string target(const std::string& name) const {
        char text[256] = {};
        return readlink((folder / name.c_str()).c_str(), text, sizeof text - 1) > 0 ? text : "";
    }

    void makeLink(const std::string& name, const std::string& to) const {
        ASSERT_EQ(symlink(to.c_str(), (folder / name.c_str()).c_str()), 0);
    }

    void makeFile(const std::string& name, const std::string& text) const {
        std::ofstream(folder / name.c_str()) << text;
    }

    std::string refusal(const std::string& prefix, unsigned int count = 2) const {
        try {
            BusNames names(folder / prefix.c_str(), count);
            for (unsigned int i = 0; i < count; ++i) {
                names.link(i, "/dev/null");
            }
        } catch (const QVException& exception) {
            return exception.what();
        }
        return "not refused";
    }

    /// What a bus leaves that is killed with these links.
    void leaveBehind(const std::string& list) const {
        makeFile("node.lock", "nodes of qvbus, which holds a lock on this file while it runs\n" + list);
    }

    TemporaryFolder folder;
};

} // namespace

TEST_F(BusNamesTest, LeadToTheTerminalsAndAreGoneAtTheEnd) {
    {
        BusNames names(folder / "node", 2);
        names.link(0, "/dev/pts/1000");
        names.link(1, "/dev/pts/1001");
        EXPECT_EQ(names[1], folder / "node1");
        EXPECT_EQ(target("node0"), "/dev/pts/1000");
        EXPECT_EQ(target("node1"), "/dev/pts/1001");
        EXPECT_TRUE(exists("node.lock"));
    }
    EXPECT_FALSE(exists("node0") || exists("node1") || exists("node.lock"));
}

TEST_F(BusNamesTest, LeaveInPlaceWhatHasReplacedThem) {
    {
        BusNames names(folder / "node", 2);
        names.link(0, "/dev/pts/1000");
        names.link(1, "/dev/pts/1001");
        unlink((folder / "node0").c_str());
        makeFile("node0", "somebody else's");
        unlink((folder / "node1").c_str());
        makeLink("node1", "/dev/pts/7");
        unlink((folder / "node.lock").c_str());
        makeFile("node.lock", "somebody else's");
    }
    EXPECT_TRUE(exists("node0") && exists("node1") && exists("node.lock"));
}

TEST_F(BusNamesTest, OfALivingBusAreRefusedAndStay) {
    BusNames living(folder / "node", 2);
    living.link(0, "/dev/pts/1000"); // leads nowhere, and is taken all the same
    EXPECT_EQ(refusal("node"), folder / "node0" + ": File exists");
    EXPECT_EQ(target("node0"), "/dev/pts/1000");
    EXPECT_EQ(refusal("other"), "not refused") << "another prefix is another bus";
}

TEST_F(BusNamesTest, OfAKilledBusAreTakenOverThoughTheirTerminalsHaveNewOwners) {
    leaveBehind("/dev/null 0\n/dev/pts/1001 1\n/dev/null 2\n");
    makeLink("node0", "/dev/null");
    makeLink("node1", "/dev/pts/1001");
    makeLink("node2", "/dev/null");
    EXPECT_EQ(refusal("node", 2), "not refused");
    EXPECT_FALSE(exists("node2")) << "the killed bus had more names";
}

TEST_F(BusNamesTest, OfAKilledBusThatWereReplacedAreSomebodyElses) {
    leaveBehind("/dev/pts/1000 0\n");
    makeLink("node0", "/dev/null");
    EXPECT_EQ(refusal("node"), folder / "node0" + ": File exists");
    EXPECT_EQ(target("node0"), "/dev/null");
}

TEST_F(BusNamesTest, ReplaceALinkToATerminalThatNoLongerExistsAndNoOther) {
    makeLink("node0", "/dev/pts/100000");
    EXPECT_EQ(refusal("node"), "not refused");
    for (const char* const other : {"/dev/null", "/nowhere/at/all", "nowhere", "/dev/pts"}) {
        makeLink("node1", other);
        EXPECT_EQ(refusal("node"), folder / "node1" + ": File exists");
        EXPECT_EQ(target("node1"), other);
        EXPECT_FALSE(exists("node0") || exists("node.lock")) << "what was made before is gone";
        unlink((folder / "node1").c_str());
    }
}

TEST_F(BusNamesTest, AreRefusedWhereTheLockIsSomebodyElsesFile) {
    makeFile("node.lock", "a file of another program\n");
    EXPECT_EQ(refusal("node"), folder / "node.lock" + ": File exists");
    EXPECT_TRUE(exists("node.lock"));
    ASSERT_EQ(mkfifo((folder / "pipe.lock").c_str(), 0600), 0);
    EXPECT_EQ(refusal("pipe"), folder / "pipe.lock" + ": File exists");
    makeLink("link.lock", "elsewhere");
    EXPECT_EQ(refusal("link"), folder / "link.lock" + ": Too many levels of symbolic links");
    EXPECT_FALSE(exists("elsewhere"));
}

TEST_F(BusNamesTest, AreRefusedInAFolderThatDoesNotExist) {
    EXPECT_EQ(refusal("no/node"), folder / "no/node.lock" + ": No such file or directory");
}
