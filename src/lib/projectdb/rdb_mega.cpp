// Mega libraries: the index object, its cached table, and the two ways of
// searching it.
#include "rdb_mega.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string>

#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_obj.h"
#include "rdb_ref.h"

namespace {

constexpr uint32_t kIndexMode = rdbModeREAD | rdbModeBINARY;
constexpr int kRewind = 1;
constexpr int kClose = 4;

bool cacheOn() {
    return !(rdbPolicy & 128);
}

bool hasChild(const rdbClass* parent, const rdbClass* child) {
    for (const rdbClassList* n = parent->children; n; n = n->next)
        if (n->cls == child) return true;
    return false;
}

// Name and offset of one record; an offset that doesn't read counts as
// negative, an entry that doesn't count.
void scanRecord(const char* record, char (&name)[rdbMEGARECORD + 1], long* offset) {
    char text[rdbMEGARECORD + 1];
    std::memcpy(text, record, rdbMEGARECORD);
    text[rdbMEGARECORD] = '\0';
    int used = 0;
    name[0] = '\0';
    *offset = -1;
    if (std::sscanf(text, "%30s%n", name, &used) != 1) return;
    if (ktStrCvtToLong(text + used, LONG_MIN, LONG_MAX, offset) != 1) *offset = -1;
}

// Reads the index file into a table, unless the table in place is of the
// file as it is now.
int loadTable(rdbObject* o) {
    rdbFileRec* f = o->file;
    if (f->megaIndex && !rdbPhysObjModified(o)) return rdbStatOK;
    rdbiMegaFreeIndx(o);
    uint32_t time = 0;
    long size = 0;
    if (!f->stream || ksInfo(o->path, &time, &size, nullptr) != KS_OK ||
        std::fseek(f->stream, 0, SEEK_SET) != 0)
        return rdbStatFAILURE;
    const long records = size / rdbMEGARECORD;
    auto* table = static_cast<rdbiMegaSlot*>(
        ktMemMalloc(static_cast<size_t>(records + 1) * sizeof(rdbiMegaSlot), "rdb_mega"));
    long n = 0;
    char record[rdbMEGARECORD];
    while (n < records && std::fread(record, 1, sizeof record, f->stream) == sizeof record) {
        char name[rdbMEGARECORD + 1];
        long offset;
        scanRecord(record, name, &offset);
        table[n + 1] = {ktStrCpy(ktStrLoc(name)), offset};
        ++n;
    }
    // A file that grew shorter while it was read counts only what was read.
    table[0] = {nullptr, n + 1};
    f->megaIndex = table;
    f->size = size;
    o->timestamp = time;
    o->flags &= ~rdbFlagDIRTY;
    o->flags |= rdbiFlagMEGA_INDEX;
    return rdbStatOK;
}

// The next slot behind the last hit whose name matches `wanted`.
long searchTable(rdbFileRec* f, const char* wanted, uint32_t flags, ksPathBuf* outName) {
    const rdbiMegaSlot* table = f->megaIndex;
    const long slots = table[0].offset;
    long i = f->position < 0 ? 1 : f->position + 1;
    for (; i < slots; ++i)
        if (rdbMatch(wanted, table[i].name, flags)) break;
    if (i >= slots) {
        f->position = slots - 1;
        return -1;
    }
    f->position = i;
    if (table[i].offset < 0) return -1;
    if (outName) ktStrncpyNullTerm(*outName, table[i].name, sizeof *outName);
    return table[i].offset;
}

// The next record of the file whose head matches `wanted`.
long searchFile(rdbFileRec* f, const char* wanted, uint32_t flags, ksPathBuf* outName) {
    if (!f->stream) return -1;
    const size_t length = std::strlen(wanted);
    char record[rdbMEGARECORD];
    long offset = -1;
    for (;;) {
        if (std::fread(record, 1, sizeof record, f->stream) != sizeof record) break;
        if (!rdbiMatch2(wanted, record, std::min<size_t>(length, sizeof record), flags)) continue;
        char name[rdbMEGARECORD + 1];
        scanRecord(record, name, &offset);
        if (offset >= 0 && outName) ktStrncpyNullTerm(*outName, name, sizeof *outName);
        break;
    }
    f->position = std::ftell(f->stream);
    return offset < 0 ? -1 : offset;
}

}  // namespace

rdbClass* rdbiMegaIndexClass(const rdbObject* library, const rdbClass* cls) {
    const rdbSchema* schema = library->database ? library->database->schema : nullptr;
    if (!schema || !cls) return nullptr;
    for (const rdbClassList* n = schema->classes; n; n = n->next)
        if (n->cls && (n->cls->flags & rdbFlagMEGAFILE) && hasChild(n->cls, cls)) return n->cls;
    return nullptr;
}

