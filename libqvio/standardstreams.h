#pragma once

/// Opens /dev/null, or if that is missing a descriptor that refuses reads and writes, on each of the
/// descriptors 0 to 2 that is closed. Call it first: otherwise the next open() would return that number, and
/// the CAN socket would become standard output.
void fillStandardDescriptors();

/// Writes "[ERROR] " and `text` as a line on standard error. Returns EXIT_FAILURE.
int reportError(const char* text);

/// Flushes standard output. Returns `status`, or EXIT_FAILURE after printing an error line if not everything
/// could be written.
int finishOutput(int status);
