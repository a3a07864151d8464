// The reports of a run as the user sees them: severity, number and
// location on standard error, the log file beside them, and the summary's
// counts, which follow the translator's own tally.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "runprog.h"
#include "tempdir.h"

namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

// The logs of earlier runs in `dir`, by name.
std::vector<std::string> logs(const TempDir& dir) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir.path())) {
        std::string name = e.path().filename().string();
        if (name.ends_with(".err")) out.push_back(name);
    }
    return out;
}

int count(const std::string& text, const std::string& what) {
    int n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

// A library "cells" holding and2.1 whose model already exists.
void modelExists(const TempDir& dir) {
    dir.write("scrivet.ini", "DIR [w] ./cells (cells)\n");
    dir.write("cells/sym/and2.1", "V 5\nE\n");
    dir.write("cells/behv/and2.vhd", "mine");
}

TEST(RunReports, AWarningShowsItsNumberAndBlankLocationAndEntersTheLog) {
    TempDir dir;
    modelExists(dir);
    RunResult r = runEntgen(dir.path(), {"cells:and2"}, "no\n");
    EXPECT_EQ(r.status, 0);
    EXPECT_THAT(r.err, StartsWith("entgen: Warning 558:  : "));
    EXPECT_THAT(r.err, HasSubstr("Completed for CELLS:AND2.1: 0 error(s), 1 warning(s)"));
    std::vector<std::string> files = logs(dir);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_THAT(files[0], StartsWith("unknown-"));
    // The summary is a Status: shown, never logged.
    std::string log = dir.read(files[0]);
    EXPECT_THAT(log, StartsWith("entgen: Warning 558:  : "));
    EXPECT_EQ(count(log, "\n"), 1) << log;
}

TEST(RunReports, AnUnwritableLogDirectoryCostsOneWarningAndIsNotCounted) {
    TempDir dir;
    modelExists(dir);
    dir.write("notadir", "");
    RunResult r =
        runEntgen(dir.path(), {"cells:and2"}, "no\n", {"KT_LOGDIR=" + dir.path("notadir")});
    EXPECT_EQ(r.status, 0);
    EXPECT_EQ(count(r.err, "ktErrLog: Warning 1120: "), 1) << r.err;
    EXPECT_EQ(count(r.err, "1120"), 1);
    EXPECT_THAT(r.err, HasSubstr("Completed for CELLS:AND2.1: 0 error(s), 1 warning(s)"));
    EXPECT_TRUE(logs(dir).empty());
}

TEST(RunReports, AMissingMessageFileEndsTheRunThroughAFatalReport) {
    TempDir dir;
    RunResult r = runEntgen(dir.path(), {"and2"}, "", {"KDIR=" + dir.path()});
    EXPECT_EQ(r.status, 3);
    const std::string report =
        "ENTGEN: Fatal: Couldn't find message file entgen in the local or ksKDIR directories";
    EXPECT_EQ(r.err, "\n*** Fatal error encountered ***\n" + report + "\n");
    std::vector<std::string> files = logs(dir);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(dir.read(files[0]), report + "\n");
    EXPECT_THAT(r.out, Not(HasSubstr("Processing design")));
}

}  // namespace
