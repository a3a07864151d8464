// Lock files: their path, their lines, the test of their holder, and their
// making, taking over and removal.
#include "rdb_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include "ktdufs.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_model.h"
#include "rdb_obj.h"

rdbLockRec rdbLockInfo;

namespace {

using File = std::unique_ptr<FILE, decltype(&std::fclose)>;

// A lock file that doesn't read is read again this often, and counts as
// an orphan after all rounds: a writer that is half-way through has
// finished long before.
constexpr int kRounds = 25;
constexpr int kTries = 100;
constexpr unsigned kDelay = 1;
// Times a lock file may vanish or be replaced under a process that waits
// to take it over, before the lock counts as held.
constexpr int kAttempts = 8;
// The padding behind the lines: four runs of 53 blanks.
constexpr int kPadRuns = 4;
constexpr int kPadWidth = 53;
// Versions of the database whose lock files are read; those before
// "5.1dm" have no class line.
constexpr const char* kVersions[] = {"5.0", "5.1", "5.1.1", "5.1dm", "5.2.0"};
constexpr int kFirstWithClass = 3;

struct TestWord {
    uint32_t bit;
    const char* word;
};
constexpr TestWord kTestWords[] = {
    {rdbLockTestUSERID, "USERID"},   {rdbLockTestPID, "PID"},     {rdbLockTestHOSTNAME, "HOSTNAME"},
    {rdbLockTestFACID, "FACID"},     {rdbLockTestFACVER, "FACVER"},
};

// The locks this process holds, removed at a normal end of the process.
rdbLockObj* held_ = nullptr;
bool atExitSet_ = false;

bool verbose() {
    return rdbVerboseV & rdbVerbLOCK;
}

template <size_t N>
void put(char (&field)[N], const char* text) {
    ktStrncpyNullTerm(field, text ? text : "", N);
}

// This process's values, in state 1.
void presetOwn(rdbLockRec* r) {
    *r = rdbLockRec{};
    r->state = rdbLockStateNOTOPEN;
    put(r->owner, ksGetuid());
    const rdbUser* user = rdbMasterRDPROJ ? rdbMasterRDPROJ->users : nullptr;
    r->facId = user ? user->facility : 0;
    put(r->facVer, user ? user->version : "");
    put(r->dbVer, rdbVERSION);
    r->pid = static_cast<int32_t>(getpid());
    put(r->host, ksGethostname());
}

// ---- Reading -------------------------------------------------------------------------

// The text behind the line's first word, as "%*s " leaves it; null for a
// line of no word.
const char* behindKey(const char* line) {
    while (*line && std::isspace(static_cast<unsigned char>(*line))) ++line;
    if (!*line) return nullptr;
    while (*line && !std::isspace(static_cast<unsigned char>(*line))) ++line;
    while (*line && std::isspace(static_cast<unsigned char>(*line))) ++line;
    return line;
}

bool readInt(const char* line, long lo, long hi, long* value) {
    const char* rest = behindKey(line);
    return rest && ktStrCvtToLong(rest, lo, hi, value) == 1;
}

// The line's second word into `field`; false when there is none, or when
// it doesn't fit, which would make it another value.
template <size_t N>
bool readWord(const char* line, char (&field)[N]) {
    const char* rest = behindKey(line);
    if (!rest || !*rest) return false;
    size_t n = 0;
    while (rest[n] && !std::isspace(static_cast<unsigned char>(rest[n]))) ++n;
    if (n >= N) return false;
    std::memcpy(field, rest, n);
    field[n] = '\0';
    return true;
}

// "Created: (seconds) text".
bool readCreated(const char* line, uint32_t* created) {
    const char* rest = behindKey(line);
    long value = 0;
    if (!rest || *rest != '(' || ktStrCvtToLong(rest + 1, 0, UINT32_MAX, &value) != 1) return false;
    *created = static_cast<uint32_t>(value);
    return true;
}

// The orphan test: reads the lock file `path` into `rec`, again and again
// while it doesn't read, and says whether its holder lives. 17 when there
// is no file; 12 with state 4 for an orphan; 0 otherwise.
int readLock(const char* path, rdbLockRec* rec) {
    if (verbose()) {
        rdbPrint("\nTesting for orphaned lock file: %s.", path);
        rdbPrint("\n  Retry count1: %d, count2: %d delay %d.", kRounds, kTries, kDelay);
    }
    bool good = false;
    for (int round = 0; round < kRounds && !good; ++round) {
        for (int i = 0; i < kTries && !good; ++i) {
            presetOwn(rec);
            File f{ksFopen(path, "r"), &std::fclose};
            if (!f) return rdbStatNOTLOCKED;
            good = rdbiReadLockInfo(f.get(), rec) == rdbStatOK;
        }
        if (!good) ksSleepSec(kDelay);
    }
    rec->read = 1;
    if (!good) {
        rec->state = rdbLockStateORPHAN;
        if (verbose()) rdbPrint("\nOrphaned lock encountered (max retry): %s. ", path);
        return rdbStatFAILURE;
    }
    if (rec->state != rdbLockStateINUSE) return rdbStatOK;
    if (std::strcmp(rec->host, ksGethostname()) != 0) {
        if (verbose()) rdbPrint("\nRemote host. Assume not orphaned.");
        return rdbStatOK;
    }
    if (rec->pid == getpid()) {
        if (verbose()) rdbPrint("\nCurrent process owns lock. Not orphaned.");
        return rdbStatOK;
    }
    // -1 is no process known; 0 and below would name process groups.
    if (rec->pid < 1) return rdbStatOK;
    if (kill(rec->pid, 0) != 0 && errno == ESRCH) {
        rec->state = rdbLockStateORPHAN;
        if (verbose()) rdbPrint("\nOrphaned lock encountered (dead process): %s. Freeing...", path);
        return rdbStatFAILURE;
    }
    if (verbose()) rdbPrint("\nProcess alive. Not orphaned.");
    return rdbStatOK;
}

// Whether this process passes the ownership test of `rec`: with `bits` 0,
// the record's test, else the test of the class it names, else USERID.
bool ownershipPasses(const rdbLockRec& rec, uint32_t bits) {
    if (bits == 0) bits = rec.lockTest;
    if (bits == 0 && rdbMasterRDPROJ && *rec.className)
        if (const rdbClass* cls = rdbiFindClass(rdbMasterRDPROJ, rec.className)) bits = cls->lockTest;
    if (bits == 0) bits = rdbLockTestUSERID;
    rdbLockRec mine;
    presetOwn(&mine);
    if (verbose()) rdbPrint("\nTest lock ownership:");
    for (const TestWord& t : kTestWords) {
        if (!(bits & t.bit)) continue;
        bool same = true;
        switch (t.bit) {
            case rdbLockTestUSERID:
                same = std::strcmp(rec.owner, mine.owner) == 0;
                break;
            case rdbLockTestPID:
                same = rec.pid == mine.pid;
                break;
            case rdbLockTestHOSTNAME:
                same = std::strcmp(rec.host, mine.host) == 0;
                break;
            case rdbLockTestFACID:
                same = rec.facId == mine.facId;
                break;
            default:
                same = std::strcmp(rec.facVer, mine.facVer) == 0;
                break;
        }
        if (!same) {
            if (verbose()) rdbPrint(" %s failed.", t.word);
            return false;
        }
    }
    if (verbose()) rdbPrint(" SUCCESS.");
    return true;
}

// Whether a lock file read as `rec` may be cleared by this process.
bool mayClear(const rdbLockRec& rec) {
    return rec.state == rdbLockStateORPHAN ||
           (rec.state == rdbLockStateMINE && rec.pid == getpid()) ||
           (rec.state == rdbLockStateNOTOPEN && ownershipPasses(rec, 0));
}

// ---- Writing -------------------------------------------------------------------------

int writeLines(FILE* f, const rdbLockRec& r) {
    std::fprintf(f, "State: %d\n", r.state);
    std::fprintf(f, "Owner: %s\n", r.owner);
    std::fprintf(f, "Created: (%ld) %s\n", static_cast<long>(r.created), rdbTimeToStr(r.created));
    std::fprintf(f, "FacId: %d\n", r.facId);
    std::fprintf(f, "FacVer: %s\n", r.facVer);
    std::fprintf(f, "RDVer: %s\n", r.dbVer);
    std::fprintf(f, "ProcId: %d\n", r.pid);
    std::fprintf(f, "HostId: %s\n", r.host);
    std::fprintf(f, "ClassName: %s\n", r.className);
    std::fprintf(f, "LockTest: %s\n", rdbLockTestToStr(r.lockTest));
    for (int i = 0; i < kPadRuns; ++i) std::fprintf(f, "%*s", kPadWidth, "");
    return std::fflush(f) == 0 && !std::ferror(f) ? int{rdbStatOK} : int{rdbStatFAILURE};
}

// This process's lock record for the object's file, in `state`.
void fillOwn(rdbLockRec* r, const rdbObject* object, const rdbLockObj* lock, int state,
             uint32_t created) {
    presetOwn(r);
    r->state = state;
    r->created = created;
    put(r->className, object->cls ? object->cls->name : "");
    r->lockTest = lock->lockTest;
}

// Opens an existing lock file for reading and, where permitted, writing,
// and holds it against any other process that means to take it over or
// delete it. Null when it is gone, is no plain file, or was replaced while
// this process waited: the caller starts over.
FILE* openHeld(const char* path, bool* writable) {
    int fd = ::open(path, O_RDWR | O_NONBLOCK | O_NOFOLLOW);
    *writable = fd >= 0;
    if (fd < 0 && errno == EACCES) fd = ::open(path, O_RDONLY | O_NONBLOCK | O_NOFOLLOW);
    if (fd < 0) return nullptr;
    struct stat mine, there;
    if (fstat(fd, &mine) != 0 || !S_ISREG(mine.st_mode) || flock(fd, LOCK_EX) != 0 ||
        ::stat(path, &there) != 0 || there.st_ino != mine.st_ino || there.st_dev != mine.st_dev) {
        ::close(fd);
        return nullptr;
    }
    fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    FILE* f = fdopen(fd, *writable ? "r+" : "r");
    if (!f) ::close(fd);
    return f;
}

// ---- The locks of this process -----------------------------------------------------

// Removes the lock files this process still holds, at its normal end: a
// lock never outlives the run that made it, even one that ends without
// closing its objects.
void removeHeldAtExit() {
    const int32_t pid = static_cast<int32_t>(getpid());
    for (rdbLockObj* l = held_; l; l = l->next) {
        // A process made by fork holds the list, not the locks.
        if (!l->path || static_cast<int32_t>(l->word) != pid) continue;
        File f{ksFopen(l->path, "r"), &std::fclose};
        rdbLockRec rec;
        if (f && rdbiReadLockInfo(f.get(), &rec) == rdbStatOK && rec.pid == pid &&
            std::strcmp(rec.host, ksGethostname()) == 0)
            ::unlink(l->path);
    }
}

void hold(rdbLockObj* lock) {
    if (!atExitSet_) {
        std::atexit(removeHeldAtExit);
        atExitSet_ = true;
    }
    lock->next = held_;
    held_ = lock;
}

void release(rdbLockObj* lock) {
    for (rdbLockObj** link = &held_; *link; link = &(*link)->next) {
        if (*link == lock) {
            *link = lock->next;
            break;
        }
    }
}

// Frees the object's lock object; its lock file stays as it is.
void freeLockObj(rdbObject* object) {
    rdbLockObj* lock = object->file ? object->file->lock : nullptr;
    if (!lock) return;
    release(lock);
    if (lock->stream) std::fclose(lock->stream);
    if (lock->path) ktStrFree(lock->path);
    ktMemFree(lock);
    object->file->lock = nullptr;
}

// Whether the lock file of `lock` still names this process: another may
// have taken it over by its ownership test, and its lock is not ours to
// remove. A file that doesn't read is the one this process wrote.
bool stillMine(const rdbLockObj* lock) {
    File f{ksFopen(lock->path, "r"), &std::fclose};
    if (!f) return false;
    rdbLockRec rec;
    if (rdbiReadLockInfo(f.get(), &rec) != rdbStatOK) return true;
    return rec.pid == static_cast<int32_t>(lock->word) &&
           std::strcmp(rec.host, ksGethostname()) == 0;
}

// With no locking for the object's file: a lock file that lies there all
// the same is cleared when it may be, and otherwise keeps the file shut.
int clearForeignLock(const char* path) {
    ksPathBuf lockPath;
    if (rdbiMakeLockPath(path, lockPath) != rdbStatOK) return rdbStatFAILURE;
    if (ksExists(lockPath, KS_FILE) != KS_OK) return rdbStatOK;
    rdbLockRec rec;
    if (readLock(lockPath, &rec) == rdbStatNOTLOCKED) return rdbStatOK;
    return mayClear(rec) ? rdbiDeleteLockFile(lockPath) : int{rdbStatLOCKED};
}

// Creates the lock file exclusively (status 13), or opens the one that is
// there and holds it (14); null when neither works.
FILE* createOpen(const char* path, int* status, bool* writable) {
    int fd = ::open(path, O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW, 0777);
    if (fd >= 0) {
        *status = rdbStatNOTEXIST;
        *writable = true;
        FILE* f = fdopen(fd, "r+");
        if (!f) ::close(fd);
        return f;
    }
    if (errno != EEXIST) return nullptr;
    *status = rdbStatEXISTS;
    return openHeld(path, writable);
}

}  // namespace

