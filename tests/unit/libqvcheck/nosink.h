#pragma once

#include "libqvcheck/judge.h"

/// Of a judge whose findings are not looked at.
class NoSink : public FindingSink {
    void finding(const finding_t&) override {}
    void stream(const streamSummary_t&, std::int64_t) override {}
};
