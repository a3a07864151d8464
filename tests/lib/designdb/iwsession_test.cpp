#include "iwsession.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "iwfixture.h"
#include "iwmem.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "rdb_api.h"

namespace {

using ::testing::internal::CaptureStderr;
using ::testing::internal::CaptureStdout;
using ::testing::internal::GetCapturedStderr;
using ::testing::internal::GetCapturedStdout;

using SessionStart = DatabaseTest;

// The session's own messages on standard output while it opens.
std::string failedStart() {
    CaptureStdout();
    int ok = iwinit();
    std::string out = GetCapturedStdout();
    EXPECT_EQ(ok, 0);
    EXPECT_EQ(Iinitdone, 0);
    return out;
}

TEST_F(SessionStart, OpensOnceAndEndsEverythingItOpened) {
    open();
    int pool = Idatamem;
    EXPECT_NE(MsgFileID, nullptr);
    EXPECT_NE(IprojectIod, nullptr);
    EXPECT_EQ(iwinit(), 1);
    EXPECT_EQ(Idatamem, pool);
    EXPECT_EQ(rdbInit(1, "5.3.1", 0), rdbStatALREADY);

    iwfinish();
    EXPECT_EQ(Iinitdone, 0);
    EXPECT_EQ(MsgFileID, nullptr);
    EXPECT_EQ(IprojectIod, nullptr);
    EXPECT_EQ(Ireftop, nullptr);
    EXPECT_EQ(Iliblist, nullptr);
    EXPECT_EQ(rdbExit(), rdbStatINIT);  // the session ended the project database
    iwfinish();                         // no session: nothing happens

    open();  // and a new one starts afresh
    EXPECT_NE(Idatamem, pool);
    EXPECT_EQ(iwmsgcount(7), 0);
}

TEST_F(SessionStart, WithoutALibraryListNothingOpens) {
    std::filesystem::remove(dir.path("scrivet.ini"));
    // The message files beside us, and a KDIR that holds nothing.
    for (const char* file : {"larkmoor.kmb", "ktlib.kmb", "rd520.bdb"})
        std::filesystem::copy_file(std::string(ENTGEN_SHARE_DIR) + "/" + file, dir.path(file));
    dir.mkdir("empty");
    kdir.emplace("KDIR", dir.path("empty").c_str());
    resetSearch();
    EXPECT_EQ(failedStart(),
              "larkmoor: Error 415:  Cannot find the initialization file scrivet.ini in the "
              "current directory or in a directory of KDIR.\n"
              "larkmoor: Error 421:  The design database could not be opened.\n");
    EXPECT_EQ(iwmsgcount(4), 2);
}

// A list without a primary library shows in the run of the program; here
// the lines that fail for the project database's own reasons.
TEST_F(SessionStart, TheLinesOfTheLibraryListThatFail) {
    // A read-only library that isn't there leaves no line to report; a
    // line listing a library again is told when the start fails.
    dir.write("scrivet.ini",
              "; the libraries\nDIR [p] ./cells (cells)\nDIR [rm] ./cells (odd)\n"
              "DIR [r] ./gone (gone)\ndir [r] ./cells\n");
    EXPECT_EQ(failedStart(),
              "larkmoor: Error 419:  scrivet.ini, line 3: DIR [] ./cells (odd): the library was "
              "not opened (status 32).\n"
              "larkmoor: Error 419:  scrivet.ini, line 5: DIR [r] ./cells (): the library was not "
              "opened (status 53).\n"
              "larkmoor: Error 421:  The design database could not be opened.\n");
}

TEST_F(SessionStart, OneLibraryRecordForEachPathNewestFirst) {
    dir.mkdir("gates/sym");
    dir.write("scrivet.ini", "DIR [p] ./cells (cells)\nDIR [r] ./gates (gates)\n");
    open();
    ASSERT_NE(Iliblist, nullptr);
    ASSERT_NE(Iliblist->next, nullptr);
    EXPECT_EQ(Iliblist->next->next, nullptr);
    std::string gates = dir.path("gates");
    for (char& c : gates) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    EXPECT_STREQ(Iliblist->path, gates.c_str());
    EXPECT_NE(Iliblist->object, nullptr);
    EXPECT_EQ(Iliblist->kind, static_cast<uint32_t>(IW_KLIB));
    EXPECT_EQ(imclib(dir.path("GATES").c_str()), Iliblist);  // any case
    EXPECT_EQ(messages(), "");

    EXPECT_EQ(imclib(nullptr), nullptr);
    EXPECT_EQ(imclib(""), nullptr);
    EXPECT_EQ(imclib(std::string(256, 'p').c_str()), nullptr);
    EXPECT_EQ(imclib("/lib'x"), nullptr);
    EXPECT_NE(imclib(std::string(255, 'p').c_str()), nullptr);
    const std::string skipped =
        "larkmoor: Warning 437:  The library is left out of the list (imclibgrp).\n";
    EXPECT_EQ(messages(),
              "larkmoor: Warning 433:  A library was named without a path.\n" + skipped +
                  "larkmoor: Warning 441:  A library was named with an empty path.\n" + skipped +
                  "larkmoor: Warning 494:  The library path " + std::string(256, 'p') +
                  " is 256 characters long; a path must stay below 256.\n" + skipped +
                  "larkmoor: Warning 498:  The library path /lib'x holds a single quote "
                  "or a line feed.\n" +
                  skipped);
}

// The names of a symbol's pins, in order, or "none" for no symbol.
std::string pinNames(const char* name) {
    std::string copy = name;
    iwsym* s = iwrdsym(copy.data());
    if (!s) return "none";
    std::string out;
    for (const iwspin* p = s->pins; p; p = p->next) out += p->name;
    return out;
}

TEST_F(SessionStart, RDBDIRCACHEOfOneListsEachLibraryOnce) {
    const std::string pins =
        "V 5\nP 1\nL 1 0 0 8 0 1 0 0 A\nP 1\nL 1 0 0 8 0 1 0 0 B\n"
        "P 1\nL 1 0 0 8 0 1 0 0 C\n";
    for (const char* value : {"1", "2"}) {
        SCOPED_TRACE(value);
        EnvGuard cache{"RDBDIRCACHE", value};
        dir.write("cells/sym/p.1", pins);
        dir.write("cells/sym/p.pin", "C A\nB\n");
        dir.write("cells/sym/q.1", pins);
        open();
        EXPECT_EQ(pinNames("p.1"), "CAB");
        // What is made after the first question is not in the listing.
        dir.write("cells/sym/q.pin", "B C A\n");
        dir.write("cells/sym/r.1", pins);
        const bool cached = *value == '1';
        EXPECT_EQ(pinNames("q.1"), cached ? "ABC" : "BCA");
        EXPECT_EQ(pinNames("r.1"), cached ? "none" : "ABC");
        iwfinish();
        resetSearch();
        std::filesystem::remove(dir.path("cells/sym/q.pin"));
        std::filesystem::remove(dir.path("cells/sym/r.1"));
    }
}

using Messages = DatabaseTest;

TEST_F(Messages, CountedBySeverityAndShownByMask) {
    open();
    char* shown = nullptr;
    size_t shownLength = 0;
    FILE* warnings = open_memstream(&shown, &shownLength);
    iwmsgsetup(2, warnings, "[%s]");
    EXPECT_EQ(iwmsgsetup(7, nullptr, "%s"), 0);
    iwmsghndlr(IW_ERROR, 421);
    iwmsghndlr(IW_ERRORCONT, 294, 3);  // continues the error: not counted again
    iwmsghndlr(IW_WARNING, 217);
    EXPECT_EQ(iwmsgcount(4), 1);
    EXPECT_EQ(iwmsgcount(2), 1);
    EXPECT_EQ(iwmsgcount(6), 2);
    EXPECT_EQ(iwmsgcount(1), 0);
    EXPECT_EQ(messages(),
              "larkmoor: Error 421:  The design database could not be opened.\n"
              "larkmoor: Note 294:  The list names 3 pins.\n"
              "larkmoor: Warning 217:  A scratch buffer was given back twice.\n");
    std::fclose(warnings);
    EXPECT_EQ(std::string(shown, shownLength),
              "[larkmoor: Warning 217:  A scratch buffer was given back twice.\n]");
    std::free(shown);

    EXPECT_STREQ(iwmsggen(514, 2),
                 "larkmoor: Error 514:  2 is no mode for combining heterogeneous symbols: the "
                 "mode is 0 or 1.");
    EXPECT_EQ(messages(), "");
    iwmsgclose();
    EXPECT_EQ(iwmsgcount(7), 0);
}

TEST_F(Messages, SwitchesOfTheRun) {
    CaptureStderr();
    EXPECT_EQ(iwexpbus(), 0);
    EXPECT_EQ(GetCapturedStderr(), "Error: the iwinit() routine must be called before IWEXPBUS.\n");
    open();
    EXPECT_EQ(iwexpbus(), 1);
    EXPECT_EQ(iwexpbus(), 0);
    EXPECT_EQ(Iexpand, 0);
    EXPECT_EQ(iwcombine_hetero(1), 1);
    EXPECT_EQ(iwcombine_hetero(2), 1);
    EXPECT_EQ(iwcombine_hetero(0), 0);
    EXPECT_EQ(messages(),
              "larkmoor: Error 514:  2 is no mode for combining heterogeneous symbols: the mode "
              "is 0 or 1.\n");
}

}  // namespace