// ---- Names and texts -------------------------------------------------------------------

int rdbiMakeLockPath(const char* path, ksPathBuf& out) {
    char dir[KS_PATHMAX], last[KS_PATHMAX];
    if (!path || ksParse2(path, nullptr, dir, last) != KS_OK || !*last) return rdbStatFAILURE;
    if (ksDnpath(dir, "lock") != KS_OK) return rdbStatFAILURE;
    ksPathBuf merged;
    if (ksMerge(merged, nullptr, dir, last, nullptr) != KS_OK) return rdbStatFAILURE;
    return ksConvPath(merged, out) == KS_OK ? int{rdbStatOK} : int{rdbStatFAILURE};
}

const char* rdbLockTestToStr(uint32_t test) {
    static char text[64];
    if (test == rdbLockTestDEFAULT) return "DEFAULT";
    if (test == rdbLockTestALL) return "ALL";
    text[0] = '\0';
    for (const TestWord& t : kTestWords) {
        if (!(test & t.bit)) continue;
        if (*text) std::strcat(text, "+");
        std::strcat(text, t.word);
    }
    return text;
}

uint32_t rdbStrToLockTest(const char* line) {
    if (!line || std::strstr(line, "DEFAULT")) return rdbLockTestDEFAULT;
    if (std::strstr(line, "ALL")) return rdbLockTestALL;
    uint32_t test = 0;
    for (const TestWord& t : kTestWords)
        if (std::strstr(line, t.word)) test += t.bit;
    return test;
}

