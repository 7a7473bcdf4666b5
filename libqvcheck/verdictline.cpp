#include "libqvcheck/verdictline.h"

#include "libqvcheck/numbertext.h"

#include <array>
#include <string>
#include <vector>

namespace {

/// How the verdict words a number of findings of a kind.
struct phrase_t {
    const char* noun;   ///< counted: "frame", "frames"
    const char* behind; ///< what follows the noun
    const char* brief;  ///< in the list of allowed findings
};

const phrase_t& phraseOf(findingKind_t kind) {
    static constexpr std::array<phrase_t, FK_NUM> phrases = {{
        {"frame", " lost", "lost"},
        {"frame", " repeated", "repeated"},
        {"frame", " reordered", "reordered"},
        {"frame", " late", "late"},
        {"frame", " corrupted", "corrupted"},
        {"frame", " not corrupted as told", "not corrupted as told"},
        {"frame", " of another format", "of another format"},
        {"restart", "", "restarted"},
        {"jump", "", "jumped"},
        {"stray frame", "", "stray"},
        {"gap", " too long", "gaps too long"},
        {"stream", " absent", "absent"},
        {"frame", " too many", "too many"},
        {"answer", " missing", "unanswered"},
        {"answer", " slow", "slow"},
        {"answer", " early", "early"},
        {"gap", " out of pace", "out of pace"},
        {"frame", " dropped by ", "dropped by "},
        {"foreign frame", "", "foreign"},
    }};
    return phrases[kind];
}

std::string dropper(const runSettings_t& settings) {
    return settings.recorded ? "the logger" : "this host";
}

std::string droppedText(const runResult_t& run, const runSettings_t& settings) {
    return countedText(run.summary.findings[FK_OVERRUN], "frame") + " dropped by " + dropper(settings);
}

/// Why the check is not complete, the gravest reason first.
std::vector<std::string> obstacles(const runResult_t& run, const runSettings_t& settings) {
    std::vector<std::string> all;
    if (!run.failures.empty()) {
        all.push_back(printable(run.failures.front()));
    }
    if (run.input != nullptr && isTooBroken(*run.input)) {
        all.push_back(countedText(run.input->broken, "line") + " of " +
                      grouped(run.input->frames + run.input->broken) + " cannot be read, the first is " +
                      printable(run.input->firstBroken));
    }
    if (exceeds(run.summary, settings.allowance, FK_OVERRUN)) {
        all.push_back(droppedText(run, settings));
    }
    if (run.summary.furtherStreams > 0) {
        all.push_back("no room for further streams, " + countedText(run.summary.furtherStreams, "frame") +
                      " not judged");
    }
    return all;
}

std::string failLine(const runResult_t& run, const runSettings_t& settings) {
    std::string text;
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        if (kind != FK_OVERRUN && exceeds(run.summary, settings.allowance, kind)) {
            text += (text.empty() ? "" : ", ") +
                    countedText(run.summary.findings[kind], phraseOf(kind).noun) + phraseOf(kind).behind;
        }
    }
    for (const std::string& obstacle : obstacles(run, settings)) {
        text += "; and " + obstacle;
    }
    return "FAIL: " + text;
}

/// What was found but allowed, except foreign frames, which always are.
std::string allowedText(const runResult_t& run, const runSettings_t& settings) {
    std::string text;
    for (std::uint8_t i = 0; i < FK_FOREIGN; ++i) {
        const std::uint64_t n = run.summary.findings[i];
        if (n > 0) {
            const auto kind = static_cast<findingKind_t>(i);
            text += (text.empty() ? "" : ", ") + grouped(n) + ' ' + phraseOf(kind).brief +
                    (kind == FK_OVERRUN ? dropper(settings) : "");
        }
    }
    return text;
}

std::string passLine(const runResult_t& run, const runSettings_t& settings) {
    std::uint64_t injected = 0;
    for (const streamSummary_t& stream : run.summary.streams) {
        injected += stream.totals.injected;
    }
    const std::string allowed = allowedText(run, settings);
    return "PASS: " + countedText(run.summary.pattern, "frame") +
           (!allowed.empty() ? "; allowed: " + allowed
            : injected > 0   ? ", none lost, repeated or reordered"
                             : ", none lost, repeated, reordered or corrupted") +
           (injected > 0 ? "; " + grouped(injected) + " corrupted as told" : "");
}

std::string incompleteLine(const runResult_t& run, const runSettings_t& settings) {
    std::string text;
    for (const std::string& obstacle : obstacles(run, settings)) {
        text += (text.empty() ? "" : "; and ") + obstacle;
    }
    const bool onlyDropped = text == droppedText(run, settings);
    return "INCOMPLETE: " + text + (onlyDropped ? ", nothing else wrong" : "");
}

} // namespace

std::string verdictLine(const runResult_t& run, const runSettings_t& settings) {
    switch (run.verdict) {
    case V_PASS: return passLine(run, settings);
    case V_FAIL: return failLine(run, settings);
    case V_INCOMPLETE: return incompleteLine(run, settings);
    case V_NO_PATTERN: break;
    }
    return "NO PATTERN: " + countedText(run.summary.frames, "frame") + ", none of a pattern";
}

const char* verdictName(verdict_t verdict) {
    switch (verdict) {
    case V_PASS: return "pass";
    case V_FAIL: return "fail";
    case V_INCOMPLETE: return "incomplete";
    case V_NO_PATTERN: break;
    }
    return "no pattern";
}
