// Error frames: linux/can/error.h.

#include "libqvcheck/errorframe.h"

#include <array>

#include <linux/can/error.h>

namespace {

constexpr std::array<std::string_view, errorClasses> classNames = {
    "transmit timeout",  "arbitration lost", "controller", "protocol",  "transceiver",
    "no acknowledgment", "bus-off",          "bus error",  "restarted", "error counters"};

struct bitName_t {
    std::uint8_t bit;
    std::string_view name;
};

constexpr bitName_t controllerNames[] = {
    {CAN_ERR_CRTL_RX_OVERFLOW, "receive overflow"}, {CAN_ERR_CRTL_TX_OVERFLOW, "transmit overflow"},
    {CAN_ERR_CRTL_RX_WARNING, "receive warning"},   {CAN_ERR_CRTL_TX_WARNING, "transmit warning"},
    {CAN_ERR_CRTL_RX_PASSIVE, "receive passive"},   {CAN_ERR_CRTL_TX_PASSIVE, "transmit passive"},
    {CAN_ERR_CRTL_ACTIVE, "error-active"},
};

constexpr bitName_t protocolNames[] = {
    {CAN_ERR_PROT_BIT, "bit"},
    {CAN_ERR_PROT_FORM, "form"},
    {CAN_ERR_PROT_STUFF, "stuff"},
    {CAN_ERR_PROT_BIT0, "dominant bit"},
    {CAN_ERR_PROT_BIT1, "recessive bit"},
    {CAN_ERR_PROT_OVERLOAD, "overload"},
    {CAN_ERR_PROT_ACTIVE, "active"},
    {CAN_ERR_PROT_TX, "while sending"},
};

std::uint8_t byteOf(const receivedFrame_t& frame, std::size_t i) {
    return i < frame.length ? frame.data[i] : std::uint8_t{0};
}

/// ": first, second", or nothing if no bit is set.
template<std::size_t n>
std::string bitsText(const bitName_t (&names)[n], std::uint8_t bits) {
    std::string text;
    for (const bitName_t& entry : names) {
        if ((bits & entry.bit) != 0) {
            text += (text.empty() ? ": " : ", ") + std::string(entry.name);
        }
    }
    return text;
}

std::string hexText(std::uint8_t byte) {
    return {"0123456789ABCDEF"[byte >> 4U], "0123456789ABCDEF"[byte & 15U]};
}

std::string protocolText(const receivedFrame_t& frame) {
    const std::uint8_t place = byteOf(frame, 3);
    return bitsText(protocolNames, byteOf(frame, 2)) +
           (place == CAN_ERR_PROT_LOC_UNSPEC ? std::string() : " at " + hexText(place));
}

/// What the data bytes say about one class.
std::string detail(const receivedFrame_t& frame, std::uint32_t errorClass) {
    switch (errorClass) {
    case CAN_ERR_LOSTARB:
        return byteOf(frame, 0) == CAN_ERR_LOSTARB_UNSPEC ? std::string()
                                                          : " in bit " + std::to_string(byteOf(frame, 0));
    case CAN_ERR_CRTL: return bitsText(controllerNames, byteOf(frame, 1));
    case CAN_ERR_PROT: return protocolText(frame);
    case CAN_ERR_TRX: return ' ' + hexText(byteOf(frame, 4));
    case CAN_ERR_CNT:
        return " tx " + std::to_string(byteOf(frame, 6)) + " rx " + std::to_string(byteOf(frame, 7));
    default: return {};
    }
}

} // namespace

errorFrameKind_t errorFrameKind(const receivedFrame_t& frame) {
    const std::uint8_t controller = (frame.canId & CAN_ERR_CRTL) != 0 ? byteOf(frame, 1) : std::uint8_t{0};
    if ((controller & CAN_ERR_CRTL_RX_OVERFLOW) != 0) {
        return EF_OVERFLOW;
    }
    constexpr std::uint32_t busClasses =
        CAN_ERR_PROT | CAN_ERR_TRX | CAN_ERR_BUSOFF | CAN_ERR_BUSERROR | CAN_ERR_RESTARTED;
    const bool passive = (controller & (CAN_ERR_CRTL_RX_PASSIVE | CAN_ERR_CRTL_TX_PASSIVE)) != 0;
    return passive || (frame.canId & busClasses) != 0 ? EF_BUS : EF_OTHER;
}

std::string_view errorClassName(std::size_t index) {
    return classNames[index];
}

std::string errorFrameText(const receivedFrame_t& frame) {
    std::string text;
    for (std::size_t i = 0; i < errorClasses; ++i) {
        const std::uint32_t errorClass = 1U << i;
        if ((frame.canId & errorClass) != 0) {
            text += (text.empty() ? "" : "; ") + std::string(classNames[i]) + detail(frame, errorClass);
        }
    }
    return text.empty() ? "no class" : text;
}
