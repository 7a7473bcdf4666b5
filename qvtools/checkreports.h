#pragma once

#include "libqvcheck/dumpreport.h"
#include "libqvcheck/reports.h"
#include "qvtools/checkcommandline.h"

#include <fstream>
#include <memory>
#include <vector>

/// The reports that a command line requests, with the files they are written to.
class CheckReports : public Reports {
public:
    /// All three outlive it. Throws QVException if a file cannot be created.
    CheckReports(const CheckCommandLine& _line, const runSettings_t& _settings, Judge& judge);

    /// The report that also needs the frames; null: none.
    DumpReport* dump() const { return frameDump; }

    /// False, after printing a message, if a file could not be written.
    bool areFilesWritten() const;

private:
    Report& own(std::unique_ptr<Report> report);
    void addText(Judge& judge);
    void addJsonFile();
    void addDump();

    const CheckCommandLine& line;
    const runSettings_t& settings;
    std::ofstream jsonFile;
    std::ofstream dumpFile;
    std::vector<std::unique_ptr<Report>> owned;
    DumpReport* frameDump = nullptr; ///< one of `owned`
};
