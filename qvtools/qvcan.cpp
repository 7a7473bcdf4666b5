#include "qvtools/entry.h"

int main(int argc, char** argv) {
    return runTool(argc, argv, "can0", true);
}
