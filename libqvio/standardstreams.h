#pragma once

/// Opens /dev/null, or where there is none a descriptor that refuses reads and writes, on each of the
/// descriptors 0 to 2 that is closed. Call it before anything else: the next open() would return that number,
/// and the CAN socket would become standard output.
void fillStandardDescriptors();

/// Writes "[ERROR] " and `text` as a line on standard error. Returns EXIT_FAILURE.
int reportError(const char* text);

/// Flushes standard output; returns `status`, or EXIT_FAILURE with a line that says so when not everything
/// could be written to it.
int finishOutput(int status);
