#include "qvbus/userbus.h"

#include "libqvio/fileutils.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <limits>
#include <numeric>
#include <sstream>

#include <sys/inotify.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t never = std::numeric_limits<std::uint64_t>::max();

// Without inotify: how long it may take to notice that a program has opened a terminal, in µs.
constexpr std::uint64_t lookInterval = 20000;

constexpr std::uint64_t endPatience = 1000000; // µs

// How often the ending bus checks whether a node has read, which no event reports, in µs.
constexpr std::uint64_t readingInterval = 2000;

// More than a terminal holds at a time.
constexpr std::size_t terminalCapacity = 65536;

std::string textOf(const record::view_t& view) {
    std::unique_ptr<MessageBase> message(MessageBase::rebuild(view.kind, view.body, view.bodySize));
    if (!message) { // of another tool's kind, or with an invalid body
        message = std::make_unique<MessageBase>(view.kind, 0);
        message->readBody(view.body, view.bodySize);
    }
    std::ostringstream text;
    message->print(text);
    return text.str();
}

} // namespace

UserBus::UserBus(const std::string& prefix, unsigned int count, bool _verbose)
    : names(prefix, count),
      verbose(_verbose),
      openings(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    MessageBase::registerMessages();
    for (unsigned int i = 0; i < count; ++i) {
        nodes.push_back(std::make_unique<BusNode>(names[i]));
        const std::string& terminal = nodes.back()->path();
        if (inotify_add_watch(openings.get(), terminal.c_str(), IN_OPEN) == -1) {
            openings.reset();
        }
        names.link(i, terminal);
    }
}

bool UserBus::run(int stopFd) {
    out.line(std::to_string(nodes.size()) + " nodes: " + nodes.front()->name() + " to " +
             nodes.back()->name());
    const bool good = runUntil(stopFd);
    const std::uint64_t limit = getMicroSecondsOfDay() + endPatience;
    takeLastInput(limit);
    handOnQueued(limit);
    printCounts();
    return finishOutput() && good;
}

bool UserBus::runUntil(int stopFd) {
    for (;;) {
        lookAtNodes();
        FdSet rfds(stopFd);
        FdSet wfds;
        watchInputs(rfds);
        watchOutputs(wfds);
        if (!wait(rfds, wfds, nextDeadline())) {
            return false;
        }
        if (rfds.isSet(stopFd)) {
            return true;
        }
        flush();
        for (const auto& node : nodes) {
            if (rfds.isSet(node->descriptor()) && mayServe(*node)) {
                serve(*node);
            }
        }
    }
}

/// Adds what the bus may read.
void UserBus::watchInputs(FdSet& rfds) const {
    if (openings.isOpen()) {
        rfds += openings.get();
    }
    for (const auto& node : nodes) {
        if (node->isPresent() && mayServe(*node)) {
            rfds += node->descriptor();
        }
    }
}

/// Adds the descriptors with pending output.
void UserBus::watchOutputs(FdSet& wfds) const {
    for (const auto& node : nodes) {
        if (node->hasQueued()) {
            wfds += node->descriptor();
        }
    }
    for (const PendingOutput* output : {&out, &err}) {
        if (!output->empty()) {
            wfds += output->descriptor();
        }
    }
}

/// Waits until something is ready, or the clock reaches `limit`. False if that fails.
bool UserBus::wait(FdSet& rfds, FdSet& wfds, std::uint64_t limit) {
    const std::uint64_t now = getMicroSecondsOfDay();
    const timespec timeout =
        toTimespec(std::chrono::microseconds(limit > now && limit != never ? limit - now : 0));
    if (qvselect(&rfds, &wfds, nullptr, limit == never ? nullptr : &timeout, nullptr) == -1) {
        err.line(std::string("[ERROR] BZ::run() select: ") + errorText(errno));
        return false;
    }
    std::array<char, 4096> events;
    if (openings.isOpen() && rfds.isSet(openings.get())) {
        while (read(openings.get(), events.data(), events.size()) > 0) {
        }
    }
    return true;
}

/// When the bus must check again if nothing happens.
std::uint64_t UserBus::nextDeadline() const {
    const std::uint64_t now = getMicroSecondsOfDay();
    std::uint64_t deadline = never;
    for (const auto& node : nodes) {
        if (const std::uint64_t left = node->patienceLeft(now); left > 0) {
            deadline = std::min(deadline, now + left);
        }
        if (!node->isPresent() && !openings.isOpen()) {
            deadline = std::min(deadline, now + lookInterval);
        }
    }
    return deadline;
}

