#include "ktpref.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "freshprocess.h"
#include "kspath.h"
#include "kterr.h"
#include "ktex.h"
#include "ktlib_msg.h"
#include "ktstr.h"
#include "tempdir.h"
#include "thrown.h"

namespace {

using ::testing::ExitedWithCode;
using ::testing::HasSubstr;
using Args = std::vector<std::string>;

// A group "tool" of options of several types, in a directory of its own
// that holds the initialization files; every test starts without groups
// or file data.
class Prefs : public ::testing::Test {
protected:
    void SetUp() override {
        ktPrefDestroyAll();
        ksGetdefReset();
        tool = ktPrefCreate("Tool");
        ktTypedata no = 0, two = 2, alert = alertBox;
        ktPrefAdd(tool, "verbose", &ktYesNoTS, "Say more.", &no);
        ktPrefAdd(tool, "Logging", &ktOnOffTS, nullptr, &no);
        ktPrefAdd(tool, "level", &ktUnsignedIntTS, nullptr, &two);
        ktPrefAdd(tool, "action", &ktErrActionTS, nullptr, &alert);
        const char* dflt = "none";
        ktTypedata text = ktTypePtrToTypedata(const_cast<char*>(dflt));
        ktPrefAdd(tool, "title", &ktStringTS, nullptr, &text);
    }
    void TearDown() override {
        ktPrefDestroyAll();
        ksGetdefReset();
    }

    long val(const char* option) { return static_cast<long>(ktPrefVal(tool, option)); }
    std::string text(const char* option) {
        return reinterpret_cast<const char*>(ktPrefVal(tool, option));
    }
    // Parses the file `name` of the test's directory, found as the tools
    // find it, and gives what was thrown; `chain` receives the whole chain
    // in the terse style.
    Thrown parse(const char* name = "wexcombe", std::string* chain = nullptr) {
        ChdirGuard in(dir.path());
        int none = 0;
        Thrown t = thrown([&] {
            ktExCatch(
                KT_EX_FAIL, [&] { result = ktPrefParse(name, &none, nullptr); },
                [&](uint32_t tag, ktErrObject* err) {
                    ktErrStyleV[Stderr] = terse;
                    if (chain) *chain = ktErrString(err, Stderr);
                    ktErrStyleV[Stderr] = verbose;
                    ktExThrow(tag, err);
                });
        });
        return t;
    }

