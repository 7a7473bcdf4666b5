#include "libqvcheck/recordsource.h"

#include "libqvcheck/hostclock.h"

#include <fcntl.h>
#include <unistd.h>

int RecordSource::open(const std::string& name) {
    return ::open(name.c_str(), O_RDONLY | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
}

RecordSource::RecordSource(int _fd, const std::string& name, InterfaceTable& _interfaces)
    : fd(_fd),
      interface(_interfaces.indexOf(name)),
      input(_fd) {}

RecordSource::~RecordSource() {
    close(fd);
}

std::size_t RecordSource::read(receivedFrame_t* frames, std::size_t n) {
    if (!more) {
        fill();
    }
    const std::size_t got = records.read(frames, n);
    more = got == n;
    for (std::size_t i = 0; i < got; ++i) {
        frames[i].time = arrival;
        frames[i].interface = interface;
    }
    return got;
}

void RecordSource::fill() {
    input.fill();
    arrival = systemNanoseconds();
}
