#include "libqvcheck/inputcounts.h"

#include <algorithm>
#include <utility>

void inputCounts_t::countBroken(std::uint64_t line) {
    if (broken++ == 0) {
        firstBroken = file + ':' + std::to_string(line);
    }
}

void inputCounts_t::addDropped(int interface, std::uint32_t n) {
    std::uint32_t& sum =
        interface == everyInterface ? droppedAnywhere : dropped.at(static_cast<std::size_t>(interface));
    const std::uint32_t added = std::min(n, UINT32_MAX - sum);
    sum += added;
    waiting += added;
    if (interface != everyInterface) {
        leaves.at(static_cast<std::size_t>(interface)) = false;
    }
}

void inputCounts_t::addLeftOut(std::size_t interface, std::uint32_t n) {
    const bool alone = dropped.at(interface) == 0 || leaves.at(interface);
    addDropped(static_cast<int>(interface), n);
    leaves.at(interface) = alone;
}

std::uint32_t inputCounts_t::takeDropped(std::uint8_t interface, bool& leftOut) {
    leftOut = std::exchange(leaves[interface], false) && droppedAnywhere == 0;
    if (waiting == 0) {
        return 0;
    }
    const std::uint64_t sum =
        std::uint64_t{std::exchange(dropped[interface], 0)} + std::exchange(droppedAnywhere, 0);
    const std::uint32_t taken = static_cast<std::uint32_t>(std::min<std::uint64_t>(sum, UINT32_MAX));
    waiting -= sum;
    return taken;
}
