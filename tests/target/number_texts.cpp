/// Numbers as texts, for a comparison of two builds:
///
///     number_texts make COUNT     writes that many texts, the same ones everywhere, each with a 0 behind it
///     number_texts ours           reads such texts and prints what targetStrtoul makes of each
///     number_texts target         reads them and prints what strtoul itself does, on a 32-bit target only

#include "libqvutil/number.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <random>
#include <string>

namespace {

/// mt19937's own numbers are laid down by the standard; those of the distributions differ between libraries.
class Maker {
public:
    std::string text() {
        const std::uint32_t kind = below(16);
        if (kind == 0) {
            return noise();
        }
        std::string made = blanks();
        if (kind > 1) {
            made += oneOf({"", "", "", "", "", "-", "-", "-", "+", "+-", "- "});
        }
        made += below(2) == 0 ? digits() : nearAnEdge();
        made +=
            kind > 1 ? oneOf({"", "", "", " ", "x", "m", "L", "e3", ".5", "\n", "-1", "8", "g"}) : noise();
        return made;
    }

private:
    std::mt19937 random{20230101};

    std::uint32_t below(std::uint32_t limit) { return static_cast<std::uint32_t>(random()) % limit; }

    /// One of the strings.
    template<std::size_t n>
    std::string oneOf(const char* const (&rows)[n]) {
        return rows[below(static_cast<std::uint32_t>(n))];
    }

    std::string repeated(const std::string& letters, std::uint32_t most) {
        std::string made;
        for (std::uint32_t n = below(most + 1); n > 0; --n) {
            made += letters[below(static_cast<std::uint32_t>(letters.size()))];
        }
        return made;
    }

    std::string blanks() { return below(3) == 0 ? repeated(" \t\n\v\f\r", 3) : ""; }

    std::string noise() {
        std::string made;
        for (std::uint32_t n = below(12); n > 0; --n) {
            made += static_cast<char>(1 + below(255));
        }
        return made;
    }

    std::string digits() {
        const std::string prefix = oneOf({"", "", "", "0", "0x", "0X", "00", "0x0", "0b", "x"});
        const std::string letters = oneOf({"0123456789", "123456789", "01234567", "0123456789abcdefABCDEF"});
        const std::uint32_t most = below(4) == 0 ? 25 : 9;
        return prefix + repeated(letters, most);
    }

    /// Where 31, 32, 63 and 64 bits end, a few around it, in each base.
    std::string nearAnEdge() {
        static const std::uint64_t edges[] = {0, 0x7FFFFFFF, 0xFFFFFFFF, 0x7FFFFFFFFFFFFFFF,
                                              0xFFFFFFFFFFFFFFFF};
        const std::uint64_t edge = edges[below(5)];
        const unsigned long long value = edge + below(7) - 3;
        static const char* const forms[] = {"%llu", "0%llo", "0x%llx", "0X%llX", "%llu0", "0x%llx0"};
        const char* const form = forms[below(6)];
        char made[64];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral" // each of the six takes that one number
        std::snprintf(made, sizeof made, form, value);
#pragma GCC diagnostic pop
        return made;
    }
};

int make(unsigned long count) {
    Maker maker;
    for (; count > 0; --count) {
        const std::string text = maker.text();
        std::cout.write(text.c_str(), static_cast<std::streamsize>(text.size() + 1));
    }
    return std::cout.flush() ? EXIT_SUCCESS : EXIT_FAILURE;
}

std::uint32_t target(const char* text) {
    return static_cast<std::uint32_t>(std::strtoul(text, nullptr, 0));
}

int convert(std::uint32_t (*toNumber)(const char*)) {
    std::string text;
    while (std::getline(std::cin, text, '\0')) {
        std::printf("%08lX\n", static_cast<unsigned long>(toNumber(text.c_str())));
    }
    return std::fflush(stdout) == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}

} // namespace

int main(int argc, char** argv) {
    const std::string what = argc > 1 ? argv[1] : "";
    if (what == "make" && argc == 3) {
        return make(std::strtoul(argv[2], nullptr, 10));
    }
    if (what == "ours" && argc == 2) {
        return convert(targetStrtoul);
    }
    if (what == "target" && argc == 2 && sizeof(unsigned long) == 4) {
        return convert(target);
    }
    std::fprintf(stderr, "number_texts make COUNT | ours | target (where long has 32 bits)\n");
    return EXIT_FAILURE;
}
