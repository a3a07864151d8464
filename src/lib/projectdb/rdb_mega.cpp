// The search of mega libraries, least form: each search reads the index
// from its start, and matches whole names in lower case. It lacks the
// index object under the library with its table cached for the run
// (RDBMEGACACHE), the prefix match of a search without that table, the
// reload of a changed index, and rdbiMegaOpenTbl and rdbiMegaFreeIndx.
#include "rdb_mega.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_ref.h"

namespace {

constexpr size_t kRecord = 30;

bool hasChild(const rdbClass* parent, const rdbClass* child) {
    for (const rdbClassList* n = parent->children; n; n = n->next)
        if (n->cls == child) return true;
    return false;
}

}  // namespace

rdbClass* rdbiMegaIndexClass(const rdbObject* library, const rdbClass* cls) {
    const rdbSchema* schema = library->database ? library->database->schema : nullptr;
    if (!schema) return nullptr;
    for (const rdbClassList* n = schema->classes; n; n = n->next)
        if (n->cls && (n->cls->flags & rdbFlagMEGAFILE) && hasChild(n->cls, cls)) return n->cls;
    return nullptr;
}

long rdbiSearchMega(rdbObject* library, const rdbClass* cls, const char* name, const char* modifier,
                    int32_t version, ksPathBuf* outName, ksPathBuf* outPath, int) {
    if (outName) (*outName)[0] = '\0';
    if (outPath) (*outPath)[0] = '\0';
    const rdbClass* index = rdbiMegaIndexClass(library, cls);
    if (!index || !library->path) return -1;
    ksPathBuf tbl, wanted;
    if (rdbBuildPath(library->path, index->defName, "tbl", 0, tbl) != rdbStatOK) return -1;
    if (rdbiBuildFileName(cls, nullptr, name, modifier, version, wanted) != rdbStatOK) return -1;
    ktStrLoc(wanted);
    std::unique_ptr<FILE, decltype(&std::fclose)> f{ksFopen(tbl, "rb"), &std::fclose};
    if (!f) return -1;
    char record[kRecord + 1];
    while (std::fread(record, 1, kRecord, f.get()) == kRecord) {
        record[kRecord] = '\0';
        char member[kRecord + 1];
        long offset = 0;
        if (std::sscanf(record, "%30s%ld", member, &offset) != 2) continue;
        ktStrLoc(member);
        if (!rdbMatch(wanted, member, cls->flags)) continue;
        if (offset < 0) return -1;
        if (outName) ktStrncpyNullTerm(*outName, member, sizeof *outName);
        if (outPath) {
            const char* data = (cls->flags & rdbFlagRELNAME) ? library->name : index->defName;
            if (rdbBuildPath(library->path, data, "lib", 0, *outPath) != rdbStatOK) return -1;
        }
        return offset;
    }
    return -1;
}
