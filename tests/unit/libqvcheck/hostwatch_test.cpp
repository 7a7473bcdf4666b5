#include "libqvcheck/hostwatch.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <linux/can/error.h>

namespace {

struct HostWatchOfCan0 : ::testing::Test {
    HostWatchOfCan0() { interfaces.indexOf("can0"); }

    linkMessage_t message(bool up) const {
        linkMessage_t one;
        one.index = index;
        one.name = "can0";
        one.can = true;
        one.up = up;
        return one;
    }
    void look(bool up, std::int64_t now) { watch.link(message(up), now, now); }
    void remove(std::int64_t now) {
        linkMessage_t one = message(false);
        one.deleted = true;
        watch.link(one, now, now);
    }
    interfaceSummary_t told() const { return watch.summary().interfaces.at(0); }
    /// Whose a frame is that is lost between the two times.
    lossCause_t blamed(std::int64_t before, std::int64_t after, std::uint64_t arrival = 1000) {
        const lossShares_t shares = causes.blame({0, 1, arrival - 1, arrival, before, after});
        std::size_t cause = 0;
        while (shares[cause] == 0) {
            ++cause;
        }
        return static_cast<lossCause_t>(cause);
    }

    int index = 4;
    InterfaceTable interfaces;
    Causes causes{LC_QUEUE};
    std::vector<std::string> events;
    HostWatch watch{
        {"can0"}, interfaces, causes, [this](const hostEvent_t& event) {
            static constexpr const char* names[] = {"down", "up", "deleted", "made", "error frame"};
            events.push_back(std::to_string(event.time) + ' ' + interfaces.name(event.interface) + ' ' +
                             names[event.kind] + ' ' + std::to_string(event.span) + event.text);
        }};
    typedef std::vector<std::string> events_t;
};

} // namespace

TEST_F(HostWatchOfCan0, TellsThatAnInterfaceGoesDownAndComesUp) {
    look(true, 10);
    look(false, 100);
    look(false, 200);
    look(true, 350);
    look(true, 400);
    EXPECT_EQ(events, (events_t{"100 can0 down 0", "350 can0 up 250"}));
    EXPECT_EQ(told().linkDowns, 1U);
    EXPECT_TRUE(told().up);
}

TEST_F(HostWatchOfCan0, BlamesTheLinkForWhatIsLostWhileItIsDown) {
    look(true, 10);
    look(false, 100);
    look(true, 350);
    EXPECT_EQ(blamed(90, 360), LC_LINK);
    EXPECT_EQ(blamed(150, 160), LC_LINK);
    EXPECT_EQ(blamed(90, 99), LC_BEFORE);
    EXPECT_EQ(blamed(350, 360), LC_BEFORE);
}

TEST_F(HostWatchOfCan0, BlamesTheLinkFromTheEarliestMomentItMayHaveGoneDown) {
    look(true, 10);
    watch.link(message(false), 100, 200);
    watch.link(message(true), 200, 200);
    EXPECT_EQ(blamed(90, 110), LC_LINK);
    EXPECT_EQ(blamed(80, 90), LC_BEFORE);
}

TEST_F(HostWatchOfCan0, BlamesTheLinkThatIsStillDownAtTheEnd) {
    look(true, 10);
    look(false, 100);
    EXPECT_EQ(blamed(90, 300), LC_BEFORE);
    watch.finish(300);
    EXPECT_EQ(blamed(90, 300), LC_LINK);
}

TEST_F(HostWatchOfCan0, TellsOfALinkThatWasDownFromTheStartOnlyThatItCameUp) {
    look(false, 10);
    look(true, 30);
    EXPECT_EQ(events, (events_t{"30 can0 up 20"}));
    EXPECT_EQ(told().linkDowns, 0U);
}