const char* rdbTimeToStr(uint32_t seconds) {
    static const char* const kMonths[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                          "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    static char text[64];
    time_t t = static_cast<time_t>(seconds);
    struct tm local;
    if (!localtime_r(&t, &local)) return "";
    std::snprintf(text, sizeof text, "%s %d %d %d:%d:%d", kMonths[local.tm_mon % 12],
                  local.tm_mday, local.tm_year + 1900, local.tm_hour, local.tm_min, local.tm_sec);
    return text;
}

int rdbiReadLockInfo(FILE* stream, rdbLockRec* record) {
    char line[512];
    auto next = [&] { return ktDufsFgets(line, sizeof line, stream) != nullptr; };
    long value = 0;
    if (!next() || !readInt(line, INT32_MIN, INT32_MAX, &value)) return rdbStatFAILURE;
    record->state = static_cast<int32_t>(value);
    if (!next() || !readWord(line, record->owner)) return rdbStatFAILURE;
    if (!next() || !readCreated(line, &record->created)) return rdbStatFAILURE;
    if (!next() || !readInt(line, INT32_MIN, INT32_MAX, &value)) return rdbStatFAILURE;
    record->facId = static_cast<int32_t>(value);
    if (!next() || !readWord(line, record->facVer)) return rdbStatFAILURE;
    if (!next() || !readWord(line, record->dbVer)) return rdbStatFAILURE;
    if (!next() || !readInt(line, INT32_MIN, INT32_MAX, &value)) return rdbStatFAILURE;
    record->pid = static_cast<int32_t>(value);
    if (!next() || !readWord(line, record->host)) return rdbStatFAILURE;
    int version = -1;
    for (int i = 0; i < static_cast<int>(std::size(kVersions)); ++i)
        if (std::strcmp(record->dbVer, kVersions[i]) == 0) version = i;
    if (version < 0) return rdbStatFAILURE;
    if (version < kFirstWithClass) return rdbStatOK;
    if (!next() || !readWord(line, record->className)) return rdbStatFAILURE;
    if (!next()) return rdbStatFAILURE;
    record->lockTest = rdbStrToLockTest(line);
    return rdbStatOK;
}

// ---- Taking a lock -----------------------------------------------------------------

int rdbiCreateLockObj(rdbObject* object) {
    if (!object->file) return rdbStatFAILURE;
    if ((object->cls && (object->cls->flags & rdbFlagNOLOCK)) || (object->flags & rdbFlagNOLOCK))
        return rdbStatNOTLOCKED;
    const uint32_t mode = object->database ? object->database->lockMode : rdbLockModeNONE;
    if (mode == rdbLockModeNONE || (mode == rdbLockModeFILE && object->physType != rdbPhysTypeFILE) ||
        (mode == rdbLockModeDIR && object->physType != rdbPhysTypeDIR)) {
        if (verbose()) rdbPrint("\nLocking disabled for this database, class or object.");
        return rdbStatNOTLOCKED;
    }
    if (object->cls && (object->cls->flags & rdbiFlagPROTECTED)) return rdbStatACCESS;
    if (object->file->lock) return rdbStatFAILURE;
    auto* lock = static_cast<rdbLockObj*>(ktMemCalloc(1, sizeof(rdbLockObj), "LockObj"));
    lock->lockTest = object->cls ? object->cls->lockTest : rdbLockTestUSERID;
    object->file->lock = lock;
    return rdbStatOK;
}

int rdbiCreateLockFile(rdbObject* object) {
    rdbLockObj* lock = object->file ? object->file->lock : nullptr;
    ksPathBuf path, dir;
    if (!lock || !object->path || rdbiMakeLockPath(object->path, path) != rdbStatOK ||
        ksParse2(path, nullptr, dir, nullptr) != KS_OK)
        return rdbStatFAILURE;
    if (ksExists(dir, KS_DIR) != KS_OK) rdbiCreateDir(dir);
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        int st = rdbStatOK;
        bool writable = false;
        File f{createOpen(path, &st, &writable), &std::fclose};
        if (!f) {
            if (st == rdbStatEXISTS) continue;  // gone or replaced meanwhile
            break;
        }
        uint32_t created = 0;
        bool orphan = false;
        if (st == rdbStatNOTEXIST) {
            struct stat s;
            if (fstat(fileno(f.get()), &s) == 0) created = static_cast<uint32_t>(s.st_mtime);
            if (verbose()) rdbPrint("\nLock created.");
        } else {
            if (verbose()) rdbPrint("\nFile locked; attempting to acquire.");
            if (!rdbiSYSCALL) {
                if (readLock(path, &rdbLockInfo) == rdbStatNOTLOCKED) continue;
                orphan = rdbLockInfo.state == rdbLockStateORPHAN;
                if (!orphan && !ownershipPasses(rdbLockInfo, 0)) return rdbStatLOCKED;
            }
            if (!writable) return rdbStatOPENERR;
        }
        if (verbose()) rdbPrint("\nLock gained.");
        std::rewind(f.get());
        if (orphan) created = static_cast<uint32_t>(std::time(nullptr));
        fillOwn(&rdbLockInfo, object, lock, rdbLockStateINUSE, created);
        int written = writeLines(f.get(), rdbLockInfo);
        lock->word = static_cast<uint32_t>(getpid());
        lock->path = ktStrCpy(path);
        hold(lock);
        if (std::fclose(f.release()) != 0 || written != rdbStatOK) {
            // A lock file that didn't get its lines would pass for nobody's.
            ksDelete(path, KS_FILE);
            return rdbStatFAILURE;
        }
        return rdbStatOK;
    }
    if (verbose()) rdbPrint("\nLock not gained");
    return rdbStatLOCKED;
}

