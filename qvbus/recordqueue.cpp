#include "qvbus/recordqueue.h"

#include <algorithm>

void RecordQueue::push(const std::uint8_t* record, std::size_t n) {
    bytes.insert(bytes.end(), record, record + n);
    lengths.push_back(n);
}

std::size_t RecordQueue::pop(std::size_t n) {
    std::size_t completed = 0;
    first += n;
    while (n > 0) {
        const std::size_t part = std::min(n, lengths.front());
        lengths.front() -= part;
        n -= part;
        if (lengths.front() == 0) {
            lengths.pop_front();
            ++completed;
        }
    }
    if (first > bytes.size() / 2) { // so that each byte is moved once on average
        bytes.erase(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(first));
        first = 0;
    }
    return completed;
}

std::size_t RecordQueue::clear() {
    const std::size_t left = lengths.size();
    *this = RecordQueue();
    return left;
}
