#include "kterr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktlist.h"
#include "ktmsg.h"
#include "msgwriter.h"
#include "tempdir.h"

namespace {

using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using Names = std::vector<std::string>;

constexpr int T_WORD = 1, T_NOTE = 2, T_PLAIN = 3, T_NORIGHT = 4, T_NOLETTER = 5, T_NOTEXT = 6,
              T_FATAL = 7, T_INTERNAL = 8, T_DISABLED = 9, T_LOWER = 10, T_ODD = 11, T_STATUS = 12,
              T_ERROR = 13;

// A message file of the test's own, written as compiled without the
// compiler's checks, so that it may hold texts the compiler refuses.
FileSpec errtestFile() {
    FileSpec spec;
    spec.app = "errtest";
    spec.messages = {
        {T_WORD, "[W] word"},     {T_NOTE, "[  i]note %s"},   {T_PLAIN, "plain %s"},
        {T_NORIGHT, "[W word"},   {T_NOLETTER, "[ ] word"},   {T_NOTEXT, "[W]"},
        {T_FATAL, "[F] the end"}, {T_INTERNAL, "[Z] broken"}, {T_DISABLED, "[D] hidden"},
        {T_LOWER, "[e]rror"},     {T_ODD, "[Q] odd letter"},  {T_STATUS, "[S] status"},
        {T_ERROR, "[E] error %s"}};
    return spec;
}

Names names(const TempDir& dir) {
    Names out;
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

std::string pidLog(const std::string& base = "unknown") {
    return base + "-" + std::to_string(getpid()) + ".err";
}

// Reports go to a file of the test's and logs to a directory of its own.
class Reports : public ::testing::Test {
protected:
    void SetUp() override {
        writeMessageFile(msgDir.path("errtest.kmb"), errtestFile());
        {
            ChdirGuard in(msgDir.path());
            msgfile = ktMsgFileOpen("errtest", nullptr, nullptr, nullptr, nullptr);
        }
        ASSERT_NE(msgfile, nullptr);
        out = std::tmpfile();
        ktErrFileV = out;
        setenv("KT_LOGDIR", logs.path().c_str(), 1);
        ktErrLogReset();
    }

    void TearDown() override {
        ktErrLogReset();
        unsetenv("KT_LOGDIR");
        ktErrFileV = stderr;
        std::fclose(out);
        ktErrStyleV[Stderr] = verbose;
        ktMsgFileClose(msgfile);
    }

    // What was printed since the last call.
    std::string printed() {
        std::fflush(out);
        std::rewind(out);
        std::string text;
        for (int c; (c = std::fgetc(out)) != EOF;) text += static_cast<char>(c);
        std::fclose(out);
        ktErrFileV = out = std::tmpfile();
        return text;
    }

    void report(int number, const char* arg = "1") {
        ktErrReportBuild(nullptr, " ", msgfile, number, arg);
    }

    TempDir msgDir, logs;
    ktMsgHandle* msgfile = nullptr;
    FILE* out = nullptr;
};

TEST_F(Reports, TheDesignatorGivesSeverityAndTextAndItsLackAComplaintInFront) {
    struct Case {
        int number;
        int complaint;  // 0: the designator is sound
        const char* shown;
    };
    const Case cases[] = {
        {T_WORD, 0, "errtest: Warning 1:  :  word"},  // the blank belongs to the text
        {T_NOTE, 0, "errtest: Note 2:  : note x"},    // blanks before the letter are skipped
        {T_LOWER, 0, "errtest: Error 10:  : rror"},
        {T_ODD, 0, "errtest: Error 11:  :  odd letter"},
        {T_STATUS, 0, "errtest: Status 12:  :  status"},
        {T_PLAIN, KTM_ERR_NOLEFT, "errtest: Error 3:  : plain x"},
        {T_NORIGHT, KTM_ERR_NORIGHT, "errtest: Error 4:  : [W word"},
        {T_NOLETTER, KTM_ERR_NOLETTER, "errtest: Error 5:  : [ ] word"},
        {T_NOTEXT, KTM_ERR_NOTEXT, "errtest: Error 6:  : [W]"},
    };
    for (const Case& c : cases) {
        ktErrObject* e = ktErrBuild(" ", msgfile, c.number, "x");
        std::string shown = ktErrString(e, LogFile);
        if (c.complaint) {
            std::string head = "ktlib: Error " + std::to_string(c.complaint) +
                               ": in call to routine ktErrBuildVa():  ";
            EXPECT_EQ(shown.substr(0, head.size()), head);
            shown = shown.substr(shown.find("\n+") + 2);
        }
        EXPECT_EQ(shown, c.shown);
        ktErrDestroy(e);
    }
}

void buildTwiceWithBrokenComplaint() {
    for (const char* which : {"first", "second"}) {
        ktErrObject* e = ktErrBuild(nullptr, ktMsgFile(), 1144);
        std::fprintf(stderr, "%s=[%s]\n", which, ktErrString(e, Stderr));
        ktErrDestroy(e);
    }
    std::filesystem::remove_all(std::filesystem::current_path());
    std::exit(0);
}

TEST_F(FreshProcess, ABrokenComplaintIsMadeByHandAndNeverBuiltAgain) {
    // A foundation file whose own complaint lacks its designator.
    TempDir dir;
    FileSpec lib;
    lib.app = "ktlib";
    lib.label = "5.0";
    lib.version = "5.3.2";
    lib.messages = {{KTM_ERR_NOLEFT, "no designator in %d of %s"}, {KTM_ERR_HELPSTATUS, "plain"}};
    writeMessageFile(dir.path("ktlib.kmb"), lib);
    ChdirGuard in(dir.path());
    const std::string byHand =
        "ktlib: Error: in call to routine ktErrBuildVa(): Problem building internal Error "
        "Handling message.  Perhaps someone should not have alterned the ktlib message file.";
    EXPECT_EXIT(buildTwiceWithBrokenComplaint(), ::testing::ExitedWithCode(0),
                AllOf(HasSubstr("first=[" + byHand +
                                "\n+ktlib: Error 1101: in call to routine ktErrBuildVa(): no "
                                "designator in 1144 of ktlib\n+ktlib: Error 1144: plain]"),
                      HasSubstr("second=[" + byHand + "\n+ktlib: Error 1144: plain]")));
}

TEST_F(Reports, StylesWithAndWithoutLocationAndNumberAndChains) {
    ktErrObject* located = ktErrBuild(" ", msgfile, T_WORD);
    ktErrObject* bare = ktErrCreate("", "tool", 0, KT_ERR_NOTE, "text");
    EXPECT_STREQ(ktErrString(located, Stderr), "errtest: Warning 1:  :  word");
    EXPECT_STREQ(ktErrString(located, StatusLine), "errtest-W-1:  :  word");
    EXPECT_STREQ(ktErrString(bare, Stderr), "tool: Note: text");
    EXPECT_STREQ(ktErrString(bare, AlertBox), "tool-I: text");
    ktErrAppend(located, bare);
    EXPECT_STREQ(ktErrString(located, LogFile), "errtest: Warning 1:  :  word\n+tool: Note: text");
    ktErrStyleV[Stderr] = terse;
    EXPECT_STREQ(ktErrString(located, Stderr), "errtest-W-1:  :  word\n+tool-I: text");
    ktErrDestroy(located);
    ktErrObject* user = ktErrCreate("loc", "USER_FORMATTED", 7, KT_ERR_WARNING, "as it stands");
    EXPECT_STREQ(ktErrString(user, Stderr), "as it stands");
    ktErrDestroy(user);
}

TEST_F(Reports, StreamsCountBySeverityAndDisabledIsLoggedButNotShown) {
    ktErrStream* s = ktErrStreamCreate();
    for (int n : {T_STATUS, T_NOTE, T_WORD, T_WORD, T_ERROR, T_LOWER, T_DISABLED})
        ktErrReportBuild(s, " ", msgfile, n, "1");
    EXPECT_EQ((std::vector<int>{s->status, s->notes, s->warnings, s->errors, s->internals}),
              (std::vector<int>{1, 1, 2, 2, 0}));
    EXPECT_TRUE(ktDlistEmpty(s->list));
    EXPECT_EQ(printed(),
              "errtest: Status 12:  :  status\nerrtest: Note 2:  : note 1\n"
              "errtest: Warning 1:  :  word\nerrtest: Warning 1:  :  word\n"
              "errtest: Error 13:  :  error 1\nerrtest: Error 10:  : rror\n");
    EXPECT_THAT(logs.read(pidLog()), HasSubstr("rror\nerrtest: Disabled 9:  :  hidden\n"));
    ktErrStreamDestroy(s);
}

void fatalBehindTwoAbortHandlers(ktMsgHandle* msgfile, int number) {
    noCoreFile();
    ktAbortAddHandler([] { std::fputs("older handler\n", stderr); });
    ktAbortAddHandler([] { std::fputs("newer handler\n", stderr); });
    ktErrReportBuild(nullptr, " ", msgfile, number);
    std::fputs("went on\n", stderr);
}

TEST_F(Reports, FatalEndsWithStatusThreeAndInternalDumpsCore) {
    ktErrFileV = stderr;
    EXPECT_EXIT(fatalBehindTwoAbortHandlers(msgfile, T_FATAL), ::testing::ExitedWithCode(3),
                AllOf(HasSubstr("\n*** Fatal error encountered ***\nerrtest: Fatal 7:  :  the end\n"
                                "newer handler\nolder handler\n"),
                      Not(HasSubstr("went on"))));
    ASSERT_EQ(names(logs).size(), 1u);
    EXPECT_EQ(logs.read(names(logs)[0]), "errtest: Fatal 7:  :  the end\n");
    EXPECT_EXIT(fatalBehindTwoAbortHandlers(msgfile, T_INTERNAL),
                ::testing::KilledBySignal(SIGABRT),
                AllOf(HasSubstr("*** Fatal error encountered ***\nerrtest: Internal Error 8:  :  "
                                "broken\nnewer handler\nolder handler\n"),
                      Not(HasSubstr("went on"))));
}

TEST_F(Reports, TheFirstReportAboveStatusMakesTheLogNamedAfterTheProgram) {
    ktErrLogSetArgv0("/masters/rd520.bdb");
    ktErrStyleV[Stderr] = terse;
    report(T_STATUS);
    EXPECT_TRUE(names(logs).empty());
    report(T_WORD);
    EXPECT_EQ(names(logs), Names{pidLog("rd520.bdb")});
    EXPECT_EQ(logs.read(pidLog("rd520.bdb")), "errtest: Warning 1:  :  word\n");  // its own style
    EXPECT_EQ(printed(), "errtest-S-12:  :  status\nerrtest-W-1:  :  word\n");
    // Keeping no older logs, the name has no number and an old file of it goes.
    ktErrLogReset();
    ktErrLogKeepFiles(0);
    logs.write("unknown.err", "earlier run\n");
    ktErrLogOpenFile();
    EXPECT_FALSE(logs.exists("unknown.err"));
    report(T_WORD);
    EXPECT_EQ(logs.read("unknown.err"), "errtest: Warning 1:  :  word\n");
}

TEST_F(Reports, KeepLogfilesLeavesThatManyOlderLogs) {
    ktErrLogKeepFiles(2);
    for (int i = 1; i <= 4; ++i) {
        std::string name = "unknown-" + std::to_string(i) + ".err";
        logs.write(name, "old\n");
        utimbuf t{1000 * i, 1000 * i};
        utime(logs.path(name).c_str(), &t);
    }
    logs.write("other-1.err", "");
    logs.write("unknown-9.txt", "");
    report(T_WORD);
    Names expected = {"other-1.err", "unknown-3.err", "unknown-4.err", "unknown-9.txt", pidLog()};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names(logs), expected);
}

TEST_F(Reports, WithoutLogDirTheLogStaysWhereItWasOpenedAndItsNameFitsAPath) {
    unsetenv("KT_LOGDIR");
    TempDir here, elsewhere;
    {
        ChdirGuard in(here.path());
        ktErrLogOpenFile();
    }
    {
        ChdirGuard in(elsewhere.path());
        report(T_WORD);
    }
    EXPECT_EQ(names(here), Names{pidLog()});
    EXPECT_TRUE(names(elsewhere).empty());
    printed();

    ChdirGuard in(here.path());
    ktErrLogReset();
    ktErrLogKeepFiles(0);
    const std::string fits(251, 'p');  // with ".err", 255 characters
    ktErrLogSetArgv0(fits.c_str());
    report(T_WORD);
    EXPECT_TRUE(here.exists(fits + ".err"));
    ktErrLogReset();
    ktErrLogKeepFiles(0);
    ktErrLogSetArgv0((fits + "p").c_str());
    report(T_WORD);
    EXPECT_EQ(printed(),
              "errtest: Warning 1:  :  word\nktErrLog: Warning 1120: Error creating name for error "
              "log file, trying `unknown.err' instead (I was given KT_LOGDIR=`' and program=`" +
                  fits + "p').\nerrtest: Warning 1:  :  word\n");
    EXPECT_EQ(here.read("unknown.err"), "errtest: Warning 1:  :  word\n");
}

}  // namespace
