#include "libqvcheck/report.h"

#include "libqvcheck/numbertext.h"
#include "libqvutil/utility.h"

#include <ctime>

std::string dateText(std::int64_t stamp, char separator) {
    constexpr std::int64_t year = 366 * std::int64_t{86400} * nsPerSecond;
    if (stamp < year) {
        return {};
    }
    const std::time_t seconds = stamp / nsPerSecond;
    tm parts{};
    gmtime_r(&seconds, &parts);
    char text[40];
    const bool iso = separator == 'T';
    std::strftime(text, sizeof text, iso ? "%Y-%m-%dT%H:%M:%S" : "%Y-%m-%d %H:%M:%S UTC", &parts);
    return text + (iso ? secondsText(stamp % nsPerSecond / 1000 * 1000, 6).substr(1) + 'Z' : "");
}
