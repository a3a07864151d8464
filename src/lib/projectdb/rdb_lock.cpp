// Lock files, least form: no lock file is written, read or taken over yet.
// A database, class or object that asks for no locking opens for writing
// when no lock file lies beside the file; everything else that would need a
// lock is refused with status 18, and a lock file found is never this
// process's.
#include "rdb_lock.h"

#include <cstring>

#include "kspath.h"
#include "rdb_api.h"

namespace {

// The rules by which a file needs no lock: the class or the object says
// so, or the lock mode of its database leaves out its kind.
bool lockingOff(const rdbObject* o) {
    if ((o->cls && (o->cls->flags & rdbFlagNOLOCK)) || (o->flags & rdbFlagNOLOCK)) return true;
    const rdbDatabase* db = o->database;
    if (!db) return true;
    switch (db->lockMode) {
        case rdbLockModeNONE:
            return true;
        case rdbLockModeFILE:
            return o->physType != rdbPhysTypeFILE;
        case rdbLockModeDIR:
            return o->physType != rdbPhysTypeDIR;
        default:
            return false;
    }
}

}  // namespace

int rdbiMakeLockPath(const char* path, ksPathBuf& out) {
    char dir[KS_PATHMAX], last[KS_PATHMAX];
    if (!path || ksParse2(path, nullptr, dir, last) != KS_OK || !*last) return rdbStatFAILURE;
    if (ksDnpath(dir, "lock") != KS_OK) return rdbStatFAILURE;
    if (ksMerge(out, nullptr, dir, last, nullptr) != KS_OK) return rdbStatFAILURE;
    return rdbStatOK;
}

int rdbObjectLocked(const char* path) {
    char lock[KS_PATHMAX];
    return rdbiMakeLockPath(path, lock) == rdbStatOK && ksExists(lock, KS_FILE) == KS_OK;
}

int rdbiLockObj(rdbObject* object) {
    if (!object->file) return rdbStatFAILURE;
    if (!lockingOff(object) || rdbObjectLocked(object->path)) return rdbStatLOCKED;
    return rdbStatOK;
}

int rdbiRemoveLockObj(rdbObject*, uint32_t, int) {
    return rdbStatOK;
}

int rdbObjIsMyLock(rdbObject* object) {
    if (rdbValidObjType(object, rdbKindOBJECT) != rdbStatOK) return rdbStatBADID;
    return rdbObjectLocked(object->path) ? rdbStatLOCKED : rdbStatNOTLOCKED;
}
