#pragma once

#include <exception>
#include <iostream>
#include <string>
#include <utility>

#include <gtest/gtest.h>

/// What was written to the standard streams, as another process would have seen it.
struct Captured {
    std::string out;
    std::string err;
    bool outGood; ///< the stream was still usable at the end
    bool errGood;
};

/// Runs `action` and takes what it writes to descriptors 1 and 2. The streams are usable again afterwards.
/// What `action` throws goes on to the caller, after the text was dropped.
///
/// A FakeSystem belongs inside of `action`: the capture itself opens and closes files.
template<typename Action>
Captured captured(Action&& action) {
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const bool failedBefore = testing::Test::HasFailure();
    std::exception_ptr exception;
    try {
        std::forward<Action>(action)();
    } catch (...) {
        exception = std::current_exception();
    }
    const bool outGood = std::cout.good();
    const bool errGood = std::cerr.good();
    std::cout.clear();
    std::cerr.clear();
    const std::string out = testing::internal::GetCapturedStdout();
    const std::string err = testing::internal::GetCapturedStderr();
    if (testing::Test::HasFailure() && !failedBefore) {
        std::cout << out << std::flush; // a failure within `action` is told there
    }
    if (exception) {
        std::rethrow_exception(exception);
    }
    return {out, err, outGood, errGood};
}
