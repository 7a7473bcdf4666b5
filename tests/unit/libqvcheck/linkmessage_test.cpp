#include "libqvcheck/linkmessage.h"
#include "tests/unit/libqvcheck/linkbytes.h"

#include <gtest/gtest.h>
#include <linux/if.h>

namespace {

bool read(const linkBytes_t& bytes, linkMessage_t& message) {
    const linkBytes_t exact(bytes); // so that a sanitizer sees a step beyond its end
    return readLinkMessage(exact.data(), exact.size(), message);
}

linkMessage_t readNew(const linkBytes_t& attributes, unsigned int flags = 0) {
    linkMessage_t message;
    EXPECT_TRUE(read(linkMessage(RTM_NEWLINK, flags, joined({nameAttribute("can0"), attributes})), message));
    return message;
}

linkBytes_t controllerInfo(const std::string& kind) {
    can_bittiming timing{};
    timing.bitrate = 500000;
    can_bittiming dataTiming{};
    dataTiming.bitrate = 2000000;
    const can_ctrlmode modes{0xFFFF, CAN_CTRLMODE_FD | CAN_CTRLMODE_BERR_REPORTING};
    const can_berr_counter counts{8, 130};
    const can_device_stats statistics{1, 2, 3, 4, 5, 6};
    const linkBytes_t data = joined(
        {attribute(IFLA_CAN_BITTIMING, bytesOf(timing)),
         attribute(IFLA_CAN_STATE, bytesOf(std::uint32_t{CAN_STATE_ERROR_PASSIVE})),
         attribute(IFLA_CAN_CTRLMODE, bytesOf(modes)), attribute(IFLA_CAN_BERR_COUNTER, bytesOf(counts)),
         attribute(IFLA_CAN_DATA_BITTIMING, bytesOf(dataTiming))});
    return attribute(IFLA_LINKINFO | NLA_F_NESTED, joined({attribute(IFLA_INFO_KIND, bytesOf(kind)),
                                                           attribute(IFLA_INFO_XSTATS, bytesOf(statistics)),
                                                           attribute(IFLA_INFO_DATA | NLA_F_NESTED, data)}));
}

} // namespace

TEST(LinkMessage, TellsIndexNameKindAndWhetherItIsUp) {
    const linkMessage_t up = readNew({}, IFF_UP | IFF_RUNNING);
    EXPECT_EQ(up.index, 4);
    EXPECT_EQ(up.name, "can0");
    EXPECT_TRUE(up.can);
    EXPECT_TRUE(up.up);
    EXPECT_FALSE(up.deleted);
    EXPECT_FALSE(readNew({}, IFF_RUNNING).up);
}

TEST(LinkMessage, KeepsNothingOfTheOneBefore) {
    linkMessage_t message;
    message.rxDropped = 9;
    ASSERT_TRUE(read(linkMessage(RTM_NEWLINK, 0, nameAttribute("can0")), message));
    EXPECT_EQ(message.rxDropped, 0U);
}

TEST(LinkMessage, KnowsOtherInterfacesFromCan) {
    linkMessage_t message;
    ASSERT_TRUE(read(linkMessage(RTM_NEWLINK, 0, nameAttribute("eth0"), ARPHRD_ETHER), message));
    EXPECT_FALSE(message.can);
}

TEST(LinkMessage, OfADeletedInterfaceIsNeverUp) {
    linkMessage_t message;
    ASSERT_TRUE(read(linkMessage(RTM_DELLINK, IFF_UP, nameAttribute("can0")), message));
    EXPECT_TRUE(message.deleted);
    EXPECT_FALSE(message.up);
}

TEST(LinkMessage, SumsTheOverflowsOfControllerAndDriver) {
    rtnl_link_stats64 statistics{};
    statistics.rx_packets = 1000;
    statistics.rx_errors = 900;
    statistics.rx_dropped = 7;
    statistics.rx_over_errors = 10;
    statistics.rx_fifo_errors = 200;
    statistics.rx_missed_errors = 3000;
    const linkMessage_t message = readNew(attribute(IFLA_STATS64, bytesOf(statistics)));
    EXPECT_EQ(message.rxDropped, 7U);
    EXPECT_EQ(message.rxOverflows, 3210U);
}

TEST(LinkMessage, TellsWhatTheControllerIsDoing) {
    const linkMessage_t message = readNew(controllerInfo("can"));
    EXPECT_TRUE(message.controller);
    EXPECT_EQ(message.state, CAN_STATE_ERROR_PASSIVE);
    EXPECT_EQ(message.modes, CAN_CTRLMODE_FD | CAN_CTRLMODE_BERR_REPORTING);
    EXPECT_EQ(message.bitRate, 500000U);
    EXPECT_EQ(message.dataBitRate, 2000000U);
    EXPECT_EQ(message.errorCounts.txerr, 8);
    EXPECT_EQ(message.errorCounts.rxerr, 130);
    EXPECT_EQ(message.statistics.bus_error, 1U);
    EXPECT_EQ(message.statistics.error_passive, 3U);
    EXPECT_EQ(message.statistics.bus_off, 4U);
    EXPECT_EQ(message.statistics.restarts, 6U);
}

TEST(LinkMessage, TakesNothingFromADriverOfAnotherKind) {
    const linkMessage_t message = readNew(controllerInfo("vxcan"));
    EXPECT_FALSE(message.controller);
    EXPECT_EQ(message.bitRate, 0U);
    EXPECT_EQ(message.statistics.bus_off, 0U);
}

TEST(LinkMessage, LeavesZerosForWhatAnOlderKernelDoesNotTell) {
    rtnl_link_stats64 statistics{};
    statistics.rx_dropped = 7;
    statistics.rx_fifo_errors = 5;
    linkBytes_t cut = bytesOf(statistics);
    cut.resize(offsetof(rtnl_link_stats64, multicast));
    const linkMessage_t message = readNew(attribute(IFLA_STATS64, cut));
    EXPECT_EQ(message.rxDropped, 7U);
    EXPECT_EQ(message.rxOverflows, 0U);
}

TEST(LinkMessage, OfAnotherTypeOrWithoutANameIsNone) {
    linkMessage_t message;
    EXPECT_FALSE(read(linkMessage(RTM_NEWADDR, 0, nameAttribute("can0")), message));
    EXPECT_FALSE(read(linkMessage(RTM_NEWLINK, 0, {}), message));
    EXPECT_FALSE(read(linkMessage(NLMSG_DONE, 0, nameAttribute("can0")), message));
}

TEST(LinkMessage, ThatIsCutAnywhereIsReadWithoutAStepBeyondItsEnd) {
    const linkBytes_t whole =
        linkMessage(RTM_NEWLINK, IFF_UP, joined({nameAttribute("can0"), controllerInfo("can")}));
    linkMessage_t message;
    std::size_t sound = 0;
    for (std::size_t n = 0; n <= whole.size(); ++n) {
        sound += read({whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(n)}, message) ? 1U : 0U;
    }
    EXPECT_GT(sound, 0U);
    EXPECT_EQ(message.bitRate, 500000U);
}

TEST(LinkMessage, WithAnAttributeOfNoLengthEndsThere) {
    linkBytes_t broken = attribute(IFLA_MTU, bytesOf(std::uint32_t{72}));
    broken[0] = 0;
    linkMessage_t message;
    EXPECT_TRUE(
        read(linkMessage(RTM_NEWLINK, 0, joined({nameAttribute("can0"), broken, nameAttribute("can1")})),
             message));
    EXPECT_EQ(message.name, "can0");
}
