#pragma once

#include <array>
#include <cstddef>
#include <initializer_list>
#include <iosfwd>
#include <string>
#include <vector>

#include <getopt.h>

/// Whether an option takes an argument.
enum argument_t { A_NONE = 0, A_REQUIRED = 1, A_OPTIONAL = 2 };

/// A table of command line options on top of the system library's long-option parser, and the help text
/// generated from it.
///
/// The parser's state (`optind`, `optarg`) is process-wide: use one table at a time, on one thread.
class Options {
public:
    /// One row as given by the caller. The strings pointed to must outlive the table.
    struct option_t {
        /// An option without argument.
        option_t(int _optchar, const char* _optstring, std::string _help);
        /// An option with an argument, shown as `_argHelp` (null: `defaultArgHelp`), which is optional unless
        /// `_required`.
        option_t(int _optchar, const char* _optstring, const char* _argHelp, bool _required,
                 std::string _help);

        int optchar;           ///< what `get` returns: up to 255 the short letter, else (or 0) long form only
        const char* optstring; ///< long name without dashes
        const char* argHelp;   ///< the word for the argument in the help; null: no argument
        bool required;         ///< the argument must be given; meaningless without one
        std::string help;      ///< may contain line breaks
    };

    /// A row with derived values. The widths are display columns, 0 until `update`.
    struct intOption_t : option_t {
        explicit intOption_t(const option_t& row);

        argument_t arg;
        std::size_t argWidth = 0;
        std::size_t shortOptWidth = 0;
        std::size_t longOptWidth = 0;
    };

    typedef std::vector<intOption_t> optionsVec_t;
    typedef std::vector<::option> longOptionsVec_t;

    /// Appends rows: `options.add()(row)(row)`. Holds a reference to the table.
    class Adder {
    public:
        explicit Adder(Options& _options) : options(_options) {}
        Adder& operator()(const option_t& row);

    private:
        Options& options;
    };

    /// `cols`: the output width at which `print` wraps help texts; 0 means no wrapping.
    Options(std::initializer_list<option_t> list, std::size_t _cols);

    void reserve(std::size_t n);
    Adder add();

    /// Derives what `get` and `print` need from the rows.
    void update();

    /// Resets the system's parser: call it before the first `get` of each argument vector.
    static void restart();

    /// The next option's letter, its argument in the system's `optarg`; -1 at the end; '?' or ':' for an
    /// option that is unknown or lacks its argument. Prints nothing itself. The system's `optind` is the
    /// index of the next argument.
    int get(int argc, char** argv);

    /// Writes the rows in table order: short form, long form with the argument word, help text; aligned in
    /// columns, with continuation lines of a help text below its first.
    std::ostream& print(std::ostream& out) const;

    /// What `print` writes.
    std::string toString() const;

private:
    static const char* const defaultArgHelp;
    static const std::array<int, 3> argumentVals; ///< maps argument_t to the system's codes

    void append(const option_t& row);
    static std::string longForm(const intOption_t& row);

    optionsVec_t options;
    std::size_t cols;
    bool changed = true; ///< rows were added since the last `update`
    std::size_t maxShortOptWidth = 0;
    std::size_t maxLongOptWidth = 0;
    std::string singleCharSwitches;
    longOptionsVec_t longOptions;
};

/// The rows that every tool of the family begins with.
extern const Options::option_t optionHelp;
extern const Options::option_t optionVerbose;