int rdbiLockObj(rdbObject* object) {
    int st = rdbiCreateLockObj(object);
    if (st != rdbStatOK && st != rdbStatNOTLOCKED) {
        if (verbose()) rdbPrint("\nCould not create lock object: %s", object->path ? object->path : "");
        return st;
    }
    if (st == rdbStatNOTLOCKED) return object->path ? clearForeignLock(object->path) : int{rdbStatOK};
    st = rdbiCreateLockFile(object);
    if (st != rdbStatOK) {
        if (verbose()) rdbPrint("\nCould not create lock file: %s", object->path);
        freeLockObj(object);
    }
    return st;
}

// ---- Removing a lock ---------------------------------------------------------------

int rdbiRemoveLockObj(rdbObject* object, uint32_t mode, int state) {
    rdbLockObj* lock = object->file ? object->file->lock : nullptr;
    if (!lock) return rdbStatOK;
    int st = rdbStatOK;
    if (lock->stream && std::fclose(lock->stream) != 0) st = rdbStatFAILURE;
    lock->stream = nullptr;
    if (!lock->path) {
        freeLockObj(object);
        return st;
    }
    if (!(mode & rdbModeKEEPLOCK)) {
        if (stillMine(lock) && ksDelete(lock->path, KS_FILE) != KS_OK) st = rdbStatLOCKERR;
        freeLockObj(object);
        return st;
    }
    // Kept: the lock file outlives the object, and this process.
    File f{std::fopen(lock->path, "w"), &std::fclose};
    if (!f) {
        freeLockObj(object);
        return rdbStatLOCKERR;
    }
    rdbLockRec rec;
    fillOwn(&rec, object, lock, state, object->timestamp);
    if (writeLines(f.get(), rec) != rdbStatOK || std::fclose(f.release()) != 0) st = rdbStatFAILURE;
    freeLockObj(object);
    return st;
}

