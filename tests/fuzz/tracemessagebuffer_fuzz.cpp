// Any bytes for the reader of trace records, cut anywhere, with signals, errors and ends in between. What it
// delivers is held against a slow scan of the whole stream that shares no code with it.
//
// An input is two bytes, which choose the cuts, and then the stream.

#include "libqvtrace/record.h"
#include "libqvtrace/tracemessagebuffer.h"
#include "libqvutil/exception.h"
#include "tests/fakes/fakesystem.h"
#include "tests/fuzz/require.h"
#include "tests/unit/libqvtrace/tracebytes.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <sstream>

namespace {

/// True when the reader must deliver a record of that kind and body, by the format's page.
bool isMessage(unsigned int kind, const byteVec_t& body) {
    const bool older = kind == MSGID_CAN;
    if ((!older && kind != MSGID_CAN_EXT) || body.size() < 16 || body.size() > (older ? 24 : 80)) {
        return false;
    }
    const unsigned int id =
        unsigned{body[12]} << 24U | unsigned{body[13]} << 16U | unsigned{body[14]} << 8U | body[15];
    const unsigned int width = body[11] % 2 == 1 ? 29 : 11;
    return body[9] <= 3 && (body[10] & 0x3FU) <= 7 && body[11] <= (older ? 1 : 3) && id >> width == 0;
}

/// Looks at what begins at `at` in the first `end` bytes: the size of a sound record, 0 for none, or more
/// than is left when bytes are missing to tell.
std::size_t recordAt(const byteVec_t& stream, std::size_t at, std::size_t end) {
    const std::size_t left = end - at;
    static const byteVec_t start = {0xA7, 0x5E, 0x01};
    if (!std::equal(start.begin(),
                    start.begin() + static_cast<std::ptrdiff_t>(std::min<std::size_t>(left, 3)),
                    stream.begin() + static_cast<std::ptrdiff_t>(at))) {
        return 0;
    }
    if (left < 8) {
        return left + 1;
    }
    const std::uint8_t* const head = stream.data() + at;
    const std::size_t size = 12U + head[6] * 256U + head[7];
    if ((0x5A ^ head[2] ^ head[4] ^ head[5] ^ head[6] ^ head[7]) != head[3] || size > 12 + 1024) {
        return 0;
    }
    if (size > left) {
        return size;
    }
    byteVec_t checksum;
    appendBigEndian(checksum, crcBitByBit({head + 2, head + size - 4}, 0), 4);
    return std::equal(checksum.begin(), checksum.end(), head + size - 4) ? size : 0;
}

/// The slow scan: what must have been delivered after each part of the stream.
class Scan {
public:
    explicit Scan(const byteVec_t& _stream) : stream(_stream) {}

    /// On to byte `end`. `isEnd`: the reader was told there that the input has ended.
    void to(std::size_t end, bool isEnd) {
        while (at < end) {
            const std::size_t size = recordAt(stream, at, end);
            if (size <= end - at) {
                deliver(size);
            } else if (const std::size_t next = isEnd ? nextSound(end) : end; next < end) {
                at = next;
            } else {
                return;
            }
        }
    }

    std::vector<byteVec_t> messages; ///< the records that must be delivered, whole
    std::size_t at = 0;              ///< what lies behind it may begin a record

private:
    void deliver(std::size_t size) {
        const std::uint8_t* const head = stream.data() + at;
        if (size > 0 && isMessage(head[4] * 256U + head[5], {head + 8, head + size - 4})) {
            messages.emplace_back(head, head + size);
        }
        at += std::max<std::size_t>(size, 1);
    }

    std::size_t nextSound(std::size_t end) const {
        for (std::size_t from = at + 1; from < end; ++from) {
            const std::size_t size = recordAt(stream, from, end);
            if (size > 0 && size <= end - from) {
                return from;
            }
        }
        return end;
    }

    const byteVec_t& stream;
};

/// Feeds a stream to the reader and keeps its promises in view.
class Run {
public:
    Run(const byteVec_t& _stream, std::uint32_t seed) : stream(_stream), numbers(seed), buffer(nullptr) {
        system.read = [this](int, void* to, std::size_t n) { return give(to, n); };
        MessageBase::registerMessages();
    }

