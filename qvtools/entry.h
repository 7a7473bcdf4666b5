#pragma once

/// What both programs do: runs the command line's devices to their end.
///
/// `defdevice`: the device used without -d. `network`: SocketCAN, otherwise a device file. Returns the exit
/// status: 0 after help and after a run that ended; 1 if nothing could be run, which is reported, or if
/// standard output failed.
int runTool(int argc, char** argv, const char* defdevice, bool network);
