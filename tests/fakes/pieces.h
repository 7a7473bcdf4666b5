#pragma once

#include <functional>
#include <ostream>
#include <streambuf>
#include <string>
#include <vector>

/// Takes what is written to a stream while it lives: each insertion as a piece of its own, and how often it
/// was flushed.
class Pieces : private std::streambuf {
public:
    explicit Pieces(std::ostream& _stream) : stream(_stream), original(_stream.rdbuf(this)) {}
    ~Pieces() override { stream.rdbuf(original); }
    Pieces(const Pieces&) = delete;
    Pieces& operator=(const Pieces&) = delete;

    std::vector<std::string> all;
    std::size_t flushes = 0;
    std::function<void()> onPiece; ///< called at each, if set

private:
    void add(std::string text) {
        all.push_back(std::move(text));
        if (onPiece) {
            onPiece();
        }
    }
    std::streamsize xsputn(const char* text, std::streamsize n) override {
        add(std::string(text, static_cast<std::size_t>(n)));
        return n;
    }
    int_type overflow(int_type c) override {
        add(std::string(1, traits_type::to_char_type(c)));
        return traits_type::not_eof(c);
    }
    int sync() override {
        ++flushes;
        return 0;
    }

    std::ostream& stream;
    std::streambuf* original;
};
