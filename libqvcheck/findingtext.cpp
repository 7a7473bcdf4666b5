#include "libqvcheck/findingtext.h"

#include "libqvcheck/numbertext.h"
#include "libqvutil/hex.h"

#include <algorithm>

namespace {

/// "12A4", or "12A4 to 12A5" where there is more than one.
std::string rangeText(const finding_t& finding) {
    return counterText(finding.first) +
           (finding.count > 1 && finding.first != finding.last ? " to " + counterText(finding.last) : "");
}

std::string withCount(const finding_t& finding) {
    return ' ' + std::to_string(finding.count) + ": " + rangeText(finding);
}

std::string byteText(std::uint8_t value) {
    std::string text;
    appendHex(text, value, 2, true);
    return text;
}

/// A single cause needs no number: it is that of the entire loss.
std::string lossCauses(const finding_t& finding) {
    const auto& causes = finding.causes;
    const auto only = std::find(causes.begin(), causes.end(), finding.count);
    if (only == causes.end()) {
        return causesText(causes);
    }
    const auto cause = static_cast<lossCause_t>(only - causes.begin());
    const bool counted = cause == LC_QUEUE || cause == LC_INPUT;
    return std::string(causeName(cause)) +
           (counted ? " (" + std::to_string(finding.count) + " dropped)" : "");
}

std::string lostText(const finding_t& finding) {
    const std::string causes = lossCauses(finding);
    return withCount(finding) + (finding.span > 0 ? ", in " + spanText(finding.span) : "") +
           (causes.empty() ? "" : "; " + causes) + (finding.injected ? ", was to be corrupted" : "");
}

std::string lateText(const finding_t& finding) {
    return ' ' + rangeText(finding) + ", " + countedText(finding.extent, "frame") + " and " +
           spanText(finding.span) + " late";
}

/// What differs, byte by byte; at most the first four.
std::string differences(const evidence_t& evidence) {
    constexpr std::size_t shown = 4;
    std::string text;
    for (std::size_t i = 0; i < std::min<std::size_t>(evidence.differing, shown); ++i) {
        const differingByte_t& byte = evidence.bytes[i];
        text += (i == 0 ? "byte " : ", byte ") + std::to_string(byte.index) + " is " + byteText(byte.got) +
                " instead of " + byteText(byte.wanted);
    }
    return text + (evidence.differing > shown ? " and so on" : "");
}

std::string corruptedText(const finding_t& finding) {
    const evidence_t& evidence = finding.evidence;
    const std::string where = differences(evidence);
    const std::string label = damageText(evidence);
    return ' ' + counterText(finding.first) + ": " + (where.empty() ? label : where + " (" + label + ')') +
           "; identifier says " + counterText(evidence.identifier) + ", counter " +
           counterText(evidence.counter) + ", run " + byteText(evidence.run);
}

std::string formatText(const finding_t& finding) {
    const std::string where = finding.count > 1 ? withCount(finding) + ',' : ' ' + rangeText(finding) + ':';
    if (finding.frame == nullptr) {
        return where + " not as told";
    }
    const receivedFrame_t& frame = *finding.frame;
    if (!frame.fd || frame.length != CANFD_MAX_DLEN) {
        return where + ' ' + (frame.fd ? "FD" : "classic") + " with " + countedText(frame.length, "byte") +
               " instead of FD with 64";
    }
    return where + " no bit rate switch";
}

std::string restartText(const finding_t& finding) {
    if (!finding.began) {
        return ": the counter went back from " + counterText(finding.last) + " to " +
               counterText(finding.first);
    }
    std::string start = counterText(finding.first);
    start.insert(0, 3 - std::min<std::size_t>(start.size(), 3), '0'); // also an identifier
    return ": the sender began again at " + start + ", after " + counterText(finding.last);
}

/// What follows the name of the kind.
std::string detailText(const finding_t& finding, const demands_t& demands) {
    switch (finding.kind) {
    case FK_LOST: return lostText(finding);
    case FK_REPEATED:
        return ' ' + rangeText(finding) +
               (finding.span >= 0 ? ", " + spanText(finding.span) + " after the first" : "");
    case FK_REORDERED:
    case FK_LATE: return lateText(finding);
    case FK_CORRUPTED: return corruptedText(finding);
    case FK_UNINJECTED: return ' ' + rangeText(finding) + ": intact, was to be corrupted";
    case FK_FORMAT: return formatText(finding);
    case FK_RESTART: return restartText(finding);
    case FK_JUMP:
        return ": the counter went on from " + counterText(finding.last) + " to " +
               counterText(finding.first);
    case FK_STRAY: return ' ' + rangeText(finding) + ": fits no place of the stream";
    case FK_GAP: return ": silent for " + spanText(finding.span);
    case FK_ABSENT: return ": no frame of the stream from " + identifierText(finding.first);
    case FK_SURPLUS: return withCount(finding) + ", beyond the " + std::to_string(demands.loop) + " told";
    case FK_UNANSWERED: return ' ' + rangeText(finding);
    case FK_SLOW: return ' ' + rangeText(finding) + ": answered after " + spanText(finding.span);
    case FK_EARLY:
        return ' ' + rangeText(finding) + ": answered " + spanText(-finding.span) + " before it came";
    case FK_PACE: return ": a gap of " + spanText(finding.span) + " instead of " + spanText(demands.gap);
    default: return ' ' + std::to_string(finding.count);
    }
}

} // namespace

std::string findingText(const finding_t& finding, const demands_t& demands) {
    return std::string(findingName(finding.kind)) + detailText(finding, demands);
}

std::string damageText(const evidence_t& evidence) {
    switch (evidence.damage) {
    case DT_ONE_BIT: return "one bit";
    case DT_INVERTED: return "inverted";
    case DT_ONE_BYTE: return "one byte";
    case DT_IDENTIFIER: return "identifier";
    case DT_WIDTH: return "width";
    case DT_SHORTENED: return "shortened to " + std::to_string(evidence.length);
    case DT_MIXED: return "two frames mixed";
    case DT_BYTES: break;
    }
    return std::to_string(evidence.differing) + " bytes";
}

std::string causesText(const lossShares_t& causes) {
    std::string text;
    for (std::size_t i = 0; i < causes.size(); ++i) {
        if (causes[i] > 0) {
            text += (text.empty() ? "" : "; ") + grouped(causes[i]) + ' ' +
                    std::string(causeName(static_cast<lossCause_t>(i)));
        }
    }
    return text;
}

std::string startText(const streamSummary_t& stream) {
    if (!stream.startKnown) {
        return "xx.." + byteText(static_cast<std::uint8_t>(stream.start));
    }
    return identifierText(stream.start | (stream.width == 29 ? CAN_EFF_FLAG : 0U));
}

std::string streamKind(const streamSummary_t& stream) {
    const std::string width = stream.width == 29 ? "extended" : "standard";
    if (stream.role == SR_REMOTE) {
        return "remote, " + width;
    }
    return (stream.role == SR_ANSWER ? "answers, " : "") + std::string(stream.fd ? "FD " : "classic ") +
           std::to_string(stream.length) + ", " + width;
}

std::string streamText(const streamSummary_t& stream) {
    const bool whole = stream.startKnown && stream.first == stream.start;
    return streamKind(stream) + (stream.role == SR_REMOTE ? ", by identifier only" : "") + ", start " +
           startText(stream) + ", first frame " + (whole ? "seen" : "is " + counterText(stream.first));
}
