// The program over the project database's view of the library list: a
// symbol is read from the first library of the view that holds it, and a
// view that can't start, or a symbol it can't find, ends the run.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>

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

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// The example's symbols in the plain library "cells" and packed into
// "packed", by index records of 30 bytes behind `front`. Returns their
// names in the order of the data file.
std::set<std::string> pack(const TempDir& dir, const std::string& front = "") {
    const std::string from = ENTGEN_EXAMPLES_DIR "/cells/sym/";
    std::set<std::string> names;
    for (const auto& e : std::filesystem::directory_iterator(from))
        names.insert(e.path().filename().string());
    std::string data, index = front;
    for (const std::string& name : names) {
        dir.write("cells/sym/" + name, readFile(from + name));
        std::string rec = name + " " + std::to_string(data.size());
        index += rec + std::string(30 - rec.size(), ' ');
        data += readFile(from + name);
    }
    dir.write("packed/sym.lib", data);
    dir.write("packed/sym.tbl", index);
    return names;
}

TEST_F(LibraryView, APackedSymbolTranslatesAsThePlainOne) {
    dir.write("entgen.ini", readFile(ENTGEN_EXAMPLES_DIR "/entgen.ini"));
    const std::string plain = "DIR [p] ./cells (cells)\n";
    const std::string packed = "DIR [p] ./work (work)\nDIR [m] ./packed (cells)\n";
    // The model of `name` from a run on `view`, or the run's errors.
    auto model = [&](const std::string& view, const std::string& name, const std::string& cache) {
        RunResult r = run(view, {"-o", "-d", "out", "cells:" + name}, {"RDBMEGACACHE=" + cache});
        const std::string file = dir.path("out/" + name.substr(0, name.find('.')) + ".vhd");
        return r.status == 0 ? readFile(file) : r.err;
    };
    const std::set<std::string> names = pack(dir);
    ASSERT_GE(names.size(), 8u);
    for (const std::string& name : names) {
        const std::string expected = model(plain, name, "1");
        ASSERT_NE(expected.find("entity "), std::string::npos) << expected;
        EXPECT_EQ(model(packed, name, "1"), expected) << name;
        EXPECT_EQ(model(packed, name, "0"), expected) << name;
    }
    // A record that begins with the wanted name and stands first is taken
    // only when the index isn't cached: inv.1 then reads as and2.1.
    pack(dir, "inv.10 0" + std::string(22, ' '));
    const std::string inv = model(plain, "inv.1", "1");
    EXPECT_EQ(model(packed, "inv.1", "1"), inv);
    EXPECT_NE(model(packed, "inv.1", "0").find("B : IN bit"), std::string::npos);
    EXPECT_EQ(inv.find("B : IN bit"), std::string::npos);
}

}  // namespace
