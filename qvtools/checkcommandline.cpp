#include "qvtools/checkcommandline.h"

#include "libqvcheck/cansocket.h"
#include "qvtools/candevice.h"
#include "qvtools/liveinputs.h"
#include "qvtools/sendergap.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace {

/// Options that have a long form only.
enum longOption_t {
    LO_ALLOW = 256,
    LO_JSON,
    LO_DUMP,
    LO_IDLE,
    LO_STOP,
    LO_MAX_GAP,
    LO_MAX_RTT,
};

[[noreturn]] void refuse(const std::string& option, const char* needs, const char* text) {
    throw std::invalid_argument(option + needs + text + "'");
}

/// Both exist and are the same file; "-" is standard input.
bool isSameFile(const std::string& file, const std::string& input) {
    struct stat a {};
    struct stat b {};
    const bool exist = stat(file.c_str(), &a) == 0 &&
                       (input == "-" ? fstat(STDIN_FILENO, &b) : stat(input.c_str(), &b)) == 0;
    return exist && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

/// Frames of one device come from the other as well.
bool overlap(const std::string& a, const std::string& b) {
    if (LiveInputs::isFile(a) != LiveInputs::isFile(b)) {
        return false;
    }
    return a == b || (LiveInputs::isFile(a) ? isSameFile(a, b) : a == anyInterface || b == anyInterface);
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// As the sender reads it, base 0, but the entire text must be a 32-bit number.
std::uint32_t readNumber(const char* option, const char* text) {
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text, &end, 0);
    if (!isDigit(*text) || *end != '\0' || errno != 0 || value > std::numeric_limits<std::uint32_t>::max()) {
        refuse(option, " needs a number up to 0xFFFFFFFF, not '", text);
    }
    return static_cast<std::uint32_t>(value);
}

/// A number with an optional SI prefix, possibly after blanks, as the sender reads it, but nothing else.
unit_t<std::uint64_t> readUnit(const char* option, const char* text) {
    errno = 0;
    char* rest = nullptr;
    static_cast<void>(std::strtoull(text, &rest, 10));
    const std::size_t blanks = std::strspn(rest, " \t");
    const std::size_t word = std::strcspn(rest + blanks, " \t");
    if (!isDigit(*text) || errno != 0 || rest[blanks + word] != '\0') {
        refuse(option, " needs a time, not '", text);
    }
    return unit_t<std::uint64_t>(0, 0, false).scan(text, 0);
}

/// A time in ns, above 0; a bare number is in seconds.
std::int64_t readNanoseconds(const char* option, const char* text) {
    const unit_t<std::uint64_t> unit = readUnit(option, text);
    constexpr std::uint64_t most = std::numeric_limits<std::int64_t>::max();
    std::uint64_t ns = unit.val;
    for (int exponent = unit.exp + 9; exponent > 0 && ns > 0; --exponent) {
        ns = ns > most / 10 ? most + 1 : ns * 10;
    }
    for (int exponent = unit.exp + 9; exponent < 0; ++exponent) {
        ns /= 10;
    }
    if (ns == 0 || ns > most) {
        refuse(option, ns == 0 ? " needs a time above 0, not '" : " needs a shorter time, not '", text);
    }
    return static_cast<std::int64_t>(ns);
}

/// The gap or jitter of a sender; scaled by the sender's rules it must fit a time in ns.
unit_t<std::uint64_t> readGap(const char* option, const char* text) {
    const unit_t<std::uint64_t> unit = readUnit(option, text);
    if (toMicroseconds(unit) > std::numeric_limits<std::int64_t>::max() / 1000) {
        refuse(option, " needs a shorter time, not '", text);
    }
    return unit;
}

} // namespace

