#include "libqvutil/exception.h"

#include <sstream>
#include <stdexcept>

#include <gtest/gtest.h>

TEST(QVException, CarriesItsText) {
    EXPECT_STREQ(QVException("record too long").what(), "record too long");
}

TEST(QVException, IsWrittenAsItsText) {
    std::ostringstream out;
    out << QVException("record too long") << ".";
    EXPECT_EQ(out.str(), "record too long.");
}

TEST(QVException, IsCaughtAsARuntimeError) {
    try {
        throw QVException("thrown");
    } catch (const std::runtime_error& exception) {
        EXPECT_STREQ(exception.what(), "thrown");
    }
}