/// Not while the bus waits for another node, or for a reader of its own output.
bool UserBus::mayServe(const BusNode& node) const {
    const std::uint64_t now = getMicroSecondsOfDay();
    return out.empty() && err.empty() && std::none_of(nodes.begin(), nodes.end(), [&](const auto& other) {
               return other.get() != &node && other->patienceLeft(now) > 0;
           });
}

void UserBus::lookAtNodes() {
    for (const auto& node : nodes) {
        if (node->look()) {
            node->endInput();
            forward(*node);
            report(*node, true);
            node->leave();
        }
    }
}

/// Returns the number of bytes read.
std::size_t UserBus::serve(BusNode& node) {
    const std::size_t n = node.receive();
    lookAtNodes(); // a program that came before these bytes were written gets them, too
    forward(node);
    report(node, false);
    flush();
    return n;
}

void UserBus::forward(BusNode& from) {
    for (auto view = from.nextRecord(); view.finding == record::RECORD; view = from.nextRecord()) {
        distribute(from, view);
        from.takeRecord(view);
    }
}

void UserBus::distribute(const BusNode& from, const record::view_t& view) {
    const std::uint64_t now = getMicroSecondsOfDay();
    for (const auto& node : nodes) {
        if (node.get() != &from && !node->deliver(view, now)) {
            err.line(node->name() + ": is not reading and misses records");
        }
    }
    if (verbose) {
        out.line(from.name() + ' ' + textOf(view));
    }
}

void UserBus::report(BusNode& node, bool atEnd) {
    const std::string text = node.takeReport(atEnd);
    if (!text.empty()) {
        err.line(node.name() + ": " + text);
    }
}

/// Writes whatever nodes and outputs accept. False if they accept nothing.
bool UserBus::flush() {
    const std::uint64_t now = getMicroSecondsOfDay();
    bool progress = out.flush();
    progress = err.flush() || progress;
    for (const auto& node : nodes) {
        progress = node->flush(now) || progress;
    }
    return progress;
}

/// Waits until `limit` for anything to be accepted. False if nothing is.
bool UserBus::writeOnly(std::uint64_t limit) {
    FdSet rfds;
    FdSet wfds;
    watchOutputs(wfds);
    return wait(rfds, wfds, limit) && flush();
}

/// What the nodes wrote before the end was requested is still delivered. After `limit` the bus waits for
/// nobody.
void UserBus::takeLastInput(std::uint64_t limit) {
    for (const auto& node : nodes) {
        for (std::size_t taken = 0; taken < terminalCapacity && node->hasInput();) {
            while (!mayServe(*node) && getMicroSecondsOfDay() < limit) {
                writeOnly(std::min(limit, nextDeadline()));
            }
            const std::size_t n = serve(*node);
            taken = n > 0 ? taken + n : terminalCapacity;
        }
        node->endInput();
        forward(*node);
        report(*node, true);
    }
}

/// Bytes that nodes have not read yet.
std::size_t UserBus::pending() const {
    return std::accumulate(nodes.begin(), nodes.end(), std::size_t{0},
                           [](std::size_t sum, const auto& node) { return sum + node->pending(); });
}

/// Continues as long as any node reads, until `limit`. What is left then is missed.
void UserBus::handOnQueued(std::uint64_t limit) {
    std::size_t left = pending();
    std::uint64_t now = getMicroSecondsOfDay();
    for (std::uint64_t until = now + BusNode::PATIENCE; left > 0 && now < std::min(limit, until);
         now = getMicroSecondsOfDay()) {
        writeOnly(now + readingInterval);
        const std::size_t rest = pending();
        until = rest < left ? getMicroSecondsOfDay() + BusNode::PATIENCE : until;
        left = rest;
    }
    for (const auto& node : nodes) {
        node->giveUp();
    }
}

void UserBus::printCounts() {
    for (const auto& node : nodes) {
        out.line(node->name() + ": " + std::to_string(node->sent) + " sent, " +
                 std::to_string(node->received) + " received, " + std::to_string(node->missed) + " missed");
    }
}

bool UserBus::finishOutput() {
    const std::uint64_t limit = getMicroSecondsOfDay() + endPatience;
    while (!(out.empty() && err.empty()) && getMicroSecondsOfDay() < limit && writeOnly(limit)) {
    }
    if (out.failed() || !out.empty()) {
        err.line("[ERROR] Cannot write to standard output");
        return false;
    }
    return true;
}
