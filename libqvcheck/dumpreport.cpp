#include "libqvcheck/dumpreport.h"

#include "libqvcheck/candumplog.h"
#include "libqvcheck/cansocket.h"
#include "libqvcheck/findingtext.h"
#include "libqvcheck/frametext.h"
#include "libqvcheck/numbertext.h"
#include "libqvcheck/rowtext.h"

#include <algorithm>
#include <ostream>

namespace {

/// Added to the wait: the time the judge needs to see that a stream restarted.
constexpr std::int64_t reserve = 2000000000;

/// A device file's name may contain characters that end a name in a log.
std::string logName(const std::string& name) {
    std::string text = name.substr(0, CandumpLog::LONGEST_NAME);
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == '\''; }, '_');
    return text.empty() ? "_" : text;
}

/// canplayer accepts at most six digits after the point.
std::string stampText(std::int64_t stamp) {
    return '(' + secondsText(std::max<std::int64_t>(stamp, 0) / 1000 * 1000, 6) + ") ";
}

std::string wordsText(const std::vector<std::string>& words) {
    std::string text;
    for (const std::string& word : words) {
        text += ' ' + printable(word);
    }
    return text;
}

} // namespace

DumpReport::DumpReport(std::ostream& _out, const runSettings_t& _settings)
    : out(_out),
      settings(_settings),
      oneQueue(!_settings.recorded && std::find(_settings.inputs.begin(), _settings.inputs.end(),
                                                anyInterface) != _settings.inputs.end()),
      patience(2 * std::min(_settings.demands.wait, INT64_MAX / 4) + reserve),
      ring(HELD) {
    ahead.fill(AROUND);
    out << '#' << wordsText(settings.command) << '\n';
}

void DumpReport::frame(const receivedFrame_t& frame, std::int64_t time) {
    if (next - first == HELD) {
        release();
    }
    held_t& held = at(next++);
    held = {frame, time, ahead[frame.interface] > 0};
    ahead[frame.interface] -= held.wanted ? 1U : 0U;
    if (frame.dropped > 0 && drops < MOST) {
        ++drops;
        want(next - 1, frame.interface);
    }
    settle(time);
}

void DumpReport::settle(std::int64_t now) {
    placeComments();
    while (first != next && now - at(first).time > patience) {
        release();
    }
}

void DumpReport::droppedBehind(const std::string& name, std::uint64_t n) {
    settle(INT64_MAX);
    writeDrops(name, n);
}

void DumpReport::stream(const streamSummary_t& stream, std::int64_t time) {
    tell(time, time, stream.interface, stream.number, "stream: " + streamText(stream));
}

void DumpReport::finding(const finding_t& finding) {
    if (findings++ < MOST) {
        const std::int64_t span = finding.kind == FK_PACE ? 0 : std::max<std::int64_t>(finding.span, 0);
        tell(finding.time, finding.time - span, finding.interface, finding.stream,
             findingText(finding, settings.demands));
    }
}

/// The current frame is not held yet: it is added after it was judged.
void DumpReport::tell(std::int64_t time, std::int64_t since, std::uint8_t interface, std::uint16_t stream,
                      const std::string& text) {
    const std::string name =
        interface < settings.interfaces.size() ? logName(settings.interfaces.name(interface)) + ' ' : "";
    unplaced.push_back(
        {time, since, 0, interface,
         "# " + secondsText(time, 6) + ' ' + name + (stream == 0 ? "" : streamName(stream) + ' ') + text});
}

void DumpReport::placeComments() {
    for (comment_t& comment : unplaced) {
        const auto place = placeOf(comment.time, comment.interface);
        const auto since = placeOf(comment.since, comment.interface);
        comment.place = place.value_or(first);
        if (place) {
            want(*place, comment.interface);
            want(since.value_or(*place), comment.interface);
            wantBetween(since.value_or(*place), *place, comment.interface);
        }
        const auto behind = std::upper_bound(comments.begin(), comments.end(), comment,
                                             [](const auto& a, const auto& b) { return a.place < b.place; });
        comments.insert(behind, std::move(comment));
    }
    unplaced.clear();
}

