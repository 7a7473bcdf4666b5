#pragma once

#include "libqvio/fdset.h"

#include <csignal>
#include <ctime>

/// Waits like `pselect` on the read, write and exception sets, any of which may be null; the highest `n` of
/// the sets is the descriptor count. Null `timeout`: no limit. Null `mask`: the signal mask is unchanged.
///
/// Returns the number of ready descriptors, which alone remain set; 0 on time-out; -1 with errno set on
/// failure. A signal does not end the wait: it continues for the remaining time.
int qvselect(FdSet* readSet, FdSet* writeSet, FdSet* exceptSet, const timespec* timeout,
             const sigset_t* mask);
