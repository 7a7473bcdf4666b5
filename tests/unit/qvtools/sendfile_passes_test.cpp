// The file sender's passes and what it prints: in effect a file is sent once, whatever the loop count.

#include "tests/fakes/lockprobe.h"
#include "tests/unit/qvtools/sendfile.h"

#include <iostream>
#include <streambuf>

namespace {

struct printed_t {
    unsigned short verbose;
    unsigned long loop;
    std::string out;
};

class SendFilePrinted : public SendFile, public testing::WithParamInterface<printed_t> {};

/// The lines without those of the frame writer.
std::string withoutWriter(const std::string& out) {
    std::string rest = out;
    for (std::size_t at = rest.find("[DEBUG] BZ::sendCAN()"); at != std::string::npos;
         at = rest.find("[DEBUG] BZ::sendCAN()")) {
        rest.erase(at, rest.find("Msg", at) - at);
    }
    return rest;
}

} // namespace

TEST_P(SendFilePrinted, IsTheCounterFromVerbosityTwoAndALineEndPerPassFromOne) {
    settings.loop = GetParam().loop;
    fill(counting(130));
    const Captured text = send(GetParam().verbose);

    EXPECT_EQ(withoutWriter(text.out), GetParam().out);
    EXPECT_EQ(text.err, "");
    EXPECT_EQ(sent.size(), 3U) << "later passes send nothing: the stream stays failed";
    EXPECT_EQ(result, 0);
}

const std::string counters = "Msg counter: 1\rMsg counter: 2\rMsg counter: 3\r";

INSTANTIATE_TEST_SUITE_P(Rows, SendFilePrinted,
                         testing::Values(printed_t{0, 1, ""}, printed_t{0, 3, ""}, printed_t{1, 1, "\n"},
                                         printed_t{1, 3, "\n\n\n"}, printed_t{2, 1, counters + "\n"},
                                         printed_t{2, 3, counters + "\n\n\n"},
                                         printed_t{3, 2, counters + "\n\n"}),
                         [](const auto& row) {
                             return "v" + std::to_string(row.param.verbose) + "_loop" +
                                    std::to_string(row.param.loop);
                         });

TEST_F(SendFile, ShowsTheCountOfFramesThatCouldNotBeWrittenToo) {
    fail = true;
    fill(counting(130));
    const Captured text = send(2);

    EXPECT_EQ(withoutWriter(text.out), counters + "\n");
}

TEST_F(SendFile, SendsAShortFileOnceAlthoughItCountsThreePasses) {
    settings.loop = 3;
    fill(counting(10));
    const Captured text = send(1);

    EXPECT_EQ(sent, std::vector<std::string>({frame(counting(10))}));
    EXPECT_EQ(text.out, "\n\n\n");
    EXPECT_EQ(result, 0);
}

namespace {

/// Takes line ends; throws at the one with number `last`.
class Brake : public std::streambuf {
public:
    explicit Brake(std::size_t _last) : last(_last) {}
    std::size_t lines = 0;

private:
    std::streamsize xsputn(const char*, std::streamsize n) override {
        lines += static_cast<std::size_t>(n);
        if (lines == last) {
            throw leave_t();
        }
        return n;
    }
    std::size_t last;
};

} // namespace

TEST_F(SendFile, RunsOnWithoutSendingOrSleepingForALoopCountOfZero) {
    settings.loop = 0;
    settings.verbose = 1;
    settings.timegap = 5000;
    fill(counting(10));
    Brake brake(1000);
    std::streambuf* const original = std::cout.rdbuf(&brake);
    std::cout.exceptions(std::ios_base::badbit); // lets the brake's exception through
    EXPECT_THROW(CanDeviceTestAccess::sendFile(*device()), leave_t);
    std::cout.exceptions(std::ios_base::goodbit);
    std::cout.rdbuf(original);
    std::cout.clear();

    EXPECT_EQ(brake.lines, 1000U);
    EXPECT_EQ(steps, "ws");
}

TEST_F(SendFile, FlushesItsCounterAndLineEndWithoutALock) {
    fill(counting(10));
    settings.verbose = 2;
    const auto made = device();
    LockProbe out(std::cout);
    CanDeviceTestAccess::sendFile(*made);

    ASSERT_EQ(out.pieces.size(), 4U) << "send, raw, counter, line end";
    for (const std::size_t i : {std::size_t{2}, std::size_t{3}}) {
        EXPECT_FALSE(out.pieces[i].locks.log || out.pieces[i].locks.device);
    }
    EXPECT_EQ(out.pieces[2].text, "Msg counter: 1\r");
    EXPECT_GE(out.flushes, 4U);
}
