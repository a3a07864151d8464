#include "kterr.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>
#include <utime.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "kspath.h"
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

constexpr int T_WORD = 1, T_NOTE = 2, T_PLAIN = 3, T_NORIGHT = 4, T_NOLETTER = 5, T_NOTEXT = 6,
              T_FATAL = 7, T_INTERNAL = 8, T_DISABLED = 9, T_LOWER = 10, T_ODD = 11, T_STATUS = 12,
              T_ERROR = 13;

// A message file of the test's own, written as compiled without the
// compiler's checks, so that it may hold texts the compiler refuses.
constexpr const char* kMessages = R"(#define T_APP -1 /* "errtest" */
#define T_WORD 1 /* "[W] word" */
#define T_NOTE 2 /* "[  i]note %s" */
#define T_PLAIN 3 /* "plain %s" */
#define T_NORIGHT 4 /* "[W word" */
#define T_NOLETTER 5 /* "[ ] word" */
#define T_NOTEXT 6 /* "[W]" */
#define T_FATAL 7 /* "[F] the end" */
#define T_INTERNAL 8 /* "[Z] broken" */
#define T_DISABLED 9 /* "[D] hidden" */
#define T_LOWER 10 /* "[e]rror" */
#define T_ODD 11 /* "[Q] odd letter" */
#define T_STATUS 12 /* "[S] status" */
#define T_ERROR 13 /* "[E] error %s" */
)";

// The working directory for a while, with the path layer told of it.
struct InDir {
    explicit InDir(const std::string& dir) : guard(dir) { ksGetdefReset(); }
    ~InDir() { ksGetdefReset(); }
    ChdirGuard guard;
};

std::vector<std::string> names(const TempDir& dir) {
    std::vector<std::string> out;
    for (const auto& e : std::filesystem::directory_iterator(dir.path()))
        out.push_back(e.path().filename().string());
    std::sort(out.begin(), out.end());
    return out;
}

std::string pidLog(const std::string& base = "unknown") {
    return base + "-" + std::to_string(getpid()) + ".err";
}

// The log state of a process that has made no report yet.
void resetLog() {
    ktErrLogState& log = ktErr_LogV;
    if (log.stream) std::fclose(log.stream);
    log.stream = nullptr;
    log.usable = log.enabled = log.fresh = log.keep = log.first = 1;
    log.opened = 0;
    ktErrLogSetArgv0("unknown");
}

// Reports go to a file of the test's and logs to a directory of its own.
class Reports : public ::testing::Test {
protected:
    void SetUp() override {
        writeMessageFile(msgDir.path("errtest.kmb"), messagesFromSource(kMessages, kept));
        {
            InDir in(msgDir.path());
            msgfile = ktMsgFileOpen("errtest", nullptr, nullptr, nullptr, nullptr);
        }
        ASSERT_NE(msgfile, nullptr);
        out = std::tmpfile();
        ktErrFileV = out;
        setenv("KT_LOGDIR", logs.path().c_str(), 1);
        resetLog();
    }

    void TearDown() override {
        resetLog();
        unsetenv("KT_LOGDIR");
        ktErrFileV = stderr;
        std::fclose(out);
        ktErrStyleV[Stderr] = verbose;
        ktErrStyleV[StatusLine] = terse;
        ktMsgFileClose(msgfile);
    }

    // What was printed since the last call.
    std::string printed() {
        std::fflush(out);
        std::rewind(out);
        std::string text;
        for (int c; (c = std::fgetc(out)) != EOF;) text += static_cast<char>(c);
        std::fclose(out);
        out = std::tmpfile();
        ktErrFileV = out;
        return text;
    }

    TempDir msgDir, logs;
    std::vector<std::string> kept;  // the strings of the message file's records
    ktMsgHandle* msgfile = nullptr;
    FILE* out = nullptr;
};

using ReportsDeathTest = Reports;

