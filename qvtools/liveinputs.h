#pragma once

#include "libqvcheck/recordsource.h"
#include "libqvcheck/socketsource.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

/// The devices of a check on the bus: CAN interfaces, and device files if the name has a slash.
class LiveInputs {
public:
    static bool isFile(const std::string& name) { return name.find('/') != std::string::npos; }

    /// Opens them all; those that cannot be opened are listed in `failures`.
    LiveInputs(const std::vector<std::string>& names, InterfaceTable& interfaces);

    std::size_t size() const { return inputs.size(); }

    /// The descriptor to wait for before reading one of them; -1: nothing more will come.
    int descriptor(std::size_t index) const;

    /// Reads one of them once, up to `n` frames. 0: nothing available now.
    std::size_t read(std::size_t index, receivedFrame_t* frames, std::size_t n);

    /// Finds deleted interfaces that have been recreated, and listens to them again.
    void bindAgain();

    /// Calls take(interface, n) for each socket whose queue refused `n` frames after the last one read. To be
    /// called while the queues are empty.
    void takeDrops(const std::function<void(std::uint8_t, std::uint32_t)>& take);

    /// Calls take(interface, bytes) with the size of each socket's receive buffer.
    void receiveBuffers(const std::function<void(std::uint8_t, std::uint32_t)>& take) const;

    /// Nothing more will come: all of them are device files that have ended, or could not be opened.
    bool ended() const;

    /// "name: reason" for each that could not be opened or read to the end, or is currently gone.
    std::vector<std::string> failures() const;

private:
    struct input_t {
        std::string name;
        std::uint8_t interface = 0;
        std::unique_ptr<SocketSource> socket; ///< one of the two, or none if it could not be opened
        std::unique_ptr<RecordSource> device;
        int failure = 0;   ///< errno of the failure that ended it
        bool gone = false; ///< the interface was deleted
    };

    static void open(input_t& input, InterfaceTable& interfaces);

    std::vector<input_t> inputs;
};