Options CheckCommandLine::options() {
    return Options(
        {
            optionHelp,
            {'v', "verbose",
             "say more: -v the bytes of each finding, -vv every frame and what it was\ntaken for"},
            {'q', "quiet", "print the verdict only; -qq nothing"},
            {'d', "device", "device", true,
             "CAN interface (any: all of them), or device file with trace records\n(a name with a slash); "
             "may be repeated, default=can0"},
            {'i', "id", "canID", true,
             "demand a stream that starts at this identifier, from its first frame on;\nmay be repeated"},
            {'l', "loop", "n", true, "demand n frames of each stream, forever=0"},
            {'t', "time", "time", true,
             "the gap between frames that the sender was told.\nWithout a unit prefix \u00b5s are assumed."},
            {'j', "jitter", "time", true,
             "the jitter of that gap, default as in qvcan: one \u00b5s less than the gap,\nat most "
             "100000\u00b5s"},
            {'e', "error", "num", true, "demand that the sender corrupted every num-th frame, off=0"},
            {'f', "fd", "demand CAN FD frames with 64 bytes"},
            {'b', "brs", "demand the bit rate switch, selects -f"},
            {'a', "answer", "demand an answer to every frame; the answers are judged, too"},
            {'T', "duration", "time", true,
             "end after that time. Without a unit prefix seconds are assumed;\nm is milli."},
            {LO_IDLE, "idle", "time", true,
             "end when no frame of a pattern came for that time, in seconds;\ndefault: never, with -l 10"},
            {LO_STOP, "stop", "kinds", false, "end at the first finding, or the first of these kinds"},
            {'w', "wait", "time", true,
             "a frame that is missing for that time is lost, default=1.\nWithout a unit prefix seconds are "
             "assumed; m is milli."},
            {LO_ALLOW, "allow", "kinds", true,
             "findings that do not fail the check, each with an optional most:\nlost=10,reordered"},
            {LO_MAX_GAP, "max-gap", "time", true,
             "a stream that is silent for longer is a finding, in seconds"},
            {LO_MAX_RTT, "max-rtt", "time", true, "an answer that takes longer is a finding, in seconds"},
            {'I', "interval", "time", true, "a line for each such time, in seconds"},
            {LO_JSON, "json", "file", false,
             "line-delimited JSON, instead of text, or into the file beside it"},
            {LO_DUMP, "dump", "file", true, "the frames around each finding, as a candump log"},
        },
        0);
}

CheckCommandLine::outcome_t CheckCommandLine::read(Options& table, int argc, char** argv) {
    words.assign(argv, argv + argc);
    Options::restart();
    int letter;
    while ((letter = table.get(argc, argv)) != -1) {
        if (letter == 'h') {
            return HELP;
        }
        if (letter == '?' || letter == ':') {
            throw std::invalid_argument(std::string("Unknown option '") + argv[optind - 1] + "'");
        }
        take(letter, optarg);
    }
    files.assign(argv + optind, argv + argc);
    if (!files.empty() && !devices.empty()) {
        throw std::invalid_argument("A check reads devices or recordings, not both");
    }
    if (files.empty() && devices.empty()) {
        devices.emplace_back("can0");
    }
    derive();
    return RUN;
}

void CheckCommandLine::take(int letter, const char* argument) {
    switch (letter) {
    case 'v': ++verbose; break;
    case 'q': ++quiet; break;
    case 'd': devices.emplace_back(argument); break;
    case 'T': duration = readNanoseconds("-T", argument); break;
    case 'I': interval = readNanoseconds("-I", argument); break;
    case LO_IDLE: idle = readNanoseconds("--idle", argument); break;
    case LO_STOP: takeStop(argument); break;
    case LO_MAX_GAP: demands.maxGap = readNanoseconds("--max-gap", argument); break;
    case 'i': demands.ids.push_back(readNumber("-i", argument)); break;
    case 'l': demands.loop = readNumber("-l", argument); break;
    case 't': gapUnit = readGap("-t", argument); break;
    case 'j': jitterUnit = readGap("-j", argument); break;
    case 'e': demands.errorPeriod = readNumber("-e", argument); break;
    case 'f': demands.fd = true; break;
    case 'b': demands.brs = demands.fd = true; break;
    case 'a': demands.answer = true; break;
    case LO_MAX_RTT: demands.maxRtt = readNanoseconds("--max-rtt", argument); break;
    case 'w': demands.wait = readNanoseconds("-w", argument); break;
    case LO_ALLOW: takeAllowance(argument); break;
    case LO_JSON: takeJson(argument); break;
    case LO_DUMP: takeDump(argument); break;
    default: break; // every letter of the table is above
    }
}

