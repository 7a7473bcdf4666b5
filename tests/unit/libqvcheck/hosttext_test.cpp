#include "libqvcheck/hosttext.h"

#include <gtest/gtest.h>

namespace {

interfaceSummary_t controller() {
    interfaceSummary_t interface;
    interface.receiveBuffer = 16777216;
    interface.known = interface.up = interface.controller = true;
    interface.state = CAN_STATE_ERROR_ACTIVE;
    interface.modes = CAN_CTRLMODE_BERR_REPORTING;
    interface.bitRate = 500000;
    return interface;
}

} // namespace

TEST(QueueFrames, AreThoseThatTheKernelWasSeenToQueue) {
    EXPECT_EQ(queueFrames(212992), 278U);
    EXPECT_EQ(queueFrames(425984), 555U);
    EXPECT_EQ(queueFrames(0), 0U);
}

TEST(EventText, SaysWhatHappenedToAnInterface) {
    EXPECT_EQ(eventText({HE_LINK_DOWN, 0, 0, 0, {}}), "link down");
    EXPECT_EQ(eventText({HE_LINK_UP, 0, 0, 3284000000, {}}), "link up after 3.284 s");
    EXPECT_EQ(eventText({HE_DELETED, 0, 0, 0, {}}), "interface deleted");
    EXPECT_EQ(eventText({HE_MADE, 0, 0, 64120000, {}}), "interface made again after 64.120 ms");
    EXPECT_EQ(eventText({HE_ERROR_FRAME, 0, 0, 0, "bus-off"}), "error frame: bus-off");
}

TEST(InterfaceText, SaysHowTheCheckCanListen) {
    EXPECT_EQ(interfaceText(controller()), "receive queue 21,846 frames, error-active, 500000 bit/s");
}

TEST(InterfaceText, SaysWhoGetsALargerQueue) {
    interfaceSummary_t interface;
    interface.receiveBuffer = 425984;
    EXPECT_EQ(interfaceText(interface), "receive queue 555 frames (root or CAP_NET_ADMIN gets 21,846)");
}

TEST(InterfaceText, SaysWhatKeepsTheControllerFromSeeingTheBus) {
    interfaceSummary_t interface = controller();
    interface.dataBitRate = 2000000;
    interface.modes = CAN_CTRLMODE_LOOPBACK | CAN_CTRLMODE_LISTENONLY;
    interface.state = CAN_STATE_BUS_OFF;
    interface.up = false;
    EXPECT_EQ(interfaceText(interface),
              "receive queue 21,846 frames, bus-off, 500000/2000000 bit/s, loopback, "
              "listen-only, bus errors not reported (berr-reporting off), down");
}

TEST(InterfaceText, IsEmptyWhereNothingIsKnown) {
    EXPECT_EQ(interfaceText(interfaceSummary_t()), "");
}

TEST(HostRow, TellsWhatThisHostLost) {
    interfaceSummary_t interface = controller();
    interface.queueDrops = 1722;
    interface.driverOverflows = 2;
    interface.kernelDrops = 3;
    interface.linkDowns = 1;
    EXPECT_EQ(
        hostRow(interface),
        "receive queue 21,846 frames, 1,722 dropped; driver overflows 2; kernel drops 3; link down 1 time");
    EXPECT_EQ(hostRow(interfaceSummary_t()), "");
}

TEST(BusRow, TellsWhatTheControllerCounted) {
    interfaceSummary_t interface = controller();
    interface.statistics.bus_off = 1;
    interface.statistics.arbitration_lost = 44;
    interface.errorFrames[2] = 3;
    interface.errorFrames[6] = 1000;
    EXPECT_EQ(
        busRow(interface),
        "error-active, bus-off 1, error frames 1,003 (controller 3, bus-off 1,000), arbitration lost 44");
}

TEST(BusRow, OfNoControllerTellsErrorFramesOnly) {
    interfaceSummary_t interface;
    EXPECT_EQ(busRow(interface), "");
    interface.errorFrames[0] = 1;
    EXPECT_EQ(busRow(interface), "error frames 1 (transmit timeout 1)");
}
