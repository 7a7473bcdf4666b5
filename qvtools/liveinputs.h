#pragma once

#include "libqvcheck/recordsource.h"
#include "libqvcheck/socketsource.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The devices of a check on the bus: CAN interfaces, and device files where the name has a slash.
class LiveInputs {
public:
    /// Opens them all; one that cannot be opened is noted in `failures`.
    LiveInputs(const std::vector<std::string>& names, InterfaceTable& interfaces);

    std::size_t size() const { return inputs.size(); }

    /// What to wait for before a read of one of them; -1: nothing more will come.
    int descriptor(std::size_t index) const;

    /// Reads one of them once, up to `n` frames. 0: it has nothing now.
    std::size_t read(std::size_t index, receivedFrame_t* frames, std::size_t n);

    /// Looks for deleted interfaces that have been made again, and listens to them.
    void bindAgain();

    /// Calls take(interface, n) for each socket whose queue refused `n` frames behind the last one read. For
    /// the moment in which the queues are empty.
    void takeDrops(const std::function<void(std::uint8_t, std::uint32_t)>& take);

    /// Calls take(interface, bytes) with the size of each socket's receive buffer.
    void receiveBuffers(const std::function<void(std::uint8_t, std::uint32_t)>& take) const;

    /// Nothing more will come: all of them are device files that have ended, or could not be opened.
    bool ended() const;

    /// "name: reason" for each that could not be opened or read on, or is gone now.
    std::vector<std::string> failures() const;

private:
    struct input_t {
        std::string name;
        std::uint8_t interface = 0;
        std::unique_ptr<SocketSource> socket; ///< one of the two, or none when it could not be opened
        std::unique_ptr<RecordSource> device;
        int failure = 0;   ///< errno of what ended it
        bool gone = false; ///< the interface was deleted
    };

    static void open(input_t& input, InterfaceTable& interfaces);

    std::vector<input_t> inputs;
};
