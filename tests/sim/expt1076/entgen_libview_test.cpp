// The program over the project database's view of the library list: a
// symbol is read from the first library of the view that holds it, and a
// view that can't start, or a symbol it can't find, ends the run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "runprog.h"
#include "tempdir.h"

namespace {

using ::testing::HasSubstr;

const char* kAnd2 = "V 5\nY 1\nP 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 A\nE\n";

class LibraryView : public ::testing::Test {
protected:
    void SetUp() override {
        dir.write("entgen.ini", "ENTGEN 5.3.1\n");
        dir.write("cells/sym/and2.1", kAnd2);
        dir.mkdir("work");
    }
    RunResult run(const std::string& libraries, const std::vector<std::string>& args,
                  const std::vector<std::string>& env = {}) {
        dir.write("scrivet.ini", libraries);
        return runEntgen(dir.path(), args, "", env);
    }
    TempDir dir;
};

TEST_F(LibraryView, TheSymbolOfTheFirstLibraryThatHoldsIt) {
    const std::string view = "DIR [p] ./work (work)\nDIR [r] ./cells (cells)\n";
    RunResult r = run(view, {"-d", "out", "and2"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_TRUE(dir.exists("out/and2.vhd"));
    // With the listings of the libraries cached as well.
    r = run(view, {"-o", "-d", "out", "and2"}, {"RDBDIRCACHE=1"});
    EXPECT_EQ(r.status, 0) << r.err;
    // A symbol in no library: the output directory named, nothing else
    // looked for it before the database.
    r = run(view, {"-d", "out", "or3"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("entgen: Error 541:  - sym or3.1:  Cannot read the symbol.\n"));
    EXPECT_FALSE(dir.exists("out/or3.vhd"));
}

TEST_F(LibraryView, ALineThatOnlyTheLibraryListTakesEndsTheStart) {
    // The mark l is the library list's alone.
    RunResult r = run("DIR [pl] ./cells (cells)\n", {"-d", "out", "cells:and2"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out,
                HasSubstr("larkmoor: Error 418:  The library list scrivet.ini opens no primary "
                          "library: one DIR line needs the access [p] or 0.\n"
                          "larkmoor: Error 419:  scrivet.ini, line 1: DIR [] ./cells (cells): "
                          "the library was not opened (status 32).\n"
                          "larkmoor: Error 421:  The design database could not be opened.\n"));
    EXPECT_THAT(r.err,
                HasSubstr("entgen: Error 548:  The design database could not be started.\n"));
    EXPECT_FALSE(dir.exists("out/and2.vhd"));
}

TEST_F(LibraryView, TheMasterDatabaseDecidesWhetherTheDatabaseStarts) {
    const std::string view = "DIR [p] ./cells (cells)\n";
    // The text form, chosen by RDBASCII, starts it as the binary one does.
    RunResult r = run(view, {"-d", "out", "cells:and2"}, {"RDBASCII=1"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_THAT(r.out, HasSubstr("Setting Tarnhold ASCII mode to ON..."));
    EXPECT_TRUE(dir.exists("out/and2.vhd"));

    // A text master in the current directory wins the search; one that
    // doesn't parse ends the start like a missing one.
    dir.write("rd520.mdb", "master rd520 {\n  database System\n");
    r = run(view, {"-o", "-d", "out", "cells:and2"}, {"RDBASCII=1"});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("larkmoor: Error 417:"));
    EXPECT_THAT(r.err,
                HasSubstr("entgen: Error 548:  The design database could not be started.\n"));

    // No master database anywhere: the message files alone along KDIR.
    dir.mkdir("support");
    for (const char* f : {"entgen.kmb", "larkmoor.kmb", "ktlib.kmb"})
        std::filesystem::copy_file(std::string(ENTGEN_SHARE_DIR) + "/" + f,
                                   dir.path(std::string("support/") + f));
    r = run(view, {"-o", "-d", "out", "cells:and2"}, {"KDIR=" + dir.path("support")});
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.out, HasSubstr("Could not open file: rd520.bdb\nlarkmoor: Error 417:  The "
                                 "project database could not be started (status 20).\n"));
    EXPECT_THAT(r.err,
                HasSubstr("entgen: Error 548:  The design database could not be started.\n"));
}

}  // namespace
