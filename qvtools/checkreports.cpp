#include "qvtools/checkreports.h"

#include "libqvcheck/findinglimit.h"
#include "libqvcheck/hostclock.h"
#include "libqvcheck/jsonreport.h"
#include "libqvcheck/textreport.h"
#include "libqvio/standardstreams.h"
#include "libqvutil/exception.h"
#include "libqvutil/utility.h"

#include <cerrno>
#include <iostream>

namespace {

void create(std::ofstream& file, const std::string& name) {
    file.open(name);
    const int savedErrno = errno;
    if (!file) {
        throw QVException(name + ": " + errorText(savedErrno));
    }
}

bool isWritten(const std::ofstream& file, const std::string& name) {
    if (!file) {
        reportError(("Cannot write to " + name).c_str());
    }
    return static_cast<bool>(file);
}

TextReport::detail_t detailOf(const CheckCommandLine& line) {
    return line.quiet > 0 ? TextReport::VERDICT : line.verbose > 0 ? TextReport::FRAMES : TextReport::USUAL;
}

} // namespace

CheckReports::CheckReports(const CheckCommandLine& _line, const runSettings_t& _settings, Judge& judge)
    : line(_line),
      settings(_settings) {
    if (line.json) {
        add(own(std::make_unique<JsonReport>(std::cout, settings)));
    } else if (line.quiet < 2) {
        addText(judge);
    }
    if (!line.jsonFile.empty()) {
        addJsonFile();
    }
    if (!line.dumpFile.empty()) {
        addDump();
    }
}

Report& CheckReports::own(std::unique_ptr<Report> report) {
    owned.push_back(std::move(report));
    return *owned.back();
}

void CheckReports::addText(Judge& judge) {
    auto text = std::make_unique<TextReport>(std::cout, settings, detailOf(line));
    if (line.verbose > 1 && line.quiet == 0) {
        text->watch(judge);
    }
    Report& report = own(std::move(text));
    const bool limited = !settings.recorded && line.quiet == 0;
    add(limited ? own(std::make_unique<FindingLimit>(report, std::cout, monotonicNanoseconds)) : report);
}

void CheckReports::addJsonFile() {
    create(jsonFile, line.jsonFile);
    add(own(std::make_unique<JsonReport>(jsonFile, settings)));
}

void CheckReports::addDump() {
    create(dumpFile, line.dumpFile);
    auto report = std::make_unique<DumpReport>(dumpFile, settings);
    frameDump = report.get();
    add(own(std::move(report)));
}

bool CheckReports::areFilesWritten() const {
    const bool json = isWritten(jsonFile, line.jsonFile);
    return isWritten(dumpFile, line.dumpFile) && json;
}
