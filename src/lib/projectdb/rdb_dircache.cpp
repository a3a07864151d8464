// Directory listings of libraries, in two levels of tables: by
// subdirectory ("." for the library's own directory), then by file name.
// Both grow with what they hold, so a library of many files costs one
// listing and a look-up per question.
#include "rdb_dircache.h"

#include <cstring>

#include "kspath.h"
#include "ktstr.h"
#include "ktsym.h"
#include "rdb_api.h"
#include "rdb_ref.h"

namespace {

constexpr uint32_t kBuckets = 11;

ktSym* newTable() {
    ktSym* t = ktSymCreate(kBuckets, ktSymStHash, ktStrEqu, ktSymStCpy, ktSymStFree);
    ktSymDynamic(t, 2.0, 2.0);
    return t;
}

int addName(const char* path, void* data) {
    char last[KS_PATHMAX];
    if (ksParse2(path, nullptr, nullptr, last) == KS_OK && *last)
        ktSymStore(static_cast<ktSym*>(data), last, reinterpret_cast<void*>(1));
    return 1;
}

void freeListing(void* listing) {
    ktSymDestroy(static_cast<ktSym*>(listing), static_cast<void (*)(void*)>(nullptr));
}

// The listing of `subdir` of the library, made at the first question. A
// directory that can't be listed gives an empty listing.
ktSym* listing(rdbObject* library, const char* subdir) {
    rdbFileRec* f = library->file;
    if (!f->dirCache) f->dirCache = newTable();
    if (auto* known = static_cast<ktSym*>(ktSymFetch(f->dirCache, subdir))) return known;
    ktSym* names = newTable();
    ksPathBuf pattern;
    const char* sub = std::strcmp(subdir, ".") == 0 ? "" : subdir;
    if (rdbBuildPath2(library->path, sub, "*", nullptr, 0, pattern) == rdbStatOK)
        ksLoop2(pattern, KS_FILE, addName, names);
    ktSymStore(f->dirCache, subdir, names);
    return names;
}

}  // namespace

int rdbiExistsCachedObj(rdbObject* library, const rdbClass* cls, const char* fileName) {
    if (!library->file || !library->path) return rdbStatFAILURE;
    const char* subdir = cls->defSubdir && *cls->defSubdir ? cls->defSubdir : ".";
    return ktSymFetch(listing(library, subdir), fileName) ? rdbStatOK : rdbStatFAILURE;
}

void rdbiFreeDirCache(rdbFileRec* file) {
    if (!file || !file->dirCache) return;
    ktSymDestroy(file->dirCache, freeListing);
    file->dirCache = nullptr;
}

int rdbObjCache(rdbObject* object, int on) {
    if (int st = rdbValidObjType(object, rdbKindOBJECT)) return st;
    if (object->cls != rdbClassLIBRARY || object->physType != rdbPhysTypeDIR || !object->file)
        return rdbStatFAILURE;
    rdbiFreeDirCache(object->file);
    if (on)
        object->flags |= rdbFlagCACHE_DIR;
    else
        object->flags &= ~rdbFlagCACHE_DIR;
    return rdbStatOK;
}
