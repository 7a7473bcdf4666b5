#pragma once

#include "libqvtrace/tracemessagebuffer.h"
#include "libqvutil/exception.h"
#include "tests/fakes/allocations.h"
#include "tests/fakes/fakesystem.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <deque>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

/// What the descriptor of a TraceMessageBuffer gives, call by call, and the calls that were made. A read of
/// more than a step holds gets that step; the rest of a longer one waits for the next call. A read beyond the
/// script fails the test.
class ScriptedInput {
public:
    static constexpr int fd = 42;

    ScriptedInput() {
        system.read = [this](int from, void* to, std::size_t n) { return read(from, to, n); };
    }

    ScriptedInput& gives(const byteVec_t& bytes) {
        steps.push_back({bytes, 0});
        return *this;
    }
    ScriptedInput& ends() { return gives({}); }
    ScriptedInput& fails(int errnum) {
        steps.push_back({{}, errnum});
        return *this;
    }

    bool done() const { return steps.empty(); }

    /// The calls since the last question.
    std::vector<std::string> newCalls() { return std::exchange(calls, {}); }

    std::size_t largestRequest = 0;

private:
    struct step_t {
        byteVec_t bytes;
        int errnum;
    };

    ssize_t read(int from, void* to, std::size_t n) {
        const allocations::Pause pause;
        calls.emplace_back("read");
        largestRequest = std::max(largestRequest, n);
        EXPECT_EQ(from, fd);
        if (steps.empty()) {
            ADD_FAILURE() << "a read that nobody expected";
            errno = EIO;
            return -1;
        }
        step_t step = std::move(steps.front());
        steps.pop_front();
        if (step.errnum != 0) {
            errno = step.errnum;
            return -1;
        }
        const std::size_t size = std::min(n, step.bytes.size());
        std::copy_n(step.bytes.begin(), size, static_cast<std::uint8_t*>(to));
        if (size < step.bytes.size()) {
            step.bytes.erase(step.bytes.begin(), step.bytes.begin() + static_cast<std::ptrdiff_t>(size));
            steps.push_front(std::move(step));
        }
        return static_cast<ssize_t>(size);
    }

    FakeSystem system;
    std::deque<step_t> steps;
    std::vector<std::string> calls;
};

/// A reader on scripted input, and all that came out of it.
class Reader {
public:
    explicit Reader(std::mutex* mutex = nullptr) : buffer(mutex) {
        MessageBase::registerMessages();
        buffer.setFD(ScriptedInput::fd);
    }

    /// The next message's record; empty when there is none. A report ends up in `reports`.
    byteVec_t next() {
        try {
            const std::unique_ptr<MessageBase> message(buffer.getNextMessage());
            return message == nullptr ? byteVec_t() : recordOf(*message);
        } catch (const QVException& report) {
            reports.emplace_back(report.what());
            return {};
        }
    }

    /// Takes all messages that are buffered. Only the first call may bring a report.
    void takeAll() {
        const std::size_t before = reports.size();
        byteVec_t record = next();
        if (reports.size() > before) {
            record = next();
        }
        const std::size_t reported = reports.size();
        for (; !record.empty(); record = next()) {
            messages.push_back(record);
        }
        EXPECT_LE(reported - before, 1U);
        EXPECT_EQ(reports.size(), reported) << "a report that was not brought by the first call";
    }

    /// Reads until the script is done, and takes all messages after each read.
    Reader& readAll(ScriptedInput& input) {
        while (!input.done()) {
            buffer.read();
            takeAll();
            EXPECT_LE(buffered(), RecordScanner::CAPACITY);
        }
        return *this;
    }

    /// Bytes that are neither delivered nor dropped.
    std::uint64_t buffered() const {
        const RecordScanner::counts_t& counts = buffer.counts();
        return counts.added - counts.taken - counts.dropped;
    }

    TraceMessageBuffer buffer;
    std::vector<byteVec_t> messages;
    std::vector<std::string> reports;
};

typedef std::vector<std::string> lines_t;

inline std::size_t sizeOf(const std::vector<byteVec_t>& records) {
    std::size_t n = 0;
    for (const byteVec_t& record : records) {
        n += record.size();
    }
    return n;
}

inline byteVec_t joined(const std::vector<byteVec_t>& records) {
    byteVec_t stream;
    for (const byteVec_t& record : records) {
        append(stream, record);
    }
    return stream;
}
