#pragma once

#include <string>
#include <utility>
#include <vector>

/// An argument vector as `main` gets it: writable strings, and a null pointer behind the last.
class Arguments {
public:
    /// The program's name, then `options`.
    explicit Arguments(const std::vector<std::string>& options, const std::string& program = "/usr/bin/qvcan")
        : texts(options) {
        texts.insert(texts.begin(), program);
        for (std::string& text : texts) {
            pointers.push_back(text.data());
        }
        pointers.push_back(nullptr);
    }
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    int count() const { return static_cast<int>(pointers.size()) - 1; }
    char** vector() { return pointers.data(); }

    /// Makes the program's name null.
    Arguments& withoutName() {
        pointers.front() = nullptr;
        return *this;
    }

private:
    std::vector<std::string> texts;
    std::vector<char*> pointers;
};