TEST_F(HostWatchOfCan0, TellsOfADeletedInterfaceAndOfTheNextOneOfThatName) {
    look(true, 10);
    remove(100);
    EXPECT_TRUE(watch.isGone(0));
    remove(101);
    index = 5;
    look(false, 250);
    EXPECT_FALSE(watch.isGone(0));
    look(true, 300);
    EXPECT_EQ(events,
              (events_t{"100 can0 down 0", "100 can0 deleted 0", "250 can0 made 150", "300 can0 up 200"}));
    EXPECT_EQ(told().linkDowns, 1U);
    EXPECT_EQ(blamed(90, 310), LC_LINK);
}

TEST_F(HostWatchOfCan0, TakesALateMessageOfTheDeletedOneForNothing) {
    look(true, 10);
    const int deletedIndex = index;
    index = 5;
    look(true, 50);
    index = deletedIndex;
    remove(60);
    EXPECT_FALSE(watch.isGone(0));
}

TEST_F(HostWatchOfCan0, PassesOverOtherInterfaces) {
    linkMessage_t other = message(true);
    other.name = "can1";
    watch.link(other, 10, 10);
    EXPECT_TRUE(watch.summary().interfaces.empty());
    HostWatch all({"any"}, interfaces, causes, [](const hostEvent_t&) {});
    all.link(other, 10, 10);
    EXPECT_EQ(interfaces.name(all.summary().interfaces.at(0).interface), "can1");
}

TEST_F(HostWatchOfCan0, BlamesTheDriverForTheTimeInWhichItsOverflowsGrew) {
    linkMessage_t one = message(true);
    one.rxOverflows = 1000;
    watch.link(one, 10, 10);
    EXPECT_EQ(told().driverOverflows, 0U) << "from before the check";
    one.rxOverflows = 1003;
    watch.link(one, 100, 100);
    watch.link(one, 200, 200);
    EXPECT_EQ(told().driverOverflows, 3U);
    EXPECT_EQ(blamed(50, 60), LC_DRIVER);
    EXPECT_EQ(blamed(150, 160), LC_BEFORE);
}

TEST_F(HostWatchOfCan0, BlamesTheKernelForNoMoreFramesThanItDropped) {
    linkMessage_t one = message(true);
    one.rxDropped = 7;
    watch.link(one, 10, 10);
    one.rxDropped = 8;
    watch.link(one, 100, 100);
    EXPECT_EQ(told().kernelDrops, 1U);
    EXPECT_EQ(blamed(50, 60), LC_KERNEL);
    EXPECT_EQ(blamed(50, 60), LC_BEFORE);
}

TEST_F(HostWatchOfCan0, BlamesTheHostsBacklogOnEveryInterface) {
    watch.softnet(500, 10);
    watch.softnet(502, 100);
    EXPECT_EQ(watch.summary().softnetDrops, 2U);
    EXPECT_EQ(blamed(50, 60), LC_KERNEL);
    EXPECT_EQ(blamed(5, 9), LC_BEFORE);
}

TEST_F(HostWatchOfCan0, BlamesTheBusForWhatTheControllerCounted) {
    linkMessage_t one = message(true);
    one.controller = true;
    one.state = CAN_STATE_ERROR_PASSIVE;
    one.bitRate = 500000;
    one.statistics.error_passive = 5;
    watch.link(one, 10, 10);
    one.statistics.arbitration_lost = 3;
    watch.link(one, 50, 50);
    EXPECT_EQ(blamed(20, 30), LC_BEFORE) << "a lost arbitration is sent again";
    one.statistics.error_passive = 6;
    watch.link(one, 100, 100);
    EXPECT_EQ(blamed(60, 70), LC_BUS);
    EXPECT_EQ(told().statistics.error_passive, 1U);
    EXPECT_EQ(told().statistics.arbitration_lost, 3U);
    EXPECT_EQ(told().state, CAN_STATE_ERROR_PASSIVE);
    EXPECT_EQ(told().bitRate, 500000U);
}

