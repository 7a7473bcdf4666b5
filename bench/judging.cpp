// Judges frames of one stream, all in order, from memory; `bench/checking` counts its instructions.
// usage: judging LENGTH FRAMES DEMANDS, of i (identifier), l (number) and f (FD); empty for none

#include "libqvcheck/judge.h"
#include "libqvcheck/pattern.h"

#include <cstdlib>
#include <cstring>

namespace {

constexpr std::uint32_t start = 1;

struct nobody_t : FindingSink {
    void finding(const finding_t&) override { std::exit(1); }
    void stream(const streamSummary_t&, std::int64_t) override {}
};

receivedFrame_t makeFrame(std::uint32_t number, std::uint8_t length) {
    receivedFrame_t frame{};
    const std::uint32_t counter = start + number;
    frame.canId = patternIdentifier(counter, false);
    frame.length = length;
    frame.fd = length > CAN_MAX_DLEN;
    frame.time = std::int64_t{1000000} * number;
    for (unsigned int i = 0; i < length; ++i) {
        frame.data[i] =
            static_cast<std::uint8_t>(i < counterBytes ? counter >> (24 - 8 * i) : number + i - counterBytes);
    }
    return frame;
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        return 2;
    }
    const auto length = static_cast<std::uint8_t>(std::atoi(argv[1]));
    const auto n = static_cast<std::uint32_t>(std::atoi(argv[2]));
    const char* const told = argv[3];
    demands_t demands;
    demands.loop = std::strchr(told, 'l') != nullptr ? 1000000000 : 0;
    demands.fd = std::strchr(told, 'f') != nullptr;
    demands.ids.assign(std::strchr(told, 'i') != nullptr ? 1 : 0, start);
    nobody_t nobody;
    Judge judge(demands, nobody);
    for (std::uint32_t i = 0; i < n; ++i) {
        judge.judge(makeFrame(i, length));
    }
    return judge.totals().expected == n ? 0 : 1;
}