TEST_F(Reports, TheDesignatorGivesSeverityAndTheTextBehindIt) {
    struct Case {
        int number;
        int severity;
        const char* text;
    };
    const Case cases[] = {
        {T_WORD, KT_ERR_WARNING, " word"},  // the blank belongs to the text
        {T_NOTE, KT_ERR_NOTE, "note x"},    // blanks before the letter are skipped
        {T_LOWER, KT_ERR_ERROR, "rror"},      {T_ODD, KT_ERR_ERROR, " odd letter"},
        {T_STATUS, KT_ERR_STATUS, " status"},
    };
    for (const Case& c : cases) {
        ktErrObject* e = ktErrBuild("here", msgfile, c.number, "x");
        EXPECT_EQ(ktErrSeverity(e), c.severity) << c.number;
        EXPECT_STREQ(ktErrText(e), c.text);
        EXPECT_STREQ(ktErrApp(e), "errtest");
        EXPECT_STREQ(e->location, "here");
        EXPECT_EQ(ktErrNum(e), c.number);
        EXPECT_EQ(e->next, nullptr);
        ktErrDestroy(e);
    }
}

TEST_F(Reports, AMessageWithoutDesignatorIsShownBehindAComplaint) {
    struct Case {
        int number;
        int complaint;
        const char* text;
    };
    const Case cases[] = {
        {T_PLAIN, KTM_ERR_NOLEFT, "plain x"},
        {T_NORIGHT, KTM_ERR_NORIGHT, "[W word"},
        {T_NOLETTER, KTM_ERR_NOLETTER, "[ ] word"},
        {T_NOTEXT, KTM_ERR_NOTEXT, "[W]"},
    };
    for (const Case& c : cases) {
        ktErrObject* e = ktErrBuild(" ", msgfile, c.number, "x");
        EXPECT_STREQ(ktErrApp(e), "ktlib");
        EXPECT_EQ(ktErrNum(e), c.complaint);
        EXPECT_EQ(ktErrSeverity(e), KT_ERR_ERROR);
        ASSERT_NE(e->next, nullptr);
        EXPECT_STREQ(ktErrApp(e->next), "errtest");
        EXPECT_EQ(ktErrNum(e->next), c.number);
        EXPECT_STREQ(ktErrText(e->next), c.text);
        EXPECT_STREQ(e->next->location, " ");
        EXPECT_EQ(e->next->next, nullptr);
        ktErrDestroy(e);
    }
}

// A foundation file whose own complaint lacks its designator.
constexpr const char* kBrokenLib = R"(#define KTM_APPLICATION -1 /* "ktlib" */
#define KTM_LABEL -2 /* "5.0" */
#define KTM_VERSIONREC 0 /* "5.3.2" */
#define KTM_ERR_NOLEFT 1101 /* "no designator in %d of %s" */
#define KTM_PLAIN 1200 /* "plain" */
)";

void buildTwiceWithBrokenComplaint() {
    ktErrObject* first = ktErrBuild(nullptr, ktMsgFile(), 1200);
    std::fprintf(stderr, "first=[%s]\n", ktErrString(first, Stderr));
    ktErrObject* second = ktErrBuild(nullptr, ktMsgFile(), 1200);
    std::fprintf(stderr, "second=[%s]\n", ktErrString(second, Stderr));
    ktErrDestroy(first);
    ktErrDestroy(second);
    std::filesystem::remove_all(std::filesystem::current_path());
    std::exit(0);
}

TEST(ComplaintBand, ABrokenComplaintIsMadeByHandAndNeverBuiltAgain) {
    // A process of its own: the foundation's message file opens once.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    TempDir dir;
    std::vector<std::string> kept;
    writeMessageFile(dir.path("ktlib.kmb"), messagesFromSource(kBrokenLib, kept));
    InDir in(dir.path());
    const std::string byHand =
        "ktlib: Error: in call to routine ktErrBuildVa(): Problem building internal Error "
        "Handling message.  Perhaps someone should not have alterned the ktlib message file.";
    EXPECT_EXIT(buildTwiceWithBrokenComplaint(), ::testing::ExitedWithCode(0),
                AllOf(HasSubstr("first=[" + byHand +
                                "\n+ktlib: Error 1101: in call to routine ktErrBuildVa(): no "
                                "designator in 1200 of ktlib\n+ktlib: Error 1200: plain]"),
                      HasSubstr("second=[" + byHand + "\n+ktlib: Error 1200: plain]")));
    GTEST_FLAG_SET(death_test_style, "fast");
}

TEST_F(Reports, StylesWithAndWithoutLocationAndNumber) {
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

    ktErrObject* odd = ktErrCreate(nullptr, "tool", -5, 9, "x");
    EXPECT_STREQ(ktErrString(odd, LogFile), "tool: Error -5: x");
    EXPECT_STREQ(ktErrString(odd, StatusLine), "tool-E--5: x");
    ktErrDestroy(odd);
    ktErrObject* user = ktErrCreate("loc", "USER_FORMATTED", 7, KT_ERR_WARNING, "as it stands");
    EXPECT_STREQ(ktErrString(user, Stderr), "as it stands");
    ktErrDestroy(user);
}

