#pragma once

// Open the one descriptor that all devices of a run share. Both functions return it, or -1 after printing the
// reason. `devname` may be null, which cannot be opened.

/// A raw CAN socket on the interface `devname`, with local loopback off. `canFd`: FD frames are enabled; if
/// that fails a line says so, and the socket is still returned.
int openInterface(const char* devname, bool canFd);

/// The file `devname`, which must exist, for reading and writing. `openFlags`: additional flags for open().
int openDeviceFile(const char* devname, int openFlags);
