#include "libqvcheck/findinglimit.h"

#include <sstream>

#include <gtest/gtest.h>

namespace {

/// Writes a word for each call.
class WordReport : public Report {
public:
    explicit WordReport(std::ostream& _out) : out(_out) {}

    void start(std::int64_t) override { out << "start\n"; }
    void stream(const streamSummary_t&, std::int64_t) override { out << "stream\n"; }
    void finding(const finding_t&) override { out << "f"; }
    void event(const hostEvent_t& event) override { out << (event.kind == HE_ERROR_FRAME ? "e" : "link\n"); }
    void interval(const std::vector<intervalSummary_t>&) override { out << "interval\n"; }
    void end(const runResult_t&) override { out << "end\n"; }
    bool flush() override { return writes; }

    bool writes = true;

private:
    std::ostream& out;
};

struct FindingLimitTest : ::testing::Test {
    void find(std::size_t n, findingKind_t kind = FK_LOST, std::uint64_t count = 1) {
        finding_t finding{};
        finding.kind = kind;
        finding.count = count;
        for (std::size_t i = 0; i < n; ++i) {
            limit.finding(finding);
        }
    }
    std::string told() {
        const std::string text = out.str();
        out.str("");
        return text;
    }

    std::int64_t now = 5000000000;
    std::ostringstream out;
    WordReport report{out};
    FindingLimit limit{report, out, [this] { return now; }};
};

const std::string twenty(20, 'f');

} // namespace

TEST_F(FindingLimitTest, TellsTwentyFindingsASecondAndThenHowManyMoreThereWere) {
    find(20);
    find(3, FK_LOST, 100);
    find(2, FK_REPEATED);
    EXPECT_TRUE(limit.flush());
    EXPECT_EQ(told(), twenty) << "the second is not over";
    now += 1000000000;
    limit.flush();
    EXPECT_EQ(told(), "... and 300 more lost\n... and 2 more repeated\n");
    limit.flush();
    EXPECT_EQ(told(), "");
}

TEST_F(FindingLimitTest, BeginsANewSecondWithTheNextFinding) {
    find(25);
    now += 1000000000;
    find(20);
    EXPECT_EQ(told(), twenty + "... and 5 more lost\n" + twenty);
}

TEST_F(FindingLimitTest, CountsErrorFramesAmongThem) {
    find(19);
    for (int i = 0; i < 3; ++i) {
        limit.event({HE_ERROR_FRAME, 0, 0, 0, {}});
    }
    now += 1000000000;
    limit.flush();
    EXPECT_EQ(told(), std::string(19, 'f') + "e... and 2 more error frames\n");
}

TEST_F(FindingLimitTest, LetsEverythingElsePass) {
    find(21);
    told();
    limit.event({HE_LINK_DOWN, 0, 0, 0, {}});
    limit.stream({}, 0);
    limit.interval({});
    limit.start(0);
    EXPECT_EQ(told(), "link\nstream\ninterval\nstart\n");
}

TEST_F(FindingLimitTest, TellsTheRestBeforeTheEnd) {
    find(22);
    limit.end({});
    EXPECT_EQ(told(), twenty + "... and 2 more lost\nend\n");
}

TEST_F(FindingLimitTest, SaysWhenTheReportCannotBeWritten) {
    report.writes = false;
    EXPECT_FALSE(limit.flush());
}
