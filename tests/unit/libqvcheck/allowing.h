#pragma once

#include "libqvcheck/allowance.h"

#include <string>
#include <string_view>

#include <gtest/gtest.h>

inline Allowance allowing(std::string_view list) {
    Allowance allowance;
    std::string wrong;
    EXPECT_TRUE(allowance.add(list, wrong)) << wrong;
    return allowance;
}
