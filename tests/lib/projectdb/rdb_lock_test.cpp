// Lock files: their lines, the lock taken at an opening for writing and
// given up at the close or the end of the process, two processes after one
// lock, and the orphans that dead or unreadable holders leave.
#include "rdb_lock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <memory>
#include <string>

#include "rdb_api.h"
#include "rdbfixture.h"

namespace {

std::string lockText(const std::string& version, int pid, const std::string& host = ksGethostname(),
                     const std::string& tail = "ClassName: rdbClassTMFILE\nLockTest: ALL\n") {
    return "State: 0\nOwner: " + std::string(ksGetuid()) + "\nCreated: (5) Jan 1 1970 0:0:5\n" +
           "FacId: 1\nFacVer: 5.3.1\nRDVer: " + version + "\nProcId: " + std::to_string(pid) +
           "\nHostId: " + host + "\n" + tail;
}

int readText(const std::string& text, rdbLockRec* rec) {
    std::unique_ptr<FILE, decltype(&std::fclose)> f{
        fmemopen(const_cast<char*>(text.data()), text.size(), "r"), &std::fclose};
    return rdbiReadLockInfo(f.get(), rec);
}

TEST(LockLines, TestsAndVersions) {
    EXPECT_EQ(rdbStrToLockTest("LockTest: USERID+HOSTNAME\n"), 5u);
    EXPECT_EQ(rdbStrToLockTest("LockTest: ALL\n"), 31u);
    EXPECT_STREQ(rdbLockTestToStr(5), "USERID+HOSTNAME");
    rdbLockRec rec{};
    ASSERT_EQ(readText(lockText("5.2.0", 42), &rec), rdbStatOK);
    EXPECT_EQ(rec.pid + rec.created + rec.lockTest, 42u + 5 + 31);
    // Before 5.1dm a lock file had no class line.
    EXPECT_EQ(readText(lockText("5.1", 42, ksGethostname(), ""), &rec), rdbStatOK);
    // An unknown version, a value too long for its field.
    EXPECT_EQ(readText(lockText("4.9", 42), &rec), rdbStatFAILURE);
    EXPECT_EQ(readText(lockText("5.2.0", 42, std::string(64, 'h')), &rec), rdbStatFAILURE);
}

// A project whose database locks files, and whose project files may be
// taken over only by the process that locked them.
class Locks : public RdbTest {
protected:
    EnvGuard ascii{"RDBASCII", "1"};
    void SetUp() override {
        RdbTest::SetUp();
        std::string master = readAll(shipped("rd520.mdb"));
        replace(&master, "(schemaRef rdbSchemaTESMARK)\n      (lockMode rdbLockModeNONE)",
                "(schemaRef rdbSchemaTESMARK)\n      (lockMode rdbLockModeFILE)");
        replace(&master, "(classLabel \"Project file\")",
                "(classLabel \"Project file\")\n      (lockTest rdbLockTestALL)");
        kdir.write("rd520.mdb", master);
        int st = -1;
        out([&] { st = rdbInit(1, "5.3.1", 0); });
        ASSERT_EQ(st, 0);
        project = rdbOpenProject(".", nullptr, "", 3, &st);
        ASSERT_EQ(st, 0);
        cwd.write("notes.txt", "notes\n");
    }
    static void replace(std::string* text, const std::string& from, const std::string& to) {
        text->replace(text->find(from), from.size(), to);
    }
    rdbObject* open(uint32_t mode, int* st) {
        return rdbOpenPhysObj(project, "rdbClassTMFILE", "notes.txt", "notes", "txt", 0, mode, st);
    }
    // Runs `body` in a child process, which ends with its result.
    template <typename Body>
    static pid_t child(Body body) {
        pid_t pid = fork();
        return pid == 0 ? _exit(body()), 0 : pid;
    }
    static int wait(pid_t pid) {
        int status = -1;
        return waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    bool locked() const { return cwd.exists("lock/notes.txt"); }
    rdbObject* project = nullptr;
};

TEST_F(Locks, TakenForWritingAndGoneAtTheClose) {
    int st;
    rdbObject* o = open(rdbModeREAD, &st);
    ASSERT_NE(o, nullptr);
    EXPECT_FALSE(locked());
    ASSERT_EQ(rdbReopenObj(o, rdbModeRW), 0);
    ASSERT_TRUE(locked());
    const std::string text = cwd.read("lock/notes.txt");
    EXPECT_EQ(text.substr(0, 9), "State: 0\n");
    EXPECT_NE(text.find("\nClassName: rdbClassTMFILE\nLockTest: ALL\n" + std::string(212, ' ')),
              std::string::npos);
    EXPECT_EQ(rdbObjIsMyLock(o), 0);  // this process's own: no orphan
    EXPECT_EQ(rdbCloseObj(o, 0), 0);
    EXPECT_FALSE(locked());
    // Asked to be kept, a lock outlives the close, and this process may
    // take it again.
    EXPECT_EQ(rdbCloseObj(open(rdbModeRW | rdbModeKEEPLOCK, &st), 0), 0);
    EXPECT_EQ(cwd.read("lock/notes.txt").substr(0, 9), "State: 1\n");
    EXPECT_EQ(rdbCloseObj(open(rdbModeRW, &st), 0), 0);
    EXPECT_FALSE(locked());
}

TEST_F(Locks, OfTwoProcessesOneWins) {
    int results[2], release[2];
    ASSERT_EQ(pipe(results), 0);
    ASSERT_EQ(pipe(release), 0);
    auto contender = [&] {
        int st;
        rdbObject* o = open(rdbModeRW, &st);
        char c = static_cast<char>(st);
        if (write(results[1], &c, 1) != 1 || !o) return 0;
        if (read(release[0], &c, 1) != 1) return 1;
        return rdbCloseObj(o, 0);
    };
    pid_t a = child(contender), b = child(contender);
    char got[2];
    ASSERT_EQ(read(results[0], &got[0], 1), 1);
    ASSERT_EQ(read(results[0], &got[1], 1), 1);
    EXPECT_EQ(got[0] + got[1], rdbStatLOCKED);  // one 0, one 18
    // A reader who asks for no lock reads; one who asks to be told is refused.
    int st;
    EXPECT_EQ(open(rdbModeREAD | rdbModeLOCKTEST, &st), nullptr);
    EXPECT_EQ(st, rdbStatLOCKED);
    EXPECT_EQ(rdbCloseObj(open(rdbModeREAD, &st), 0), 0);
    ASSERT_EQ(write(release[1], "go", 2), 2);
    EXPECT_EQ(wait(a), 0);
    EXPECT_EQ(wait(b), 0);
    EXPECT_FALSE(locked());
}

TEST_F(Locks, TheLockOfADeadHolderIsTakenOver) {
    pid_t dead = child([&] {
        int st;
        return open(rdbModeRW, &st) ? 0 : 1;  // ends as a crash would, without its exit steps
    });
    ASSERT_EQ(wait(dead), 0);
    ASSERT_TRUE(locked());
    ASSERT_NE(rdbiGetLockFileInfo(cwd.path("notes.txt").c_str()), nullptr);
    EXPECT_EQ(rdbLockInfo.pid, dead);
    EXPECT_EQ(rdbLockInfo.state, rdbLockStateORPHAN);
    const uint32_t before = static_cast<uint32_t>(std::time(nullptr));
    int st;
    rdbObject* o = open(rdbModeRW, &st);
    ASSERT_NE(o, nullptr) << st;
    ASSERT_NE(rdbiGetLockFileInfo(o->path), nullptr);
    EXPECT_EQ(rdbLockInfo.pid, getpid());
    EXPECT_GE(rdbLockInfo.created, before);
    EXPECT_EQ(rdbCloseObj(o, 0), 0);
    // A holder on another host can't be tested, and so is never an orphan.
    cwd.write("lock/notes.txt", lockText("5.2.0", dead, "elsewhere"));
    EXPECT_EQ(open(rdbModeRW, &st), nullptr);
    EXPECT_EQ(st, rdbStatLOCKED);
    // A lock file that never reads counts as an orphan after all its rounds.
    ksSysV.sleep = [](unsigned) -> unsigned { return 0; };
    cwd.write("lock/notes.txt", "State: 0\nOwner:");
    EXPECT_EQ(rdbCloseObj(open(rdbModeRW, &st), 0), 0);
    ksSysV.sleep = ksSysDefaultV.sleep;
    EXPECT_FALSE(locked());
}

TEST_F(Locks, NeverLeftBehindByARunThatEndsNormally) {
    // Ended without closing the file, and without ending the database.
    pid_t ended = child([&] {
        int st;
        if (!open(rdbModeRW, &st)) return 1;
        std::exit(cwd.exists("lock/notes.txt") ? 0 : 2);
        return 3;
    });
    EXPECT_EQ(wait(ended), 0);
    EXPECT_FALSE(locked());
    int st;
    ASSERT_NE(open(rdbModeRW, &st), nullptr);
    ASSERT_TRUE(locked());
    EXPECT_EQ(rdbExit(), 0);
    EXPECT_FALSE(locked());
}

TEST_F(Locks, WithoutLockingALockThatMayGoIsCleared) {
    // The file system's database locks nothing.
    int st;
    rdbObject* dir = rdbOpenPhysObj(rdbDatabaseFILESYS->object, "rdbClassDIRECTORY", ".", "here",
                                    nullptr, 0, rdbModeRW, &st);
    ASSERT_NE(dir, nullptr) << st;
    auto plain = [&] {
        return rdbOpenPhysObj(dir, "rdbClassFILE", "notes.txt", "notes.txt", nullptr, 0, rdbModeRW,
                              &st);
    };
    // A live holder on this host keeps it all the same.
    cwd.write("lock/notes.txt", lockText("5.2.0", 1));
    EXPECT_EQ(plain(), nullptr);
    EXPECT_EQ(st, rdbStatLOCKED);
    // Kept while the file is closed, and this process's by its test.
    cwd.write("lock/notes.txt", "State: 1" + lockText("5.2.0", getpid()).substr(8));
    EXPECT_EQ(rdbCloseObj(plain(), 0), 0);
    EXPECT_FALSE(locked());
}

}  // namespace
