#include "libqvcheck/jsonreport.h"
#include "tests/unit/libqvcheck/finishedrun.h"

#include <sstream>
#include <string>

#include <gtest/gtest.h>

TEST(JsonReport, HasTheFirstTenThousandFindings) {
    FinishedRun finished;
    std::ostringstream out;
    JsonReport report(out, finished.settings);
    finding_t f{};
    f.interface = finished.interfaces.indexOf("can1");
    for (f.first = 1; f.first <= 10001; ++f.first) {
        f.last = f.first;
        report.finding(f);
    }
    std::istringstream lines(out.str());
    std::string last;
    int n = 0;
    for (std::string line; std::getline(lines, line); ++n) {
        last = line;
    }
    EXPECT_EQ(n, 10000);
    EXPECT_NE(last.find("\"first\":10000,"), std::string::npos) << last;
}
