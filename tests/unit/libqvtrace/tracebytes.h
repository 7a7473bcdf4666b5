#pragma once

#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/messagebase.h"
#include "tests/fakes/hexadecimal.h"
#include "tests/fakes/recordof.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

// Bytes in text, and trace records made by the format's table alone, so that the product's writer and reader
// are held against something that is not themselves.

/// "a7 5e 01": a comparison that fails shows what differs.
inline std::string hexOf(const byteVec_t& bytes) {
    return hexadecimal(bytes.data(), bytes.size(), 1);
}

/// The bytes of "a7 5e 01".
inline byteVec_t bytesOf(const std::string& hex) {
    byteVec_t bytes;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3) {
        bytes.push_back(static_cast<std::uint8_t>(std::stoul(hex.substr(i, 2), nullptr, 16)));
    }
    return bytes;
}

inline byteVec_t part(const byteVec_t& bytes, std::size_t from, std::size_t to) {
    return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
            bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

inline byteVec_t firstOf(const byteVec_t& bytes, std::size_t n) {
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(n)};
}

inline void append(byteVec_t& to, const byteVec_t& more) {
    to.insert(to.end(), more.begin(), more.end());
}

inline byteVec_t operator+(byteVec_t left, const byteVec_t& right) {
    append(left, right);
    return left;
}

/// `n` bytes 0, 1, 2, ...
inline byteVec_t counting(std::size_t n) {
    byteVec_t bytes(n);
    for (std::size_t i = 0; i < n; ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    return bytes;
}

inline void appendBigEndian(byteVec_t& to, std::uint64_t value, unsigned int width) {
    for (unsigned int i = width; i-- > 0;) {
        to.push_back(static_cast<std::uint8_t>(value >> (8 * i) & 0xFFU));
    }
}

/// CRC-32 of IEEE 802.3, bit by bit: the reflected polynomial EDB88320, started from and ended with all ones.
inline std::uint32_t crcBitByBit(const byteVec_t& bytes, std::size_t from) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (std::size_t i = from; i < bytes.size(); ++i) {
        crc ^= bytes[i];
        for (int bit = 0; bit < 8; ++bit) {
            crc = crc >> 1U ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
        }
    }
    return ~crc;
}

/// A record by the table, around any body; `length` other than the body's makes a broken one.
inline byteVec_t recordOf(unsigned int kind, const byteVec_t& body, std::size_t length) {
    byteVec_t record = {0xA7, 0x5E, 1, 0};
    appendBigEndian(record, kind, 2);
    appendBigEndian(record, length, 2);
    record[3] = static_cast<std::uint8_t>(0x5A ^ 1 ^ record[4] ^ record[5] ^ record[6] ^ record[7]);
    append(record, body);
    appendBigEndian(record, crcBitByBit(record, 2), 4);
    return record;
}

inline byteVec_t recordOf(unsigned int kind, const byteVec_t& body) {
    return recordOf(kind, body, body.size());
}

/// The first 8 bytes of a record with a body of `length`.
inline byteVec_t headerOf(unsigned int kind, std::size_t length) {
    const byteVec_t record = recordOf(kind, {}, length);
    return {record.begin(), record.begin() + 8};
}

/// The body of a CAN record, field by field; also with values that no frame has.
struct fields_t {
    std::uint64_t time = 1000000;
    unsigned int channel = 0;
    unsigned int type = CF_STANDARD;
    unsigned int status = 0;
    unsigned int canType = CT_STANDARD;
    std::uint32_t id = 0x123;
    byteVec_t data = {};

    byteVec_t body() const {
        byteVec_t bytes;
        appendBigEndian(bytes, time, 8);
        for (const unsigned int byte : {channel, type, status, canType}) {
            bytes.push_back(static_cast<std::uint8_t>(byte));
        }
        appendBigEndian(bytes, id, 4);
        return bytes + data;
    }
};

/// A sound record that the reader delivers: 28 + `n` bytes.
inline byteVec_t recordWith(std::uint32_t id, std::size_t n = 8) {
    return recordOf(MSGID_CAN_EXT, fields_t{1, 0, CF_STANDARD, 0, CT_FD_STANDARD, id, counting(n)}.body());
}

inline std::unique_ptr<MessageBase> rebuilt(unsigned int kind, const byteVec_t& body) {
    MessageBase::registerMessages();
    return std::unique_ptr<MessageBase>(
        MessageBase::rebuild(static_cast<msgid_t>(kind), body.data(), body.size()));
}

/// Values for property tests. The engine's numbers are the same on every machine and width, unlike those of
/// the library's distributions.
class Numbers {
public:
    explicit Numbers(std::uint32_t seed) : engine(seed) {}

    std::uint32_t any() { return static_cast<std::uint32_t>(engine()); }
    std::uint32_t below(std::uint32_t limit) { return any() % limit; }

    byteVec_t bytes(std::size_t n) {
        byteVec_t result(n);
        for (std::uint8_t& byte : result) {
            byte = static_cast<std::uint8_t>(below(256));
        }
        return result;
    }

    /// Any valid CAN body with at most `most` bytes of data.
    fields_t fields(std::uint32_t most = 64) {
        fields_t f;
        f.time = std::uint64_t{any()} << 32U | any();
        f.channel = below(256);
        f.type = below(CF_NUM);
        f.status = below(CSE_NUM) | below(4) << 6U;
        f.canType = below(4);
        f.id = any() & ((f.canType & 1U) != 0 ? 0x1FFFFFFFU : 0x7FFU);
        f.data = bytes(below(most + 1));
        return f;
    }

    /// A sound record that the reader delivers.
    byteVec_t record(std::uint32_t most = 64) { return recordOf(MSGID_CAN_EXT, fields(most).body()); }

private:
    std::mt19937 engine;
};