TEST_F(Reports, StreamsCountBySeverityAndKeepNoObjects) {
    ktErrStream* s = ktErrStreamCreate();
    for (int n : {T_STATUS, T_NOTE, T_WORD, T_WORD, T_ERROR, T_LOWER, T_DISABLED})
        ktErrReportBuild(s, " ", msgfile, n, "1");
    EXPECT_EQ(s->status, 1);
    EXPECT_EQ(s->notes, 1);
    EXPECT_EQ(s->warnings, 2);
    EXPECT_EQ(s->errors, 2);
    EXPECT_EQ(s->internals, 0);
    EXPECT_TRUE(ktDlistEmpty(s->list));
    EXPECT_EQ(printed(),
              "errtest: Status 12:  :  status\n"
              "errtest: Note 2:  : note 1\n"
              "errtest: Warning 1:  :  word\n"
              "errtest: Warning 1:  :  word\n"
              "errtest: Error 13:  :  error 1\n"
              "errtest: Error 10:  : rror\n");
    ktErrStreamDestroy(s);
}

TEST_F(Reports, AStreamWithItsAlertUpOutlivesItsOwner) {
    ktErrStream* s = ktErrStreamCreate();
    ktErrObject* e = ktErrCreate2("tool", KT_ERR_WARNING, "kept");
    ktErrStreamSetAlert(s, 1);
    ktErrStreamAdd(s, e);
    ktErrDestroy(e);  // the stream's reference keeps it
    EXPECT_STREQ(ktErrText(static_cast<ktErrObject*>(ktDlistTail(s->list))), "kept");
    ktErrStreamDestroy(s);
    EXPECT_EQ(s->dying, 1);
    EXPECT_EQ(s->warnings, 1);
    ktErrStreamSetAlert(s, 0);  // releases the objects and the stream
}

TEST_F(Reports, ReferencesAndTheHeadOfAChain) {
    ktErrObject* c = ktErrCreate2("c", 0, "c");
    ktErrObject* chain =
        ktErrAppend(ktErrAppend(ktErrCreate2("a", 0, "a"), ktErrCreate2("b", 0, "b")), c);
    ktErrCopy(chain);
    ktErrDestroy(chain);
    EXPECT_EQ(chain->next->refs, 1);
    ktErrDestroyTop(&chain, c);
    EXPECT_EQ(chain, c);
    EXPECT_STREQ(ktErrText(chain), "c");
    ktErrDestroy(chain);
}

TEST_F(Reports, APendingExceptionFollowsTheReportOnce) {
    ktExErrV = ktErrCreate2("thrower", KT_ERR_ERROR, "in flight");
    ktErrReportBuild(nullptr, "", msgfile, T_WORD);
    EXPECT_EQ(ktExErrV, nullptr);

    ktErrObject* pending = ktErrCreate2("thrower", KT_ERR_ERROR, "caught");
    ktExErrV = pending;
    ktErrReport(nullptr, ktErrAppend(ktErrCreate2("handler", KT_ERR_NOTE, "while"), pending));
    EXPECT_EQ(ktExErrV, nullptr);
    EXPECT_EQ(printed(),
              "errtest: Warning 1:  word\n+thrower: Error: in flight\n"
              "handler: Note: while\n+thrower: Error: caught\n");
}

TEST_F(Reports, LocationTextsShareOneBufferOf512) {
    EXPECT_STREQ(ktErrLocationLine("f.ini", 3), "f.ini, line 3");
    EXPECT_STREQ(ktErrLocationLine("f.ini", 0), "f.ini");
    EXPECT_STREQ(ktErrLocationRoutine("ktSprintf"), "in call to routine ktSprintf()");
    EXPECT_EQ(ktErrLocationFile(""), nullptr);
    EXPECT_EQ(ktErrLocationLine(nullptr, 4), nullptr);
    char* a = ktErrLocationFile("a");
    EXPECT_EQ(ktErrLocationFile("b"), a);
    EXPECT_STREQ(a, "b");
    EXPECT_EQ(std::string(ktErrLocationFile(std::string(600, 'x').c_str())), std::string(511, 'x'));
}