TEST_F(HostWatchOfCan0, CountsFromZeroForAnInterfaceThatIsMadeAgain) {
    linkMessage_t one = message(true);
    one.rxDropped = 100;
    one.rxOverflows = 100;
    one.statistics.bus_off = 100;
    watch.link(one, 10, 10);
    one.index = 5;
    one.rxDropped = 101;
    one.rxOverflows = 102;
    one.statistics.bus_off = 103;
    watch.link(one, 20, 20);
    EXPECT_EQ(told().kernelDrops, 101U);
    EXPECT_EQ(told().driverOverflows, 102U);
    EXPECT_EQ(told().statistics.bus_off, 103U);
}

TEST_F(HostWatchOfCan0, CountsFromZeroWhenADriverResetsItsCounters) {
    linkMessage_t one = message(true);
    one.rxDropped = 100;
    watch.link(one, 10, 10);
    one.rxDropped = 3;
    watch.link(one, 20, 20);
    EXPECT_EQ(told().kernelDrops, 3U);
}

TEST_F(HostWatchOfCan0, CountsErrorFramesByClassAndBlamesByTheirPlace) {
    receivedFrame_t frame{};
    frame.canId = CAN_ERR_FLAG | CAN_ERR_CRTL | CAN_ERR_BUSOFF;
    frame.length = 8;
    frame.data[1] = CAN_ERR_CRTL_RX_OVERFLOW;
    watch.errorFrame(frame, 20, 500);
    frame.data[1] = 0;
    watch.errorFrame(frame, 30, 600);
    frame.canId = CAN_ERR_FLAG | CAN_ERR_LOSTARB;
    watch.errorFrame(frame, 40, 700);
    EXPECT_EQ(blamed(0, 0, 20), LC_DRIVER);
    EXPECT_EQ(blamed(0, 0, 30), LC_BUS);
    EXPECT_EQ(blamed(0, 0, 40), LC_BEFORE);
    EXPECT_EQ(told().errorFrames, (std::array<std::uint64_t, errorClasses>{0, 1, 2, 0, 0, 0, 2, 0, 0, 0}));
    EXPECT_EQ(events.at(0), "500 can0 error frame 0controller: receive overflow; bus-off");
}

TEST_F(HostWatchOfCan0, SumsTheDropsOfTheQueue) {
    watch.queueDropped(0, 1722);
    watch.queueDropped(0, 3);
    watch.receiveBuffer(0, 425984);
    EXPECT_EQ(told().queueDrops, 1725U);
    EXPECT_EQ(told().receiveBuffer, 425984U);
    EXPECT_FALSE(told().known);
}

TEST_F(HostWatchOfCan0, CountsWhatWasRefusedBeforeAFrameForItsInterface) {
    receivedFrame_t frame;
    frame.dropped = 7;
    watch.droppedBefore(frame);
    EXPECT_EQ(told().queueDrops, 7U);
}

TEST(HostWatchOfAnyInterface, CountsWhatItsOneQueueRefusedForNoKnownInterface) {
    InterfaceTable interfaces;
    Causes causes{LC_QUEUE};
    HostWatch watch{{"any"}, interfaces, causes, [](const hostEvent_t&) {}};
    receivedFrame_t frame;
    frame.interface = interfaces.indexOf("can0");
    frame.dropped = 7;
    watch.droppedBefore(frame);
    ASSERT_EQ(watch.summary().interfaces.size(), 1U);
    EXPECT_EQ(interfaces.name(watch.summary().interfaces[0].interface), "any");
    EXPECT_EQ(watch.summary().interfaces[0].queueDrops, 7U);
}

TEST(CanStateName, IsThatOfTheKernelsHeader) {
    EXPECT_EQ(canStateName(CAN_STATE_ERROR_ACTIVE), "error-active");
    EXPECT_EQ(canStateName(CAN_STATE_BUS_OFF), "bus-off");
    EXPECT_EQ(canStateName(CAN_STATE_SLEEPING), "sleeping");
    EXPECT_EQ(canStateName(CAN_STATE_MAX), "state 6");
}