    void all() {
        while (given < stream.size()) {
            const int n = buffer.read();
            require(n != -1 || errno == EIO || errno == ENOBUFS,
                    "an error is the descriptor's or that of a full buffer");
            // Now and then the messages wait, until the buffer is full.
            if (numbers.below(4) != 0 || n <= 0) {
                takeAll();
            }
            if (n == 0) {
                ends.push_back(given);
            }
        }
        takeAll();
    }

    std::vector<std::size_t> ends; ///< where in the stream the input had ended for a while

    std::vector<byteVec_t> messages;
    std::uint64_t buffered() const {
        return buffer.counts().added - buffer.counts().taken - buffer.counts().dropped;
    }

private:
    ssize_t give(void* to, std::size_t n) {
        require(n > 0 && n <= RecordScanner::CAPACITY,
                "a read asks for some bytes, and no more than it can hold");
        const std::uint32_t chance = numbers.below(16);
        if (chance < 2) {
            errno = chance == 0 ? EINTR : EIO;
            return -1;
        }
        if (chance == 2) {
            return 0;
        }
        const std::size_t cut = 1 + numbers.below(chance < 8 ? 16 : 3000);
        const std::size_t size = std::min({n, cut, stream.size() - given});
        std::copy_n(stream.data() + given, size, static_cast<std::uint8_t*>(to));
        given += size;
        return static_cast<ssize_t>(size);
    }

    void takeAll() {
        for (bool first = true;; first = false) {
            try {
                const std::unique_ptr<MessageBase> message(buffer.getNextMessage());
                require(buffer.counts().added == given, "every byte that was read is counted");
                require(buffered() <= RecordScanner::CAPACITY, "memory is bounded");
                if (message == nullptr) {
                    return;
                }
                messages.push_back(recordOf(*message));
                std::ostringstream text;
                message->print(text);
            } catch (const QVException&) {
                require(first, "only the first call after a read brings a report");
            }
        }
    }

    FakeSystem system;
    const byteVec_t& stream;
    Numbers numbers;
    TraceMessageBuffer buffer;
    std::size_t given = 0;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return -1;
    }
    const byteVec_t stream(data + 2, data + size);
    Run run(stream, data[0] * 256U + data[1]);
    run.all();

    Scan expected(stream);
    for (const std::size_t end : run.ends) {
        expected.to(end, true);
    }
    expected.to(stream.size(), false);
    require(run.messages == expected.messages,
            "every sound record is delivered, once, in order, and nothing else");
    require(run.buffered() == stream.size() - expected.at, "only what may begin a record stays buffered");
    return 0;
}

#ifdef QV_LIBFUZZER

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* data, std::size_t size, std::size_t most);

namespace {

/// Mends header and checksum of whatever begins with the sync bytes: chance alone would never get behind
/// them.
void mend(byteVec_t& input) {
    for (std::size_t at = 2; at + 12 <= input.size(); ++at) {
        if (input[at] != 0xA7 || input[at + 1] != 0x5E) {
            continue;
        }
        const unsigned int kind = input[at + 4] * 256U + input[at + 5];
        const std::size_t length =
            std::min<std::size_t>((input[at + 6] * 256U + input[at + 7]) % 1025, input.size() - at - 12);
        const auto body = input.begin() + static_cast<std::ptrdiff_t>(at + 8);
        const byteVec_t sound = recordOf(kind, {body, body + static_cast<std::ptrdiff_t>(length)});
        std::copy(sound.begin(), sound.end(), input.begin() + static_cast<std::ptrdiff_t>(at));
        at += sound.size() - 1;
    }
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t most,
                                               unsigned int seed) {
    size = LLVMFuzzerMutate(data, size, most);
    if (seed % 3 != 0) {
        byteVec_t input(data, data + size);
        mend(input);
        std::copy(input.begin(), input.end(), data);
    }
    return size;
}

#endif
