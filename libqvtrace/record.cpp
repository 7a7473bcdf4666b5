#include "libqvtrace/record.h"

#include <array>

namespace record {

namespace {

constexpr std::array<std::uint32_t, 256> makeTable() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < table.size(); ++i) {
        std::uint32_t crc = i;
        for (int bit = 0; bit < 8; ++bit) {
            crc = (crc & 1U) != 0 ? (crc >> 1U) ^ 0xEDB88320U : crc >> 1U;
        }
        table[i] = crc;
    }
    return table;
}

constexpr auto crcTable = makeTable();

/// Any single bit error in version, kind or length is detected at once, before a wrong length makes the
/// reader wait for bytes that never come.
std::uint8_t headerCheck(const std::uint8_t* header) {
    return static_cast<std::uint8_t>(0x5AU ^ header[2] ^ header[4] ^ header[5] ^ header[6] ^ header[7]);
}

} // namespace

std::uint32_t crc32(const std::uint8_t* bytes, std::size_t n) {
    std::uint32_t crc = 0xFFFFFFFFU;
    for (std::size_t i = 0; i < n; ++i) {
        crc = (crc >> 8U) ^ crcTable[(crc ^ bytes[i]) & 0xFFU];
    }
    return ~crc;
}

void putBigEndian(std::uint8_t* to, std::uint64_t value, std::size_t width) {
    for (std::size_t i = width; i-- > 0; value >>= 8U) {
        to[i] = static_cast<std::uint8_t>(value & 0xFFU);
    }
}

std::uint64_t getBigEndian(const std::uint8_t* from, std::size_t width) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < width; ++i) {
        value = value << 8U | from[i];
    }
    return value;
}

void putHeader(std::uint8_t* to, msgid_t kind, std::size_t bodySize) {
    to[0] = sync0;
    to[1] = sync1;
    to[2] = MessageBase::version;
    putBigEndian(to + 4, kind, 2);
    putBigEndian(to + 6, bodySize, 2);
    to[3] = headerCheck(to);
}

view_t look(const std::uint8_t* bytes, std::size_t n) {
    view_t view{INCOMPLETE, MSGID_INVALID, 0, nullptr};
    const bool begins = (n < 1 || bytes[0] == sync0) && (n < 2 || bytes[1] == sync1) &&
                        (n < 3 || bytes[2] == MessageBase::version);
    if (!begins) {
        view.finding = NO_RECORD;
        return view;
    }
    if (n < headerSize) {
        return view;
    }
    const auto bodySize = static_cast<std::size_t>(getBigEndian(bytes + 6, 2));
    if (bytes[3] != headerCheck(bytes) || bodySize > maxBody) {
        view.finding = NO_RECORD;
        return view;
    }
    view.bodySize = bodySize;
    if (n < view.size()) {
        return view;
    }
    const std::uint8_t* checksum = bytes + headerSize + bodySize;
    view.finding = crc32(bytes + 2, headerSize - 2 + bodySize) == getBigEndian(checksum, checksumSize)
                       ? RECORD
                       : NO_RECORD;
    view.kind = static_cast<msgid_t>(getBigEndian(bytes + 4, 2));
    view.body = bytes + headerSize;
    return view;
}

} // namespace record
