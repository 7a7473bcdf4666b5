#pragma once

#include "libqvcheck/dumpreport.h"
#include "libqvcheck/reports.h"
#include "qvtools/checkcommandline.h"

#include <fstream>
#include <memory>
#include <vector>

/// The reports that a command line asks for, with the files they are written to.
class CheckReports : public Reports {
public:
    /// All three outlive it. Throws QVException when a file cannot be made.
    CheckReports(const CheckCommandLine& _line, const runSettings_t& _settings, Judge& judge);

    /// The one that wants the frames as well; null: none does.
    DumpReport* dump() const { return frameDump; }

    /// False, with a message, when a file could not be written.
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