void fatalBehindTwoAbortHandlers(ktMsgHandle* msgfile) {
    ktAbortAddHandler([] { std::fputs("older handler\n", stderr); });
    ktAbortAddHandler([] { std::fputs("newer handler\n", stderr); });
    ktErrReportBuild(nullptr, " ", msgfile, T_FATAL);
    std::fputs("went on\n", stderr);
}

TEST_F(ReportsDeathTest, FatalEndsWithStatusThreeAndNeverReturns) {
    ktErrFileV = stderr;
    EXPECT_EXIT(fatalBehindTwoAbortHandlers(msgfile), ::testing::ExitedWithCode(3),
                AllOf(HasSubstr("\n*** Fatal error encountered ***\nerrtest: Fatal 7:  :  the end\n"
                                "newer handler\nolder handler\n"),
                      Not(HasSubstr("went on"))));
    std::vector<std::string> files = names(logs);
    ASSERT_EQ(files.size(), 1u);
    EXPECT_EQ(logs.read(files[0]), "errtest: Fatal 7:  :  the end\n");
}

void internalError(ktMsgHandle* msgfile) {
    rlimit none{0, 0};  // no core file left in the test's directory
    setrlimit(RLIMIT_CORE, &none);
    ktErrReportBuild(nullptr, "", msgfile, T_INTERNAL);
    std::fputs("went on\n", stderr);
}

TEST_F(ReportsDeathTest, InternalErrorDumpsCore) {
    ktErrFileV = stderr;
    EXPECT_EXIT(
        internalError(msgfile), ::testing::KilledBySignal(SIGABRT),
        AllOf(HasSubstr("*** Fatal error encountered ***\nerrtest: Internal Error 8:  broken\n"),
              Not(HasSubstr("went on"))));
}

TEST_F(Reports, DisabledIsLoggedButNotShown) {
    ktErrStream* s = ktErrStreamCreate();
    ktErrReportBuild(s, " ", msgfile, T_DISABLED);
    EXPECT_EQ(printed(), "");
    EXPECT_EQ(s->errors + s->warnings + s->notes + s->status + s->internals, 0);
    EXPECT_EQ(logs.read(pidLog()), "errtest: Disabled 9:  :  hidden\n");
    ktErrStreamDestroy(s);
}

TEST_F(Reports, TheFirstReportAboveStatusMakesTheLogInItsOwnStyle) {
    ktErrStyleV[Stderr] = terse;
    ktErrReportBuild(nullptr, " ", msgfile, T_STATUS);
    EXPECT_TRUE(names(logs).empty());
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    ktErrReportBuild(nullptr, "", msgfile, T_ERROR, "2");
    EXPECT_EQ(names(logs), std::vector<std::string>{pidLog()});
    EXPECT_EQ(logs.read(pidLog()), "errtest: Warning 1:  :  word\nerrtest: Error 13:  error 2\n");
    EXPECT_EQ(printed(),
              "errtest-S-12:  :  status\nerrtest-W-1:  :  word\nerrtest-E-13:  error 2\n");
}

TEST_F(Reports, AnOldLogOfTheSameNameGoesWhenTheLogOpens) {
    ktErrLogKeepFiles(0);
    logs.write("unknown.err", "earlier run\n");
    ktErrLogOpenFile();
    EXPECT_FALSE(logs.exists("unknown.err"));
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
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
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    std::vector<std::string> expected = {"other-1.err", "unknown-3.err", "unknown-4.err",
                                         "unknown-9.txt", pidLog()};
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(names(logs), expected);
}

TEST_F(Reports, TheProgramNamesTheLog) {
    ktErrLogSetArgv0("/masters/rd520.bdb");
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    EXPECT_TRUE(logs.exists(pidLog("rd520.bdb"))) << ::testing::PrintToString(names(logs));
    resetLog();
    ktErrLogSetArgv0("/masters/rd520.bdb");
    ktErrLogKeepFiles(0);
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    EXPECT_TRUE(logs.exists("rd520.err"));
}

TEST_F(Reports, AnUnwritableLogDirectoryCostsOneWarning) {
    logs.write("afile", "");
    const std::string dir = logs.path("afile");
    setenv("KT_LOGDIR", dir.c_str(), 1);
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    ktErrReportBuild(nullptr, " ", msgfile, T_ERROR, "1");
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    EXPECT_EQ(printed(), "ktErrLog: Warning 1120: Can't open error log file `" + dir + "/" +
                             pidLog() +
                             "', logging disabled.\n"
                             "errtest: Warning 1:  :  word\n"
                             "errtest: Error 13:  :  error 1\n"
                             "errtest: Warning 1:  :  word\n");
    EXPECT_EQ(names(logs), std::vector<std::string>{"afile"});
}

