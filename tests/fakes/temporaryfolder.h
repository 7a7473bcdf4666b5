#pragma once

#include <cstdlib>
#include <ftw.h>
#include <string>

#include <system_error>
#include <unistd.h>

/// A folder for one test, removed with all that is in it.
class TemporaryFolder {
public:
    TemporaryFolder() {
        const char* const parent = std::getenv("TMPDIR");
        path = std::string(parent == nullptr ? "/tmp" : parent) + "/qv-test-XXXXXX";
        if (mkdtemp(path.data()) == nullptr) {
            throw std::system_error(errno, std::generic_category(), path);
        }
    }
    ~TemporaryFolder() {
        nftw(
            path.c_str(), [](const char* name, const struct stat*, int, FTW*) { return remove(name); }, 8,
            FTW_DEPTH | FTW_PHYS);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    std::string operator/(const char* name) const { return path + '/' + name; }

private:
    std::string path;
};

/// A row of a test: what stands in the way of a file of that name.
struct unusable_t {
    const char* name;
    const char* path; ///< below the test's folder
    const char* text; ///< the system's, of the reason
};
