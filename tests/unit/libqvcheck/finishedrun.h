#pragma once

#include "libqvcheck/report.h"

/// A run that passed, of 60,800 frames with 30,000 of a pattern, for its report; to be filled in.
struct FinishedRun {
    FinishedRun() {
        run.summary.frames = 60800;
        run.summary.pattern = 30000;
    }

    demands_t demands;
    Allowance allowance;
    InterfaceTable interfaces;
    runSettings_t settings{demands, allowance, interfaces, {}, {"run.log"}, true};
    inputCounts_t input;
    runResult_t run{{}, V_PASS, "end of input", true, &input, {}};
};