rdbObject* rdbiMegaOpenTbl(rdbObject* library, const rdbClass* cls, int options, int* status) {
    *status = rdbStatOK;
    rdbClass* index = rdbiMegaIndexClass(library, cls);
    if (!index) {
        *status = rdbStatNOTEXIST;
        return nullptr;
    }
    int st;
    rdbObject* o = rdbiFindObj(1, library, index, "*", nullptr, "tbl", 0, &st);
    const uint32_t wanted = (options & kClose) ? 0 : kIndexMode;
    if (!o) {
        if (options & kClose) return nullptr;
        ksPathBuf spec;
        if ((st = rdbiBuildFileSpec(library, index, nullptr, "tbl", 0, spec)) != rdbStatOK) {
            *status = st;
            return nullptr;
        }
        o = rdbiNewObj(library, index, index->defName, "tbl", 0, spec, -1, &st);
        if (!o) {
            *status = st;
            return nullptr;
        }
        o = rdbiOpenObj(o, kIndexMode, &st);
        if (o->state == 3) {
            rdbiFreeObj(o);
            *status = rdbStatFAILURE;
            return nullptr;
        }
    } else if (o->mode != wanted && rdbiReopenObj(o, rdbModeMEGAINDEX, wanted) != rdbStatOK) {
        *status = rdbStatFAILURE;
        return nullptr;
    }
    if (!(options & kClose) && cacheOn() && loadTable(o) != rdbStatOK) {
        *status = rdbStatFAILURE;
        return nullptr;
    }
    if (options & kRewind) {
        if (!cacheOn() && (!o->file->stream || std::fseek(o->file->stream, 0, SEEK_SET) != 0)) {
            *status = rdbStatFAILURE;
            return nullptr;
        }
        o->file->position = 0;
    }
    return o;
}

long rdbiSearchMega(rdbObject* library, const rdbClass* cls, const char* name, const char* modifier,
                    int32_t version, ksPathBuf* outName, ksPathBuf* outPath, int options) {
    if (outName) (*outName)[0] = '\0';
    if (outPath) (*outPath)[0] = '\0';
    int st;
    rdbObject* index = rdbiMegaOpenTbl(library, cls, options, &st);
    if (!index) return -1;
    ksPathBuf wanted;
    if (rdbiBuildFileName(cls, nullptr, name, modifier, version, wanted) != rdbStatOK) return -1;
    ktStrLoc(wanted);
    long offset = index->file->megaIndex ? searchTable(index->file, wanted, cls->flags, outName)
                                         : searchFile(index->file, wanted, cls->flags, outName);
    if (offset < 0 || !outPath) return offset;
    const char* data = (cls->flags & rdbFlagRELNAME) ? library->name : index->cls->defName;
    if (!library->path || rdbBuildPath(library->path, data, "lib", 0, *outPath) != rdbStatOK) {
        if (outName) (*outName)[0] = '\0';
        return -1;
    }
    return offset;
}

void rdbiMegaFreeIndx(rdbObject* object) {
    rdbFileRec* f = object->file;
    object->flags &= ~rdbiFlagMEGA_INDEX;
    if (!f || !f->megaIndex) return;
    f->position = 0;
    const long slots = f->megaIndex[0].offset;
    for (long i = 1; i < slots; ++i) ktStrFree(f->megaIndex[i].name);
    ktMemFree(f->megaIndex);
    f->megaIndex = nullptr;
}

int rdbPhysObjModified(rdbObject* object) {
    uint32_t time = 0;
    long size = 0;
    if (!object->path || ksInfo(object->path, &time, &size, nullptr) != KS_OK) return 1;
    // The size too: a file rewritten within the second of its time is
    // changed all the same.
    return time != object->timestamp || !object->file || size != object->file->size;
}

int rdbiMatch2(const char* pattern, const char* record, size_t length, uint32_t flags) {
    if (!pattern || !record) return 0;
    std::string p = pattern, r(record, strnlen(record, length));
    if (flags & rdbFlagNOCASE) {
        ktStrUpc(p.data());
        ktStrUpc(r.data());
    } else if (flags & rdbFlagUPCASE) {
        ktStrUpc(p.data());
    } else if (flags & rdbFlagDNCASE) {
        ktStrLoc(p.data());
    }
    return ktStrMat(p.c_str(), r.c_str());
}
