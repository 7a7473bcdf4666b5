#include "libqvtrace/recordscanner.h"

#include <algorithm>
#include <optional>
#include <utility>

static_assert(RecordScanner::CAPACITY >= 2 * record::maxSize,
              "an incomplete record must leave room for its rest");

std::uint8_t* RecordScanner::room() {
    bytes.resize(CAPACITY);
    std::copy(bytes.data() + begin, bytes.data() + end, bytes.data());
    end -= std::exchange(begin, 0);
    return bytes.data() + end;
}

void RecordScanner::added(std::size_t n) {
    end += n;
    total.added += n;
    atEnd = atEnd && n == 0;
}

record::view_t RecordScanner::next() {
    std::optional<std::size_t> incomplete; // the first position of an incomplete record
    std::size_t at = begin;
    for (; at < end; ++at) {
        const record::view_t view = record::look(bytes.data() + at, end - at);
        if (view.finding == record::RECORD) {
            skip(at - begin);
            return view;
        }
        if (view.finding == record::INCOMPLETE && !incomplete) {
            incomplete = at;
            if (!atEnd) {
                break;
            }
        }
    }
    atEnd = false; // everything has been examined
    skip(incomplete.value_or(at) - begin);
    return {record::INCOMPLETE, MSGID_INVALID, 0, nullptr};
}

void RecordScanner::take(const record::view_t& view) {
    begin += view.size();
    total.taken += view.size();
}

void RecordScanner::skip(std::size_t n) {
    begin += n;
    total.dropped += n;
}
