#include "libqvio/logutil.h"

#include "libqvutil/line.h"
#include "libqvutil/utility.h"

#include <iostream>

LogMutex LogUtil::logMutex;

void LogUtil::debugLine(const char* function, const std::string& text) {
    Line line;
    line << "[DEBUG] BZ::" << function << "() " << text;
    const Lock lock;
    line.writeLine(std::cout);
}

void LogUtil::errorLine(const char* function, const char* text, int errnum) {
    Line line;
    line << "[ERROR] BZ::" << function << "() " << text;
    const Lock lock;
    line.write(std::cerr);
    printError(errnum);
}

void LogUtil::printError(int errnum) {
    (Line() << ": " << errorText(errnum)).writeLine(std::cerr);
}
