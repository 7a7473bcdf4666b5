#pragma once

#include "libqvtrace/messagebase.h"

#include <cstddef>
#include <cstdint>

// The trace record: sync A7 5E, version, header check, kind (2), body length (2), body, CRC-32 (4). All
// numbers big-endian. docs/trace-record.md has the table, the reasons and worked examples.
namespace record {

constexpr std::uint8_t sync0 = 0xA7;
constexpr std::uint8_t sync1 = 0x5E;
constexpr std::size_t headerSize = 8;
constexpr std::size_t checksumSize = 4;
constexpr std::size_t maxBody = 1024;
constexpr std::size_t maxSize = headerSize + maxBody + checksumSize;

/// CRC-32 of IEEE 802.3 over `n` bytes, like zlib's crc32(); the check value for "123456789" is CBF43926.
std::uint32_t crc32(const std::uint8_t* bytes, std::size_t n);

void putBigEndian(std::uint8_t* to, std::uint64_t value, std::size_t width);
std::uint64_t getBigEndian(const std::uint8_t* from, std::size_t width);

/// Writes the 8 bytes of the header. `bodySize` is at most maxBody.
void putHeader(std::uint8_t* to, msgid_t kind, std::size_t bodySize);

/// What the bytes at a position in a stream are.
enum finding_t {
    NO_RECORD,  ///< no record begins here
    INCOMPLETE, ///< one may begin here; more bytes are needed to decide
    RECORD,     ///< a complete record with a correct checksum
};

/// The result of examining `n` bytes of a stream. `kind`, `bodySize` and `body` are set for RECORD.
struct view_t {
    finding_t finding;
    msgid_t kind;
    std::size_t bodySize;
    const std::uint8_t* body;

    /// The complete record: size() bytes.
    const std::uint8_t* bytes() const { return body - headerSize; }
    std::size_t size() const { return headerSize + bodySize + checksumSize; }
};

view_t look(const std::uint8_t* bytes, std::size_t n);

} // namespace record
