#pragma once

#include "libqvcheck/allowance.h"
#include "libqvcheck/demands.h"
#include "libqvutil/options.h"
#include "libqvutil/unit.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// The options and operands of one check. Reading prints nothing.
///
/// Stricter than the sender's, as a misread demand makes the verdict worthless: anything that is not a number
/// or a time is rejected.
struct CheckCommandLine {
    enum outcome_t {
        RUN,
        HELP, ///< -h was found; the options after it were not read
    };

    /// The table of the options.
    static Options options();

    /// Reads the argument vector with `table`. Throws std::invalid_argument, with a text for the user, if it
    /// is wrong.
    outcome_t read(Options& table, int argc, char** argv);

    demands_t demands;
    Allowance allowance;
    std::vector<std::string> devices; ///< interfaces and device files; at least one if there are no files
    std::vector<std::string> files;   ///< recordings, "-" for standard input
    std::int64_t duration = 0;        ///< ns after which the check ends; 0: it does not
    std::int64_t idle = 0;            ///< ns without a pattern frame after which it ends; 0: it does not
    std::int64_t interval = 0;        ///< ns between interval lines; 0: none
    std::vector<std::string> words;   ///< the entire command line
    unsigned int verbose = 0;
    unsigned int quiet = 0;
    bool json = false;    ///< on standard output, instead of text
    std::string jsonFile; ///< in addition to the text; empty: none
    std::string dumpFile; ///< the frames around the findings; empty: none
    bool stop = false;    ///< findings may end the check

    /// Whether these findings end the check: any of a kind that was named, or more than are allowed.
    bool stopsAt(const findingCounts_t& counts) const;

private:
    void takeStop(const char* list);
    void take(int letter, const char* argument);
    void takeAllowance(const char* list);
    void takeJson(const char* file);
    void takeDump(const char* file);
    void refuseOverwriting(const char* option, const std::string& file) const;
    void refuseDoubles() const;
    void derive();

    bool stopAtAny = false;
    std::array<bool, FK_NUM> stopKinds{};
    std::optional<unit_t<std::uint64_t>> gapUnit;
    std::optional<unit_t<std::uint64_t>> jitterUnit;
};
