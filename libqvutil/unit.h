#pragma once

#include <array>
#include <cmath>
#include <sstream>
#include <stdexcept>
#include <string>

/// An SI prefix as spelled on the command line. "u" is an ASCII spelling of micro, and deca is "de", not
/// "da"; both are intended.
struct siPrefix_t {
    const char* text;
    short exp;
};

/// Compared in this order with the entire word after the number, case-sensitively.
inline constexpr std::array<siPrefix_t, 21> siPrefixes = {{
    {"y", -24}, {"z", -21}, {"a", -18}, {"f", -15}, {"p", -12}, {"n", -9}, {"\u00b5", -6},
    {"u", -6},  {"m", -3},  {"c", -2},  {"d", -1},  {"de", 1},  {"h", 2},  {"k", 3},
    {"M", 6},   {"G", 9},   {"T", 12},  {"P", 15},  {"E", 18},  {"Z", 21}, {"Y", 24},
}};

/// A number with an optional SI prefix. A plain value.
template<typename T>
struct unit_t {
    T val;       ///< the number as written, not scaled
    short exp;   ///< decimal exponent of the prefix, or the caller's default if there was none
    bool prefix; ///< there was a prefix after the number

    unit_t(const T& _val, short _exp, bool _prefix) : val(_val), exp(_exp), prefix(_prefix) {}

    /// Reads `text`: a number as `operator>>` reads a T (no number: `val` 0), then, after optional white
    /// space, a prefix.
    ///
    /// Throws std::invalid_argument for a word that is not a prefix; `val` and `prefix` have then been
    /// overwritten, `exp` has not.
    unit_t<T>& scan(const char* text, short defaultExp) {
        std::istringstream in(text);
        in.exceptions(std::ios_base::badbit); // otherwise a lack of memory would cut the word
        val = T();                            // operator>> leaves it unchanged for an empty text
        in >> val;
        std::string word;
        in >> word;
        prefix = !word.empty();
        exp = prefix ? exponentOf(word) : defaultExp;
        return *this;
    }

    /// The scaled value: `val` * 10^`exp`.
    double get() const { return static_cast<double>(val) * std::pow(10.0, exp); }

private:
    static short exponentOf(const std::string& word) {
        for (const siPrefix_t& candidate : siPrefixes) {
            if (word == candidate.text) {
                return candidate.exp;
            }
        }
        throw std::invalid_argument("invalid unit \"" + word + "\" specified");
    }
};
