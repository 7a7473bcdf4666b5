#pragma once

#include "libqvio/logutil.h"
#include "libqvproc/mutex.h"
#include "libqvproc/thread.h"
#include "libqvtrace/canexttracemessage.h"
#include "libqvtrace/tracemessagebuffer.h"
#include "libqvutil/number.h"
#include "libqvutil/options.h"
#include "qvtools/retry.h"

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <linux/can.h>

/// One traffic source or sink on the run's descriptor, with a thread of its own. The thread runs exactly one
/// traffic mode.
///
/// All times are in µs. I/O functions return 0, or -1 after the reason has been printed.
///
/// Implementation by subject: candevice.cpp (object and dispatch), candevice_commandline.cpp,
/// candevice_frameio.cpp, and a file for each traffic mode.
class CanDevice : public Thread {
public:
    enum answer_t { A_NO = 0, A_YES = 1 };

    typedef std::vector<std::shared_ptr<CanDevice>> devices_t;

    /// The table of the 16 options; built at each call, as the help texts contain the defaults below.
    static Options canAppOptions();

    // `unsigned long` has 32 bits on the target, so these values have 32 bits everywhere.
    static constexpr unsigned long LOOP_UNDEFINED =
        toTargetLong(0xFFFFFFFFU); ///< all bits set: no loop count was given
    static constexpr unsigned long LOOP_FILE_DEFAULT = 1;
    static constexpr unsigned long LOOP_PATTERN_DEFAULT = 1024;
    static constexpr unsigned long TIME_GAP = 100000; ///< µs
    static constexpr canid_t CANID_SEND = 1;
    static constexpr std::uint8_t CAN_CHANNEL = 0;

    static const char* prog; ///< the program's name, set by `parse`

    /// Held during each write to the descriptor, so that frames of different devices do not interleave. Never
    /// held together with another lock.
    static Mutex mutex;

    /// Turns the command line into devices on one newly opened descriptor, one device per identifier.
    ///
    /// `_defdevice`: interface (`_network`) or file name used without -d. An empty list means that there is
    /// nothing to run: help was shown, or an error reported. Throws std::invalid_argument for an unknown SI
    /// prefix. Changes no state but `prog`.
    static devices_t parse(int _argc, char** _argv, const char* _defdevice, bool _network);

    /// Starts all devices' threads in order. Reports nothing.
    static void start(const devices_t& _devices);

    /// Waits for all devices' threads; never returns if a mode does not end.
    static void join(const devices_t& _devices);

    /// Owns `_fd` (negative: none), which all devices of a run share. A `_jitter` above `_timegap` is cut to
    /// it.
    ///
    /// The two file names are accepted but not stored: receive-to-file and the file sender remain dormant.
    /// Intended.
    CanDevice(int _fd, bool _network, unsigned short _verbose, answer_t _answer, bool _pattern,
              std::uint32_t _errnum, unsigned long _loop, bool _canFd, bool _brs, canid_t _canId,
              std::uint8_t _channel, std::uint64_t _timegap, std::uint64_t _jitter,
              const std::string& _readFileName, const std::string& _sendFileName);

    /// Closes the descriptor, if any. Devices of a run share it and each closes the same number: the first
    /// close succeeds, the later ones fail unnoticed; that is intended. So nothing may be opened between the
    /// destruction of the first and the last of them: it could get that number, and the next destructor would
    /// close it.
    ~CanDevice() override;

    CanDevice(const CanDevice&) = delete;
    CanDevice& operator=(const CanDevice&) = delete;

private:
    typedef std::multiset<unsigned int> canids_t;

    friend struct CanDeviceTestAccess;
    friend struct CommandLine;

    /// What a device is made of: the public constructor's parameters, with the command line's defaults.
    struct settings_t {
        int fd = -1;
        bool network = true;
        unsigned short verbose = 0;
        answer_t answer = A_NO;
        bool pattern = false;
        std::uint32_t errnum = 0;
        unsigned long loop = LOOP_FILE_DEFAULT;
        bool canFd = false;
        bool brs = false;
        canid_t canId = CANID_SEND;
        std::uint8_t channel = CAN_CHANNEL;
        std::uint64_t timegap = 0;
        std::uint64_t jitter = 0;
        std::string readFileName;
        std::string sendFileName;
    };

    /// Like the public constructor, but stores the file names.
    explicit CanDevice(const settings_t& settings);

    /// A device by the public constructor. The caller owns it.
    static CanDevice* make(const settings_t& settings);

    static void usage(const char* _prog, const Options& options);

    /// Sleeps once for the gap, spread by the jitter.
    void delay();

    /// `timegap`, or with a jitter a random draw around it.
    std::uint64_t nextGap() const;

    /// Reads one frame. Sets `pcm` to a new message owned by the caller, or to null: after -1, and on a
    /// device file if nothing usable was read. Holds no lock during the read, which blocks until something
    /// arrives. `stamped` false: whoever asks does not show the time stamp, and a frame from a socket has 0.
    int readCAN(CANExtTraceMessage*& pcm, bool stamped = true);

    /// The same after a wait reported the descriptor readable: if another device of the run has taken the
    /// frame in the meantime, returns 0 with `pcm` null instead of blocking, and prints nothing.
    int readIfReadable(CANExtTraceMessage*& pcm);

    /// Writes one frame in one system call, under `mutex`.
    int sendCAN(const CANExtTraceMessage& cm) QV_EXCLUDES(mutex, LogUtil::logMutex);

    /// Plays the file onto the bus. Returns 0 after the last pass, -1 if it cannot be opened.
    int sendFile();

    /// Answers every frame until a read from the raw socket fails; then returns -1.
    int sendAnswers();

    /// Sends the counter pattern `loop` times (0: endlessly), then returns 0; -1 if waiting fails.
    int sendPattern();

    /// Reads and drops a frame while the pattern sender runs. Does nothing shortly after a failed read.
    void discardFrame();

    /// Turns a received message into its answer: the identifier complemented within its width, and the
    /// payload bytes below the length code inverted.
    static void modify(CANExtTraceMessage& cm, answer_t a);

    /// Runs the mode that the settings select.
    void threadCode() override;

    /// Stores the payload of each received frame; returns only if the file cannot be opened.
    void receiveFile();

    /// Reads and drops everything.
    [[noreturn]] void justRead();

    const bool network;
    const int fd;
    const unsigned short verbose;
    const answer_t answer;
    const bool pattern;
    const std::uint32_t errnum;
    const unsigned long loop;
    const std::uint8_t channel;
    const bool canFd;
    const bool brs;
    const canid_t canId; ///< SocketCAN form, flag bits included
    const std::uint64_t timegap;
    const std::uint64_t jitter;
    TraceMessageBuffer buffer;
    const std::string readFileName;
    const std::string sendFileName;
    CANExtTraceMessage patternMsg;
    Retry retry; ///< of reads from `fd`
};
