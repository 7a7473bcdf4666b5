#include "qvtools/userbus.h"

#include "libqvio/fileutils.h"
#include "libqvio/logutil.h"
#include "libqvutil/exception.h"
#include "libqvutil/line.h"
#include "libqvutil/utility.h"

#include <cerrno>
#include <iostream>

namespace {

// A master that nobody has opened hangs up, which a wait would report for ever. So absent nodes are looked at
// in this interval.
constexpr std::chrono::milliseconds lookInterval{20};

} // namespace

UserBus::UserBus(const std::string& prefix, unsigned int count, bool _verbose) : verbose(_verbose) {
    // Records of other kinds cross the bus as well.
    MessageBase::registerMessages();
    MessageBase::invalidHandling = IMH_RETURN_INVALID_MESSAGE;
    for (unsigned int i = 0; i < count; ++i) {
        BusNode::removeStaleName(prefix + std::to_string(i));
    }
    for (unsigned int i = 0; i < count; ++i) {
        nodes.push_back(std::make_unique<BusNode>(prefix + std::to_string(i)));
    }
}

int UserBus::run(int stopFd) {
    const timespec look = toTimespec(lookInterval);
    for (;;) {
        FdSet rfds(stopFd);
        FdSet wfds;
        const bool allPresent = watchNodes(rfds, wfds);
        if (qvselect(&rfds, &wfds, nullptr, allPresent ? nullptr : &look, nullptr) == -1) {
            LogUtil::errorLine("run", "select", errno);
            return -1;
        }
        if (rfds.isSet(stopFd)) {
            serveLast();
            return 0;
        }
        for (const auto& node : nodes) {
            if (wfds.isSet(node->descriptor())) {
                node->deliverRest();
            }
            if (rfds.isSet(node->descriptor())) {
                serve(*node);
            }
        }
    }
}

/// Adds the nodes that are there. False when some are not.
bool UserBus::watchNodes(FdSet& rfds, FdSet& wfds) {
    bool allPresent = true;
    for (const auto& node : nodes) {
        if (!node->isPresent()) {
            allPresent = false;
            continue;
        }
        rfds += node->descriptor();
        if (node->hasRest()) {
            wfds += node->descriptor();
        }
    }
    return allPresent;
}

/// What the nodes wrote before the bus was asked to end still crosses it.
void UserBus::serveLast() {
    for (const auto& node : nodes) {
        if (node->hasInput()) {
            serve(*node);
        }
    }
}

void UserBus::serve(BusNode& node) {
    if (!node.receive()) {
        return;
    }
    for (;;) {
        try {
            const std::unique_ptr<MessageBase> message(node.nextMessage());
            if (!message) {
                return;
            }
            distribute(node, *message);
        } catch (const QVException& exception) {
            (Line() << node.name() << ": " << exception).writeLine(std::cerr);
        }
    }
}

void UserBus::distribute(BusNode& from, const MessageBase& message) {
    ++from.sent;
    byteVec_t record;
    message.createByteArray(record, true, true);
    for (const auto& node : nodes) {
        if (node.get() != &from) {
            node->deliver(record);
        }
    }
    if (verbose) {
        Line line;
        message.print((line << from.name() << " ").stream());
        line.writeLine(std::cout);
    }
}

void UserBus::printCounts() const {
    for (const auto& node : nodes) {
        (Line() << node->name() << ": " << node->sent << " sent, " << node->received << " received, "
                << node->missed << " missed")
            .writeLine(std::cout);
    }
}