/// Nothing if all frames of the interface are later or gone.
std::optional<std::uint64_t> DumpReport::placeOf(std::int64_t time, std::uint8_t interface) {
    for (std::uint64_t place = next; place != first; --place) {
        const held_t& held = at(place - 1);
        if (held.frame.interface == interface && held.time <= time) {
            return place - 1;
        }
    }
    return std::nullopt;
}

void DumpReport::want(std::uint64_t place, std::uint8_t interface) {
    const auto take = [this, interface](std::uint64_t one, unsigned int& left) {
        if (at(one).frame.interface == interface) {
            at(one).wanted = true;
            --left;
        }
    };
    unsigned int before = AROUND;
    for (std::uint64_t one = place; one != first && before > 0; --one) {
        take(one - 1, before);
    }
    unsigned int behind = AROUND + 1; // and the frame itself
    for (std::uint64_t one = place; one != next && behind > 0; ++one) {
        take(one, behind);
    }
    ahead[interface] = std::max(ahead[interface], behind);
}

/// Keeps a silence of one stream among others visible in the log.
void DumpReport::wantBetween(std::uint64_t from, std::uint64_t to, std::uint8_t interface) {
    for (; from < to && to - from <= BETWEEN; ++from) {
        at(from).wanted = at(from).wanted || at(from).frame.interface == interface;
    }
}

void DumpReport::wantLast() {
    std::array<unsigned int, 256> taken{};
    for (std::uint64_t place = next; place != first; --place) {
        held_t& held = at(place - 1);
        held.wanted = held.wanted || ++taken[held.frame.interface] <= AROUND;
    }
}

/// Writes the oldest frame or counts it as left out.
void DumpReport::release() {
    const held_t& held = at(first);
    if (held.wanted) {
        writeComments();
        write(held);
    } else {
        const std::uint64_t dropped = held.frame.dropped;
        leftOut[held.frame.interface] += dropped + 1;
    }
    ++first;
}

void DumpReport::write(const held_t& held) {
    const receivedFrame_t& frame = held.frame;
    const std::string name = logName(settings.interfaces.name(frame.interface));
    std::uint64_t& absent = leftOut[frame.interface];
    absent += absent > 0 || frame.leftOut ? frame.dropped : 0;
    if (absent > 0) {
        out << "# left out " << absent << " CAN frames on '" << name << "'\n";
    } else if (frame.dropped > 0) {
        writeDrops(oneQueue ? anyInterface : name, frame.dropped);
    }
    absent = 0;
    const std::int64_t stamp = frame.time == receivedFrame_t::noTime ? held.time : frame.time;
    // The content of a CAN XL frame is not kept.
    out << (frame.xl ? "# " : "") << stampText(stamp) << name << ' ' << frameText(frame)
        << (frame.own ? " T\n" : "\n");
}

void DumpReport::writeComments() {
    while (!comments.empty() && comments.front().place <= first) {
        out << comments.front().text << '\n';
        comments.erase(comments.begin());
    }
}

/// As `candump -d` writes them.
void DumpReport::writeDrops(const std::string& name, std::uint64_t n) {
    totalDrops += n;
    out << "DROPCOUNT: dropped " << n << " CAN frame" << (n == 1 ? "" : "s") << " on '" << name
        << "' socket (total drops " << totalDrops << ")\n";
}

void DumpReport::end(const runResult_t&) {
    placeComments();
    wantLast();
    while (first != next) {
        release();
    }
    writeComments();
    if (findings > MOST) {
        out << "# and " << countedText(findings - MOST, "more finding") << '\n';
    }
}

bool DumpReport::flush() {
    return static_cast<bool>(out.flush());
}