    TempDir dir;
    ktPrefDB* tool = nullptr;
    int result = -1;
};

TEST_F(Prefs, GroupEntriesBeatGlobalOnesWhateverTheOrder) {
    dir.write("wexcombe.ini", R"(| a comment line
logging on
TOOL.logging off
tool.LEVEL 7
level 9
   verbose  yes   | set for every group that has it
tool.title   Two  words  | and a comment
tool.nosuch 1
other.level 5
)");
    EXPECT_EQ(parse().tag, 0u);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(val("logging"), 0);
    EXPECT_EQ(val("level"), 7);
    EXPECT_EQ(val("Verbose"), 1);
    EXPECT_EQ(text("title"), "Two  words");
    EXPECT_EQ(val("action"), alertBox);  // no entry: the default
    EXPECT_EQ(ktPrefTypespec(tool, "ACTION"), &ktErrActionTS);
}

TEST_F(Prefs, VersionMarksQuotesAndTheWordsOfTwoValuedTypes) {
    dir.write("wexcombe.ini",
              "|5.0 tool.level 4\n"
              "|4.0 tool.verbose yes\n"
              "|5.0x tool.action disabled\n"
              "tool.logging TRUE\r\n"
              "tool.title \"a | b \\\"c\\\"\"   | comment\n"
              "tool.action alert\n");
    EXPECT_EQ(parse().tag, 0u);
    EXPECT_EQ(val("level"), 4);
    EXPECT_EQ(val("verbose"), 0);  // the line of another version is passed over
    EXPECT_EQ(val("logging"), 1);
    EXPECT_EQ(text("title"), "a | b \"c\"");
    EXPECT_EQ(val("action"), alertBox);
}

TEST_F(Prefs, ARefusedGlobalEntryIsSilentAndStillSetsAGroupThatTakesIt) {
    ktPrefDB* other = ktPrefCreate("other");
    ktTypedata error = KT_ERR_ERROR;
    ktPrefAdd(other, "level", &ktErrSevTS, nullptr, &error);
    dir.write("wexcombe.ini", "level warning\n");
    EXPECT_EQ(parse().tag, 0u);
    EXPECT_EQ(val("level"), 2);
    EXPECT_EQ(ktPrefVal(other, "level"), KT_ERR_WARNING);
    ktPrefDestroy(other);
}

TEST_F(Prefs, ABadGroupEntryIsThrownWithFileAndLineAndKeepsTheDefault) {
    dir.write("wexcombe.ini",
              "tool.verbose yes\n"
              "tool.level -1\n"
              "tool.action nowhere\n"
              "tool.title \"open\n"
              "tool.title \"closed\" trailing\n");
    std::string chain;
    Thrown t = parse("wexcombe", &chain);
    EXPECT_EQ(t.number, KTM_PREF_BADENTRY);
    std::string file = dir.path("wexcombe.ini");
    EXPECT_THAT(t.location, ::testing::StartsWith(file + ", line "));
    // The good entry is in force, the bad ones keep their defaults.
    EXPECT_EQ(val("verbose"), 1);
    EXPECT_EQ(val("level"), 2);
    EXPECT_EQ(val("action"), alertBox);
    EXPECT_EQ(text("title"), "none");

    // The whole chain: each bad entry with its reason behind it.
    for (const char* part :
         {", line 4:  This entry of the initialization file is bad.\n+ktlib-E-1503:  A quoted",
          ", line 5:  This entry of the initialization file is bad.\n+ktlib-E-1504:  Only",
          ", line 2:  This entry of the initialization file is bad.\n+ktlib-E-1401:  -1 is out",
          ", line 3:  This entry of the initialization file is bad.\n+ktlib-E-1404:  nowhere"})
        EXPECT_THAT(chain, HasSubstr(part));
}

TEST_F(Prefs, AFileIsReadOnceAndItsBadEntriesThrownOnce) {
    dir.write("wexcombe.ini", "tool.level 11\ntool.action 7\n");
    EXPECT_EQ(parse().number, KTM_PREF_BADENTRY);
    EXPECT_EQ(val("level"), 11);
    dir.write("wexcombe.ini", "tool.level 12\n");
    EXPECT_EQ(parse().tag, 0u);  // neither read again nor thrown again
    EXPECT_EQ(val("level"), 11);
    // The same file by another name is the same file.
    EXPECT_EQ(parse((dir.path() + "/./wexcombe.ini").c_str()).tag, 0u);
    EXPECT_EQ(val("level"), 11);
    EXPECT_EQ(parse("missing").tag, 0u);
    EXPECT_EQ(result, 0);
}

TEST_F(Prefs, AGroupDeclaredLaterFindsItsEntries) {
    dir.write("tools.cfg", "late.depth 3\ndepth 4\n");
    EXPECT_EQ(parse((dir.path() + "/tools.cfg").c_str()).tag, 0u);
    ktPrefDB* late = ktPrefCreate("LATE");
    ktTypedata zero = 0;
    ktPrefAdd2(late, "depth", &ktIntTS, nullptr, 1, &zero);
    EXPECT_EQ(ktPrefVal(late, "depth"), 0);
    int none = 0;
    EXPECT_EQ(ktPrefParse(nullptr, &none, nullptr), 1);
    EXPECT_EQ(ktPrefVal(late, "depth"), 3);
    ktPrefDestroy(late);
}

TEST_F(Prefs, TheCommandLineTakesItsOptionsAndBeatsTheFile) {
    dir.write("wexcombe.ini", "tool.level 7\ntool.verbose no\ntool.title file\n");
    std::vector<std::string> args = {"/usr/bin/tool.exe", "+tool.verbose", "in",  "-level",   "5",
                                     "-unknown",          "+Tool.title",   "cmd", "-x.level", "9"};
    std::vector<char*> argv;
    for (std::string& a : args) argv.push_back(a.data());
    argv.push_back(nullptr);
    int argc = static_cast<int>(args.size());
    ChdirGuard in(dir.path());
    EXPECT_EQ(ktPrefParse("wexcombe", &argc, argv.data()), 1);
    EXPECT_EQ(val("verbose"), 1);  // a two-valued option takes no value argument
    EXPECT_EQ(val("level"), 5);    // the group is the program's name
    EXPECT_EQ(text("title"), "cmd");
    ASSERT_EQ(argc, 5);
    EXPECT_EQ(Args(argv.begin(), argv.begin() + argc),
              (Args{"/usr/bin/tool.exe", "in", "-unknown", "-x.level", "9"}));
    EXPECT_EQ(Args(argv.begin() + argc, argv.begin() + 10),
              (Args{"+Tool.title", "cmd", "-level", "5", "+tool.verbose"}));

    // A value the type refuses is thrown as it is.
    std::string bad[] = {"tool", "-tool.level", "-3"};
    char* badv[] = {bad[0].data(), bad[1].data(), bad[2].data(), nullptr};
    int badc = 3;
    Thrown t = thrown([&] { ktPrefParse(nullptr, &badc, badv); });
    EXPECT_EQ(t.number, KTM_TYPE_INTRANGE);
}

TEST_F(Prefs, TheApplicationWinsAndNamesAreCheckedAndShared) {
    dir.write("wexcombe.ini", "tool.title file\n");
    const char* mine = "mine";
    ktTypedata v = ktTypePtrToTypedata(const_cast<char*>(mine));
    ktPrefSetval(tool, "TITLE", &v);
    ktPrefSetval(tool, "title", &v);  // the owned copy before it is freed
    EXPECT_EQ(parse().tag, 0u);
    EXPECT_EQ(text("title"), "mine");
    EXPECT_NE(ktPrefVal(tool, "title"), v);

    EXPECT_EQ(thrown([&] { ktPrefVal(tool, "nosuch"); }).text, " There is no option Tool.nosuch.");
    EXPECT_EQ(thrown([&] { ktPrefTypespec(tool, "nosuch"); }).number, KTM_PREFUNKNOWN);
    EXPECT_EQ(thrown([&] { ktPrefSetval(tool, "nosuch", &v); }).number, KTM_PREFUNKNOWN);
    EXPECT_EQ(thrown([&] { ktPrefAdd(tool, "LEVEL", &ktIntTS, nullptr, nullptr); }).text,
              " Group Tool already has an option named LEVEL.");

    // One group for names that differ by case, until the last reference goes.
    ktPrefDB* again = ktPrefCreate("tOOL");
    EXPECT_EQ(again, tool);
    ktPrefDestroy(again);
    EXPECT_EQ(text("title"), "mine");
    ktPrefDestroy(tool);
    ktPrefDB* fresh = ktPrefCreate("tool");
    EXPECT_EQ(thrown([&] { ktPrefVal(fresh, "title"); }).number, KTM_PREFUNKNOWN);
    ktPrefDestroy(fresh);
}

// ---- The library's own groups, each in a process of its own ------------------

// Runs the start of the project database: reports, then exceptions, with
// wexcombe.ini holding `ini`, and a warning after.
void startWith(const char* ini) {
    TempDir here;
    here.write("wexcombe.ini", ini);
    CHILD_CHECK(chdir(here.path().c_str()) == 0);
    setenv("KT_LOGDIR", here.path().c_str(), 1);
    static char master[] = "rd520.bdb";
    static char* args[] = {master, nullptr};
    int none = 0;
    // A sanitizer may have a handler of its own in place: what counts is
    // whether ktExInit replaced it.
    struct sigaction before {
    }, after{};
    sigaction(SIGSEGV, nullptr, &before);
    ktErrInit(&none, args);
    ktExInit(&none, args);
    sigaction(SIGSEGV, nullptr, &after);
    ktErrReport2("test", KT_ERR_WARNING, "after start");
    bool logged = std::filesystem::exists(here.path("rd520.err"));
    std::fprintf(stderr, "log %s\n", logged ? "written" : "none");
    bool caught = after.sa_handler != before.sa_handler;
    std::fprintf(stderr, "signals %s\n", caught ? "caught" : "default");
    std::exit(0);
}

// The log and the styles under the file show in the tests of a run of the
// program; the signals only here.
using LibraryGroups = FreshProcess;

TEST_F(LibraryGroups, TheFileTurnsTheLogAndTheSignalsOff) {
    EXPECT_EXIT(startWith(""), ExitedWithCode(0),
                "^test: Warning: after start\nlog written\nsignals caught\n$");
    EXPECT_EXIT(startWith("err.logging off\nex.catch_signals no\n"), ExitedWithCode(0),
                "log none\nsignals default\n$");
}

}  // namespace