TEST_F(Reports, TheLogStaysInTheDirectoryItWasOpenedIn) {
    unsetenv("KT_LOGDIR");
    TempDir here, elsewhere;
    {
        InDir in(here.path());
        ktErrLogOpenFile();
    }
    {
        InDir in(elsewhere.path());
        ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    }
    EXPECT_TRUE(here.exists(pidLog()));
    EXPECT_TRUE(names(elsewhere).empty());
}

TEST_F(Reports, ALogNameTooLongForAPathFallsBackToUnknown) {
    unsetenv("KT_LOGDIR");
    TempDir here;
    InDir in(here.path());
    ktErrLogKeepFiles(0);
    const std::string fits(251, 'p');  // with ".err", 255 characters
    ktErrLogSetArgv0(fits.c_str());
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    EXPECT_TRUE(here.exists(fits + ".err"));
    EXPECT_EQ(printed(), "errtest: Warning 1:  :  word\n");

    resetLog();
    ktErrLogKeepFiles(0);
    const std::string over(252, 'p');
    ktErrLogSetArgv0(over.c_str());
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    EXPECT_EQ(printed(),
              "ktErrLog: Warning 1120: Error creating name for error log file, trying "
              "`unknown.err' instead (I was given KT_LOGDIR=`' and program=`" +
                  over + "').\nerrtest: Warning 1:  :  word\n");
    EXPECT_EQ(here.read("unknown.err"), "errtest: Warning 1:  :  word\n");
}

using ErrInitDeathTest = Reports;

char masterName[] = "rd520.bdb";

void initThenReport(ktMsgHandle* msgfile, const TempDir& logs) {
    int none = 0;
    char* args[] = {masterName, nullptr};
    ktErrInit(&none, args);
    std::fprintf(stderr, "old log %s\n", logs.exists("rd520.err") ? "kept" : "gone");
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    std::fprintf(stderr, "log=[%s]\n", logs.read("rd520.err").c_str());
    std::exit(0);
}

TEST_F(ErrInitDeathTest, WithoutAnEarlierReportTheLogIsNamedAfterTheMasterFile) {
    logs.write("rd520.err", "earlier run\n");
    EXPECT_EXIT(
        initThenReport(msgfile, logs), ::testing::ExitedWithCode(0),
        AllOf(HasSubstr("old log gone\n"), HasSubstr("log=[errtest: Warning 1:  :  word\n]")));
}

void reportInitReport(ktMsgHandle* msgfile, const TempDir& logs) {
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    int none = 0;
    char* args[] = {masterName, nullptr};
    ktErrInit(&none, args);
    ktErrReportBuild(nullptr, " ", msgfile, T_ERROR, "4");
    for (const std::string& n : names(logs))
        std::fprintf(stderr, "%s=[%s]\n", n.c_str(), logs.read(n).c_str());
    std::exit(0);
}

TEST_F(ErrInitDeathTest, AnEarlierReportKeepsItsLogToTheEnd) {
    EXPECT_EXIT(
        reportInitReport(msgfile, logs), ::testing::ExitedWithCode(0),
        AllOf(HasSubstr("=[errtest: Warning 1:  :  word\nerrtest: Error 13:  :  error 4\n]"),
              Not(HasSubstr("rd520"))));
}

void initFromTheCommandLine(ktMsgHandle* msgfile, const TempDir& logs) {
    char off[] = "-err.logging", out[] = "+err.stdout";
    char* args[] = {masterName, off, out, nullptr};
    int count = 3;
    ktErrInit(&count, args);
    ktErrReportBuild(nullptr, " ", msgfile, T_WORD);
    std::fprintf(stderr, "count=%d logs=%zu to %s\n", count, names(logs).size(),
                 ktErrFileV == stdout ? "stdout" : "other");
    std::exit(0);
}

TEST_F(ErrInitDeathTest, PreferencesSwitchTheLogOffAndTheReportsToStandardOutput) {
    EXPECT_EXIT(initFromTheCommandLine(msgfile, logs), ::testing::ExitedWithCode(0),
                HasSubstr("count=1 logs=0 to stdout\n"));
}

}  // namespace
