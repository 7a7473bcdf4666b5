#include "qvtools/entry.h"

int main(int argc, char** argv) {
    return runTool(argc, argv, "/dev/qvcan0", false);
}
