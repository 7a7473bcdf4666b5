#pragma once

#include "libqvcheck/inputblocks.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>
#include <unistd.h>

/// An input that is fed piece by piece. A piece is at most what a pipe holds.
class InputPipe {
public:
    InputPipe() { EXPECT_EQ(pipe(ends), 0); }
    ~InputPipe() {
        close(ends[0]);
        end();
    }
    InputPipe(const InputPipe&) = delete;
    InputPipe& operator=(const InputPipe&) = delete;

    int descriptor() const { return ends[0]; }

    void write(std::string_view piece) {
        EXPECT_EQ(::write(ends[1], piece.data(), piece.size()), static_cast<ssize_t>(piece.size()));
    }

    void end() {
        if (ends[1] != -1) {
            close(ends[1]);
            ends[1] = -1;
        }
    }

    /// All of the input at once, and its end.
    void fill(InputBlocks& input, std::string_view text) {
        write(text);
        end();
        while (!input.ended()) {
            input.fill();
        }
    }

private:
    int ends[2] = {-1, -1};
};