int rdbiDeleteLockFile(const char* path) {
    if (!path || !*path) return rdbStatFAILURE;
    if (rdbiSYSCALL) return ksDelete(path, KS_FILE) == KS_OK ? int{rdbStatOK} : int{rdbStatFAILURE};
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        bool writable = false;
        // Held while it is judged and deleted, so that nobody takes it
        // over in between and loses the lock just taken.
        File f{openHeld(path, &writable), &std::fclose};
        if (!f) {
            if (ksExists(path, KS_FILE) != KS_OK) return rdbStatOK;
            continue;
        }
        rdbLockRec rec;
        if (readLock(path, &rec) == rdbStatNOTLOCKED) return rdbStatOK;
        if (!mayClear(rec)) return rdbStatACCESS;
        return ksDelete(path, KS_FILE) == KS_OK ? int{rdbStatOK} : int{rdbStatFAILURE};
    }
    return rdbStatFAILURE;
}

// ---- Questions ---------------------------------------------------------------------

int rdbObjectLocked(const char* path) {
    ksPathBuf lock;
    return rdbiMakeLockPath(path, lock) == rdbStatOK && ksExists(lock, KS_FILE) == KS_OK;
}

rdbLockRec* rdbiGetLockFileInfo(const char* path) {
    ksPathBuf lock;
    if (rdbiMakeLockPath(path, lock) != rdbStatOK || ksExists(lock, KS_FILE) != KS_OK)
        return nullptr;
    if (readLock(lock, &rdbLockInfo) == rdbStatNOTLOCKED) return nullptr;
    return &rdbLockInfo;
}

