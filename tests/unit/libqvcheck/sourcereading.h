#pragma once

#include "libqvcheck/framesource.h"
#include "libqvcheck/inputblocks.h"
#include "libqvcheck/inputcounts.h"
#include "tests/unit/libqvcheck/framenote.h"
#include "tests/unit/libqvcheck/inputpipe.h"

#include <string_view>
#include <utility>
#include <vector>

typedef std::vector<std::string> notes_t;
typedef std::vector<receivedFrame_t> frames_t;

/// Reads a whole text with a source of the kind `Source`.
template<typename Source>
class SourceReading {
public:
    explicit SourceReading(std::string_view text) {
        counts.file = "log";
        InputPipe pipe;
        InputBlocks input(pipe.descriptor());
        Source source(input, interfaces, counts);
        pipe.fill(input, text);
        receivedFrame_t some[3];
        while (const std::size_t n = source.read(some, 3)) {
            frames.insert(frames.end(), some, some + n);
        }
    }

    notes_t notes() const {
        notes_t all;
        for (const receivedFrame_t& frame : frames) {
            all.push_back(noteOf(frame));
        }
        return all;
    }

    std::vector<std::int64_t> times() const {
        std::vector<std::int64_t> all;
        for (const receivedFrame_t& frame : frames) {
            all.push_back(frame.time);
        }
        return all;
    }

    InterfaceTable interfaces;
    inputCounts_t counts;
    frames_t frames;
};
