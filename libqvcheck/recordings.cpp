#include "libqvcheck/recordings.h"

#include "libqvcheck/candumplog.h"
#include "libqvcheck/familytext.h"
#include "libqvcheck/recordfile.h"
#include "libqvtrace/record.h"
#include "libqvutil/utility.h"

#include <algorithm>
#include <cerrno>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

Recordings::~Recordings() {
    close();
}

std::size_t Recordings::read(receivedFrame_t* frames, std::size_t n) {
    if (fd == -1) {
        open();
        return 0;
    }
    std::size_t got = readBuffered(frames, n);
    if (got > 0) {
        return got;
    }
    input->fill();
    if (recognise()) {
        got = format->read(frames, n);
    }
    if (got == 0 && input->ended()) {
        fail(input->error());
        close();
    }
    return got;
}

/// Does not wait for a pipe's writer: a pipe without data is just not ready, and polled like the rest.
void Recordings::open() {
    if (next == names.size()) {
        return;
    }
    met.file = names[next++];
    fd = met.file == "-" ? STDIN_FILENO : ::open(met.file.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (fd == -1) {
        fail(errno);
        return;
    }
    input = std::make_unique<InputBlocks>(fd);
}

void Recordings::close() {
    if (fd != -1 && fd != STDIN_FILENO) {
        ::close(fd);
    }
    fd = -1;
    format.reset();
    input.reset();
}

/// True once the format is known. The first byte that is not blank decides, except for records, which take
/// two. A log may begin with a comment, or with what the logger lost before the first frame.
bool Recordings::recognise() {
    if (format || input->size() == 0) {
        return format != nullptr;
    }
    std::string_view text(input->begin(), input->size());
    const auto beginsWith = [&text](std::string_view start) { return text.substr(0, start.size()) == start; };
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF"; // of UTF-8
    if (beginsWith(byteOrderMark)) {
        input->drop(byteOrderMark.size());
        text.remove_prefix(byteOrderMark.size());
    }
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    const auto byte = [text](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
    if (text.size() == 1 && byte(0) == record::sync0 && !input->ended()) {
        return false;
    }
    if (beginsWith("(") || beginsWith("#") || beginsWith("DROPCOUNT")) {
        format = std::make_unique<CandumpLog>(*input, interfaces, met);
    } else if (text.size() > 1 && byte(0) == record::sync0 && byte(1) == record::sync1) {
        format = std::make_unique<RecordFile>(*input, interfaces, met);
    } else {
        format = std::make_unique<FamilyText>(*input, interfaces, met);
    }
    return true;
}

void Recordings::fail(int errnum) {
    if (errnum != 0) {
        failed.push_back(met.file + ": " + errorText(errnum));
    }
}