int rdbMyLock(const char* path) {
    const rdbLockRec* rec = rdbiGetLockFileInfo(path);
    return rec && mayClear(*rec);
}

int rdbObjIsMyLock(rdbObject* object) {
    if (rdbValidObjType(object, rdbKindOBJECT) != rdbStatOK) return rdbStatBADID;
    const rdbLockRec* rec = object->path ? rdbiGetLockFileInfo(object->path) : nullptr;
    if (!rec || rec->state == rdbLockStateORPHAN) return rdbStatNOTLOCKED;
    if (rec->state == rdbLockStateMINE)
        return rec->pid == getpid() ? int{rdbStatOK} : int{rdbStatLOCKED};
    if (rec->state == rdbLockStateINUSE) {
        if (!object->file || !object->file->lock) return rdbStatLOCKED;
        return rdbiValidateLockObj(object) == rdbStatOK ? int{rdbStatOK} : int{rdbStatLOCKED};
    }
    return ownershipPasses(*rec, 0) ? int{rdbStatOK} : int{rdbStatLOCKED};
}

int rdbiValidateLockObj(rdbObject* object) {
    rdbLockObj* lock = object->file ? object->file->lock : nullptr;
    if (!lock) return rdbStatFAILURE;
    if (lock->stream) std::fclose(lock->stream);
    lock->stream = nullptr;
    ksPathBuf path;
    rdbLockRec rec;
    if (!object->path || rdbiMakeLockPath(object->path, path) != rdbStatOK ||
        readLock(path, &rec) == rdbStatNOTLOCKED || rec.state == rdbLockStateORPHAN ||
        !ownershipPasses(rec, rdbLockTestALL)) {
        freeLockObj(object);
        return rdbStatFAILURE;
    }
    return rdbStatOK;
}
