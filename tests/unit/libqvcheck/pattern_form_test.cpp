#include "libqvcheck/pattern.h"
#include "tests/unit/libqvcheck/patternframe.h"

#include <gtest/gtest.h>

namespace {

const patternSender_t formSender = {0x123};

bool fitsFirst(const PatternForm& form, const receivedFrame_t& frame) {
    return form.fits(frame, formSender.start, 0);
}

} // namespace

TEST(PatternForm, FitsTheFrameOfItsInterfaceOnly) {
    receivedFrame_t frame = formSender.frame(0);
    EXPECT_TRUE(fitsFirst(PatternForm(0, SR_DIRECT, false, 8), frame));
    EXPECT_FALSE(fitsFirst(PatternForm(1, SR_DIRECT, false, 8), frame));
    frame.interface = 1;
    EXPECT_FALSE(fitsFirst(PatternForm(0, SR_DIRECT, false, 8), frame));
    EXPECT_TRUE(fitsFirst(PatternForm(1, SR_DIRECT, false, 8), frame));
}

TEST(PatternForm, FitsNoFrameOfCanXl) {
    receivedFrame_t frame = formSender.frame(0);
    frame.xl = true;
    EXPECT_FALSE(fitsFirst(PatternForm(0, SR_DIRECT, false, 8), frame));
}

TEST(PatternForm, MindsTheBitRateSwitchOnlyWhereItIsDemanded) {
    const patternSender_t fd = {0x123, false, 64};
    receivedFrame_t frame = fd.frame(0);
    PatternForm form(0, SR_DIRECT, false, 64);
    EXPECT_TRUE(fitsFirst(form, frame));
    frame.flags = CANFD_BRS | CANFD_ESI;
    EXPECT_TRUE(fitsFirst(form, frame));
    form.demandSwitch();
    EXPECT_TRUE(fitsFirst(form, frame));
    frame.flags = CANFD_ESI;
    EXPECT_FALSE(fitsFirst(form, frame));
}

TEST(PatternForm, IsNotMisledByWhoSentAFrameAndWhatWasLeftOutBeforeIt) {
    receivedFrame_t frame = formSender.frame(0);
    frame.own = frame.leftOut = frame.fd = true;
    EXPECT_TRUE(fitsFirst(PatternForm(0, SR_DIRECT, false, 8), frame));
}