void CheckCommandLine::takeAllowance(const char* list) {
    std::string wrong;
    if (!allowance.add(list, wrong)) {
        refuse("", "--allow needs kinds of findings, not '", wrong.c_str());
    }
}

void CheckCommandLine::takeStop(const char* list) {
    stop = true;
    stopAtAny = list == nullptr;
    if (stopAtAny) {
        return;
    }
    Allowance kinds;
    std::string wrong = list;
    if (!kinds.add("all=0", wrong) || wrong.find('=') != std::string::npos || !kinds.add(list, wrong)) {
        refuse("", "--stop needs kinds of findings, not '", wrong.c_str());
    }
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        stopKinds[kind] = stopKinds[kind] || kinds.allows(kind);
    }
}

bool CheckCommandLine::stopsAt(const findingCounts_t& counts) const {
    for (std::uint8_t i = 0; i < FK_NUM; ++i) {
        const auto kind = static_cast<findingKind_t>(i);
        if ((stopKinds[kind] && counts[kind] > 0) || (stopAtAny && counts[kind] > allowance.limit(kind))) {
            return true;
        }
    }
    return false;
}

void CheckCommandLine::takeJson(const char* file) {
    json = file == nullptr;
    jsonFile = file == nullptr ? "" : file;
    if (file != nullptr && *file == '\0') {
        throw std::invalid_argument("--json= needs the name of a file");
    }
}

void CheckCommandLine::takeDump(const char* file) {
    dumpFile = file;
    if (dumpFile.empty()) {
        throw std::invalid_argument("--dump needs the name of a file");
    }
}

/// The file of an option is created before the inputs are read.
void CheckCommandLine::refuseOverwriting(const char* option, const std::string& file) const {
    const auto refuseInput = [option, &file](const std::string& input) {
        if (isSameFile(file, input)) {
            refuse(option, " names an input: '", file.c_str());
        }
    };
    std::for_each(files.begin(), files.end(), refuseInput);
    for (const std::string& device : devices) {
        if (LiveInputs::isFile(device)) {
            refuseInput(device);
        }
    }
}

/// Each frame would count as repeated.
void CheckCommandLine::refuseDoubles() const {
    for (auto device = devices.begin(); device != devices.end(); ++device) {
        const auto earlier = std::find_if(devices.begin(), device,
                                          [device](const std::string& one) { return overlap(one, *device); });
        if (earlier != device) {
            const std::string& name = *device == anyInterface ? *earlier : *device;
            throw std::invalid_argument("-d reads '" + name + "' twice");
        }
    }
}

void CheckCommandLine::derive() {
    refuseDoubles();
    refuseOverwriting("--dump", dumpFile);
    refuseOverwriting("--json", jsonFile);
    if (isSameFile(dumpFile, jsonFile) || (!dumpFile.empty() && dumpFile == jsonFile)) {
        throw std::invalid_argument("--dump and --json name the same file");
    }
    if (demands.loop == CanDevice::LOOP_UNDEFINED) {
        demands.loop = 0; // counts as not given here, too
    }
    if (demands.loop > INT32_MAX) { // the distances between counters have a sign
        throw std::invalid_argument("-l demands at most 2147483647 frames");
    }
    constexpr std::int64_t idleWithNumber = 10000000000;
    idle = idle == 0 && demands.loop > 0 ? idleWithNumber : idle;
    demands.intervals = interval > 0;
    if (jitterUnit && !gapUnit) {
        throw std::invalid_argument("-j needs -t");
    }
    if (gapUnit) {
        const unit_t<std::uint64_t> usual(CanDevice::TIME_GAP, 0, false);
        const senderGap_t times = senderGap(*gapUnit, jitterUnit.value_or(usual));
        demands.paced = true;
        demands.gap = static_cast<std::int64_t>(times.gap) * 1000;
        demands.jitter = static_cast<std::int64_t>(times.jitter) * 1000;
        demands.eachGap = jitterUnit && demands.gap > 0;
    }
}
