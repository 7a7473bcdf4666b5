#pragma once

#include "libqvcheck/hostsummary.h"

#include <cstdint>
#include <string>

/// Roughly how many frames, classic or FD, a socket's receive buffer of that many bytes holds.
std::uint64_t queueFrames(std::uint32_t receiveBuffer);

/// What happened: "link up after 3.284 s".
std::string eventText(const hostEvent_t& event);

/// An interface at the start of the check: "receive queue 21,845 frames, error-active, 500000 bit/s".
std::string interfaceText(const interfaceSummary_t& interface);

/// "receive queue 21,845 frames, 3 dropped; driver overflows 0; kernel drops 0; link down 0 times".
std::string hostRow(const interfaceSummary_t& interface);

/// "error-active, bus-off 0, error frames 0, arbitration lost 0"; empty if there is nothing to report.
std::string busRow(const interfaceSummary_t& interface);
