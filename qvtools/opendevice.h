#pragma once

// The one descriptor that all devices of a run share. Both functions return it, or -1 after the reason has
// been printed. `devname` may be null, which cannot be opened.

/// A raw CAN socket on the interface `devname`, with local loopback off. `canFd`: FD frames are enabled;
/// where that fails a line says so, and the socket is returned.
int openInterface(const char* devname, bool canFd);

/// The file `devname`, which must exist, for reading and writing. `openFlags`: flags for open() to add.
int openDeviceFile(const char* devname, int openFlags);
