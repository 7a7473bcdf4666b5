// The time between a sender's frames, from the two options.

#include "qvtools/sendergap.h"

#include <cstdint>

#include <gtest/gtest.h>

TEST(SenderGap, OfZeroLeavesNoJitterWhateverIsAskedFor) {
    const unit_t<std::uint64_t> none(0, 0, false);

    for (const unit_t<std::uint64_t>& asked :
         {none, unit_t<std::uint64_t>(100000, 0, false), unit_t<std::uint64_t>(20, -3, true)}) {
        EXPECT_EQ(senderGap(none, asked).gap, 0U);
        EXPECT_EQ(senderGap(none, asked).jitter, 0U) << asked.val;
    }
}
