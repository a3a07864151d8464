// Objects: made from their class, opened by their physical type, linked
// under their parent, closed with their children and freed.
#include "rdb_obj.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <unordered_map>

#include "kspath.h"
#include "ktmem.h"
#include "ktstr.h"
#include "rdb_api.h"
#include "rdb_dircache.h"
#include "rdb_itc.h"
#include "rdb_lock.h"
#include "rdb_mega.h"
#include "rdb_model.h"
#include "rdb_ref.h"

namespace {

void freeText(char* text) {
    if (text) ktStrFree(text);
}

// An object's own copy of each view of its class, with its class list;
// search paths and the ini object come when the view starts.
rdbView* copyViews(const rdbView* views) {
    rdbView* head = nullptr;
    for (const rdbView* v = views; v; v = v->next) {
        rdbView* copy = rdbiNewView(&head, v->name);
        copy->flags = v->flags;
        copy->viewClass = v->viewClass;
        copy->iniClass = v->iniClass;
        for (const rdbClassList* n = v->classes; n; n = n->next) {
            rdbClassList* c = rdbiAddClassList(&copy->classes, n->cls);
            c->flags = n->flags;
            c->smPolicy = n->smPolicy;
            c->versionDepth = n->versionDepth;
            c->storMgr = n->storMgr;
        }
        copy->properties = rdbiCopyProperties(v->properties);
    }
    return head;
}

// The last child of the parent that objects were last put under: a project
// of thousands of libraries gets them one behind the other, and finding
// its end from the start each time cost the square of their number. Any
// object that leaves a list or is freed makes it forget what it knew.
struct LastChild {
    const rdbObject* parent = nullptr;
    rdbObject* last = nullptr;
} lastChild;

void forgetLastChild(const rdbObject* object) {
    if (object == lastChild.parent || object == lastChild.last) lastChild = LastChild{};
}

// How often each path was given to an object, since the start of the run.
// A path given once belongs to one object only, which then has no twin to
// look for among its siblings.
std::unordered_map<std::string, uint32_t>* pathUses = nullptr;

void notePath(const char* path) {
    if (!path || !*path) return;
    if (!pathUses) pathUses = new std::unordered_map<std::string, uint32_t>;
    ++(*pathUses)[path];
}

bool pathUnique(const char* path) {
    if (!path || !*path || !pathUses) return false;
    auto found = pathUses->find(path);
    return found != pathUses->end() && found->second == 1;
}

bool linked(const rdbObject* object) {
    if (!object->parent) return false;
    // Only an object in a list has a sibling; the last of a list has none.
    if (object->sibling) return true;
    if (lastChild.parent == object->parent && lastChild.last && !lastChild.last->sibling)
        return lastChild.last == object;
    for (const rdbObject* c = object->parent->firstChild; c; c = c->sibling)
        if (c == object) return true;
    return false;
}

void unlinkFromParent(rdbObject* object) {
    forgetLastChild(object);
    rdbObject* parent = object->parent;
    if (!parent) return;
    for (rdbObject** link = &parent->firstChild; *link; link = &(*link)->sibling) {
        if (*link == object) {
            *link = object->sibling;
            break;
        }
    }
    object->sibling = nullptr;
}

// Whether `a` stands before `b` in a list sorted by the database's mode.
bool before(const rdbObject* a, const rdbObject* b, uint32_t sortMode) {
    int order = 0;
    switch (sortMode & 15) {
        case rdbSortModeNAME:
            order = rdbStricmp(a->name, b->name);
            break;
        case rdbSortModeMOD:
            order = rdbStricmp(a->modifier, b->modifier);
            break;
        case rdbSortModeVER:
            order = a->version < b->version ? -1 : a->version > b->version;
            break;
        case rdbSortModeDATE: {
            uint32_t ta = a->path ? ksFtime(a->path) : 0, tb = b->path ? ksFtime(b->path) : 0;
            order = ta < tb ? -1 : ta > tb;
            break;
        }
        default:
            return false;
    }
    return (sortMode & 16) ? order > 0 : order < 0;
}

// Puts the object among its parent's children at the place of the sort
// mode: behind its equals, so that an unsorted list keeps the order of
// opening.
void rdbiFindInsertPoint(rdbObject* object) {
    if (!object->parent || linked(object)) return;
    uint32_t sortMode = object->database ? object->database->sortMode : rdbSortModeNONE;
    rdbObject** link = &object->parent->firstChild;
    // Unsorted, an object goes behind all others: behind the known last.
    const uint32_t key = sortMode & 15;
    const bool unsorted = key != rdbSortModeNAME && key != rdbSortModeMOD &&
                          key != rdbSortModeVER && key != rdbSortModeDATE;
    if (unsorted && lastChild.parent == object->parent && lastChild.last)
        link = &lastChild.last->sibling;
    while (*link && !before(object, *link, sortMode)) link = &(*link)->sibling;
    object->sibling = *link;
    *link = object;
    if (unsorted && !object->sibling) lastChild = LastChild{object->parent, object};
}

void closeHandle(rdbObject* object, uint32_t mode) {
    rdbFileRec* f = object->file;
    if (!f) return;
    if (f->stream && !(mode & rdbModeKEEPSTREAM)) std::fclose(f->stream);
    f->stream = nullptr;
    if (f->fd >= 0) ::close(f->fd);
    f->fd = -1;
}

void freeRecord(rdbObject* object) {
    forgetLastChild(object);
    while (rdbObject* child = object->firstChild) {
        object->firstChild = child->sibling;
        child->parent = nullptr;
        freeRecord(child);
    }
    closeHandle(object, 0);
    if (object->file) {
        // An object freed without a close gives up its lock all the same.
        rdbiRemoveLockObj(object, 0, 0);
        if (object->file->megaIndex) rdbiMegaFreeIndx(object);
    }
    rdbiFreeProperties(object->properties);
    rdbiFreeViews(object->views);
    freeText(object->name);
    freeText(object->modifier);
    freeText(object->path);
    if (object->file) {
        rdbiFreeDirCache(object->file);
        ktMemFree(object->file);
    }
    object->kind = 0;  // a stale pointer to it is no object any more
    ktMemFree(object);
}

bool writeMode(uint32_t mode) {
    return mode & rdbModeWRITE;
}

// The fopen mode of an open mode.
std::string streamMode(uint32_t mode) {
    std::string m;
    bool read = mode & rdbModeREAD, write = mode & rdbModeWRITE;
    bool create = mode & rdbModeCREATE, append = mode & rdbModeAPPEND;
    if (read && write)
        m = !create ? "r+" : append ? "a+" : "w+";
    else if (read)
        m = "r";
    else
        m = append ? "a" : "w";
    if (mode & rdbModeBINARY) m += "b";
    return m;
}

int openRaw(rdbObject* o) {
    uint32_t mode = o->mode;
    int flags = (mode & rdbModeREAD) && writeMode(mode) ? O_RDWR
                : writeMode(mode)                       ? O_WRONLY
                                                        : O_RDONLY;
    if (mode & rdbModeCREATE) flags |= O_CREAT;
    if ((mode & rdbModeCREATE) && (mode & rdbModeEXCL)) flags |= O_EXCL;
    if (mode & rdbModeAPPEND) flags |= O_APPEND;
    mode_t perms =
        ((mode & rdbModeUSERWRITE) ? S_IWUSR : 0) | ((mode & rdbModeUSERREAD) ? S_IRUSR : 0);
    o->file->fd = ::open(o->path, flags, perms);
    // Descriptor 0 is the standard input, never a file of ours.
    if (o->file->fd < 1) {
        if (o->file->fd == 0) ::close(0);
        o->file->fd = -1;
        return rdbStatOPENERR;
    }
    return rdbStatOK;
}

// Opens the file of a FILE or MEGA object in its mode.
int rdbiOpenFile(rdbObject* o) {
    if (!o->file || !o->path) return rdbStatFAILURE;
    const uint32_t mode = o->mode;
    if ((mode & rdbModeCREATE) && (o->cls->flags & rdbFlagCREATE_DIR)) {
        ksPathBuf dir;
        if (ksParse2(o->path, nullptr, dir, nullptr) == KS_OK && *dir &&
            ksExists(dir, KS_DIR) != KS_OK && rdbiCreateDir(dir) != rdbStatOK)
            return rdbStatCREATE;
    }
    // Neither read nor write: the object stands for the file unopened.
    if (!(mode & rdbModeRW)) return rdbStatOK;
    o->flags |= rdbFlagRDEXISTS;
    // Whether the file is there matters to an exclusive creation and to the
    // answer of an open that failed; a plain read learns it from the open.
    auto exists = [o] { return ksExists(o->path, KS_FILE) == KS_OK; };
    if ((mode & rdbModeCREATE) && (mode & rdbModeEXCL) && exists()) return rdbStatEXISTS;
    bool locked = false;
    if (writeMode(mode) || (mode & rdbModeKEEPLOCK)) {
        if (mode & rdbModeLOCKTEST) {
            if (rdbObjectLocked(o->path) && !rdbMyLock(o->path)) return rdbStatLOCKED;
        } else {
            if (int st = rdbiLockObj(o)) return st;
            locked = true;
        }
    } else if ((mode & rdbModeLOCKTEST) && rdbObjectLocked(o->path)) {
        return rdbStatLOCKED;
    }
    int st = rdbStatOK;
    uint32_t opened = 0;
    if (mode & rdbModeRAW) {
        st = openRaw(o);
    } else {
        std::string how = streamMode(mode);
        // A file only read comes through the reader of outside files, which
        // takes no FIFO or device.
        o->file->stream = writeMode(mode) || (mode & rdbModeAPPEND)
                              ? std::fopen(o->path, how.c_str())
                              : ksFopenStamped(o->path, how.c_str(), &opened);
        if (!o->file->stream) st = rdbStatOPENERR;
    }
    if (st != rdbStatOK) {
        if (locked) rdbiRemoveLockObj(o, 0, 0);
        return exists() ? rdbStatOPENERR : rdbStatNOTEXIST;
    }
    // A change of mode keeps the time noted at the first opening.
    if (!(mode & rdbModeFINAL)) o->timestamp = opened ? opened : ksFtime(o->path);
    rdbSendObjOpened(o);
    return rdbStatOK;
}

int openDir(rdbObject* o) {
    if (!o->path) return rdbStatFAILURE;
    if (ksExists(o->path, KS_DIR) == KS_OK)
        return (o->mode & (rdbModeCREATE | rdbModeEXCL)) == (rdbModeCREATE | rdbModeEXCL)
                   ? rdbStatEXISTS
                   : rdbStatOK;
    if ((o->mode & rdbModeCREATE) || ((o->cls->flags & rdbFlagCREATE_DIR) && writeMode(o->mode)))
        return rdbiCreateDir(o->path);
    return rdbStatNOTEXIST;
}

// A member of a mega library: its data file, read-only and binary, at the
// member's offset. An offset the index gave that lies beyond the data
// can't be reached.
int openMega(rdbObject* o) {
    if (writeMode(o->mode) || (o->mode & rdbModeRAW)) return rdbStatMODE;
    o->mode |= rdbModeBINARY;
    if (int st = rdbiOpenFile(o)) return st;
    o->flags |= rdbFlagRDEXISTS;
    FILE* f = o->file->stream;
    if (!(o->mode & rdbModeREAD) || !f) return rdbStatOK;
    struct stat s;
    if (o->file->position < 0 || fstat(fileno(f), &s) != 0 || o->file->position > s.st_size ||
        std::fseek(f, o->file->position, SEEK_SET) != 0) {
        std::fclose(f);
        o->file->stream = nullptr;
        return rdbStatFAILURE;
    }
    return rdbStatOK;
}

int tryOpen(rdbObject* o) {
    switch (o->physType) {
        case rdbPhysTypeDIR:
            return openDir(o);
        case rdbPhysTypeFILE:
            return rdbiOpenFile(o);
        case rdbPhysTypeMEGA:
            return openMega(o);
        default:
            return rdbStatOK;
    }
}

// A number property of the object within lo..hi, or `fallback`.
long property(rdbObject* o, const char* name, long lo, long hi, long fallback) {
    rdbProperty* p = rdbiFindProperty(o->properties, name);
    long value = 0;
    if (!p || !p->value || ktStrCvtToLong(p->value, lo, hi, &value) != 1) return fallback;
    return value;
}

// Opens the file or directory of the object; a file locked by somebody
// else is tried again as often and as slowly as the object's properties
// say.
int rdbiOpenFileDir(rdbObject* o) {
    if (writeMode(o->mode) && !rdbiSYSCALL && !(o->parent && writeMode(o->parent->mode)))
        return rdbStatACCESS;
    int st = tryOpen(o);
    if (st != rdbStatLOCKED && st != rdbStatACCESS) return st;
    long count = property(o, "RETRY_COUNT", 0, 99, 1);
    long delay = property(o, "RETRY_DELAY", 0, 99, 1);
    const bool verbose = rdbVerboseV & rdbVerbLOCK;
    if (verbose) {
        rdbPrint("\nFile Locked: %s", o->path ? o->path : "");
        rdbPrint("\n  Retry %ld times with delay %ld", count, delay);
    }
    for (long left = count; left > 0; --left) {
        if (verbose) rdbPrint("\nOpen Retry Countdown: %4ld", left);
        ksSleepSec(static_cast<unsigned>(delay));
        st = tryOpen(o);
        if (st != rdbStatLOCKED && st != rdbStatACCESS) break;
    }
    return st;
}

void foldName(rdbObject* o) {
    if (!o->name || !o->cls) return;
    if (o->cls->flags & rdbFlagUPCASE) ktStrUpc(o->name);
    if (o->cls->flags & rdbFlagDNCASE) ktStrLoc(o->name);
}

bool sameText(const char* a, const char* b, uint32_t flags) {
    if (!a) a = "";
    if (!b) b = "";
    return (flags & rdbFlagNOCASE) ? ktStrIcmp(a, b) == 0 : std::strcmp(a, b) == 0;
}

}  // namespace

rdbObject* rdbiNewObj(rdbObject* parent, rdbClass* cls, const char* name, const char* modifier,
                      int32_t version, const char* path, long position, int* status) {
    *status = rdbStatOK;
    if (!cls) {
        *status = rdbStatBADCLASS;
        return nullptr;
    }
    if ((cls->flags & rdbiFlagPROTECTED) && !rdbiSYSCALL) {
        *status = rdbStatACCESS;
        return nullptr;
    }
    if (name && cls->maxNameLen >= 0 && std::strlen(name) > static_cast<size_t>(cls->maxNameLen)) {
        *status = rdbStatNAMELEN;
        return nullptr;
    }
    auto* o = static_cast<rdbObject*>(ktMemCalloc(1, sizeof(rdbObject), "rdbObject"));
    o->kind = rdbKindOBJECT;
    o->status = rdbStatNOTEXIST;
    o->state = 3;
    o->flags = cls->flags & rdbFlagCLASSBITS;
    o->relPath = cls->relPath;
    o->physType = cls->physType;
    o->cls = cls;
    o->name = ktStrCpy(name);
    o->modifier = ktStrCpy(modifier);
    o->version = version;
    o->path = ktStrCpy(path);
    notePath(o->path);
    o->properties = rdbiCopyProperties(cls->properties);
    o->views = copyViews(cls->views);
    o->parent = parent;
    o->database = parent ? parent->database : nullptr;
    if (o->physType == rdbPhysTypeDIR || o->physType == rdbPhysTypeFILE ||
        o->physType == rdbPhysTypeMEGA) {
        o->file = static_cast<rdbFileRec*>(ktMemCalloc(1, sizeof(rdbFileRec), "rdbFileRec"));
        o->file->fd = -1;
        o->file->position = position;
    }
    return o;
}

rdbObject* rdbiOpenObj(rdbObject* object, uint32_t mode, int* status) {
    *status = rdbStatOK;
    if (!object->cls) {
        *status = rdbStatBADCLASS;
        return object;
    }
    if (!object->parent) {
        *status = rdbStatPARENT;
        return object;
    }
    if (!(mode & rdbModeFINAL)) {
        foldName(object);
        if (object->path && *object->path && object->path[0] != '/') {
            ksPathBuf abs;
            if (rdbiAbsRpath(object->path, abs) == rdbStatOK) {
                ktStrFree(object->path);
                object->path = ktStrCpy(abs);
                notePath(object->path);
            }
        }
        int st;
        if (rdbObject* twin =
                pathUnique(object->path)
                    ? nullptr
                    : rdbiFindObj(1, object->parent, object->cls, object->name ? object->name : "",
                                  object->path, object->modifier, object->version, &st);
            twin && twin != object) {
            rdbiFreeObj(object);
            *status = rdbStatOPEN;
            return twin;
        }
    }
    // The position of a mega index is the place of its last hit, no member's.
    if (object->file && object->file->position >= 0 && !(object->cls->flags & rdbFlagMEGAFILE))
        object->physType = rdbPhysTypeMEGA;
    object->mode = (mode & rdbModeZERO) ? 0 : mode;
    if (!(mode & rdbModeNOTOUCH)) {
        int st = rdbiOpenFileDir(object);
        if (st != rdbStatOK) {
            object->status = *status = st;
            if (!(mode & rdbModeRETURN) && !(object->cls->flags & rdbFlagCREATE_ERR)) {
                closeHandle(object, 0);
                return object;
            }
            object->mode = 0;
        }
    }
    rdbiFindInsertPoint(object);
    object->state = 0;
    object->status = *status;
    // Meta data and class procedures have no part in this system: its
    // master database gives no class either.
    return object;
}

int rdbiCloseObj(rdbObject* object, uint32_t mode) {
    if (!object) return rdbStatFAILURE;
    if (object->cls && (object->cls->flags & rdbiFlagPROTECTED) && !rdbiSYSCALL)
        return rdbStatSYSOBJ;
    const bool keep = (mode & rdbModeFINAL) && !(mode & rdbModeFREE);
    if (object->state == 1) {
        if (keep) return rdbStatOK;
        rdbiFreeObj(object);
        return rdbStatOK;
    }
    if (!(mode & rdbModeFINAL)) {
        while (object->firstChild) {
            rdbObject* child = object->firstChild;
            if (rdbiCloseObj(child, mode & (rdbModeFINAL | rdbModeFREE)) != rdbStatOK &&
                object->firstChild == child)
                rdbiFreeObj(child);  // a child that can't be closed goes with its parent
        }
    }
    // A mega index keeps its table through a change of mode.
    if ((object->flags & rdbiFlagMEGA_INDEX) && !(mode & rdbModeMEGAINDEX))
        rdbiMegaFreeIndx(object);
    // A file opened to keep its lock keeps it through the close.
    const uint32_t keepLock = object->mode & rdbModeKEEPLOCK;
    closeHandle(object, mode);
    object->mode = 0;
    int st = rdbiRemoveLockObj(object, mode | keepLock, 1);
    if (st != rdbStatOK && !(mode & rdbModeFREE)) return st;
    object->state = 1;
    if (object->parent && (object->parent->flags & rdbFlagMETADATA))
        object->parent->flags |= rdbFlagDIRTY;
    if (!keep) rdbiFreeObj(object);
    return rdbStatOK;
}

int rdbiReopenObj(rdbObject* object, uint32_t closeMode, uint32_t newMode) {
    if (object->state == 0 && object->mode == newMode) return rdbStatOK;
    if (object->mode == closeMode && object->mode == newMode) return rdbStatOK;
    if (newMode != 0 && !(newMode & rdbModeREAD)) {
        int st = rdbObjIsMyLock(object);
        if (st != rdbStatOK && st != rdbStatNOTLOCKED) return st;
    }
    uint32_t m = closeMode == rdbModeZERO ? (newMode & 0xf000) : closeMode;
    int st = rdbiCloseObj(object, m | rdbModeFINAL);
    if (st == rdbStatOK) {
        rdbiOpenObj(object, newMode | rdbModeFINAL, &st);
        if (object->state != 0) object->mode &= ~rdbModeRW;
    }
    object->mode &= ~rdbModeFINAL;
    return st == rdbStatOPEN ? rdbStatOK : st;
}

rdbObject* rdbiFindObj(int flags, rdbObject* parent, const rdbClass* cls, const char* name,
                       const char* path, const char* modifier, int32_t version, int* status) {
    *status = rdbStatOK;
    const uint32_t rule = cls ? cls->flags : 0;
    for (rdbObject* c = parent ? parent->firstChild : nullptr; c; c = c->sibling) {
        // The cheapest tests first: a project's libraries differ in their
        // paths, and most have no name of their own.
        if (c->state != 0 || (cls && c->cls != cls)) continue;
        if (version != -1 && c->version != version) continue;
        if (path && std::strcmp(path, c->path ? c->path : "") != 0) continue;
        bool named = (flags & 1) ? rdbMatch(name, c->name ? c->name : "", rule)
                                 : sameText(name, c->name, rule);
        if (!named || !sameText(modifier, c->modifier, rule)) continue;
        return c;
    }
    *status = rdbStatNOTEXIST;
    return nullptr;
}

void rdbiFreeObj(rdbObject* object) {
    if (!object) return;
    unlinkFromParent(object);
    freeRecord(object);
}

int rdbiValidOpenObj(const rdbObject* object) {
    if (int st = rdbValidObjType(object, rdbKindOBJECT)) return st;
    return object->state == 0 ? rdbStatOK : rdbStatNOTOPEN;
}

int rdbiCreateDir(const char* path) {
    return ksCreate(path, KS_DIR) == KS_OK ? int{rdbStatOK} : int{rdbStatCREATE};
}

void rdbiCloseAllProjects() {
    rdbiForgetTmRefs();
    if (!rdbTmDatabaseID) return;
    while (rdbObject* project = rdbTmDatabaseID->firstChild)
        if (rdbiCloseObj(project, rdbModeFREE) != rdbStatOK &&
            rdbTmDatabaseID->firstChild == project)
            rdbiFreeObj(project);
}

// ---- The interface on objects --------------------------------------------------

int rdbReopenObj(rdbObject* object, uint32_t mode) {
    if (int st = rdbValidObjType(object, rdbKindOBJECT)) return st;
    return rdbiReopenObj(object, rdbModeZERO, mode);
}

FILE* rdbObjGetFilePtr(rdbObject* object, int, int* status) {
    *status = rdbValidObjType(object, rdbKindOBJECT);
    if (*status != rdbStatOK) return nullptr;
    if (!object->file || !object->file->stream) {
        *status = rdbStatFAILURE;
        return nullptr;
    }
    FILE* stream = object->file->stream;
    object->file->stream = nullptr;
    *status = rdbiReopenObj(object, rdbModeKEEPSTREAM, rdbModeKEEPSTREAM);
    return stream;
}

int rdbCloseObj(rdbObject* object, uint32_t mode) {
    if (!object) return rdbStatFAILURE;
    if (int st = rdbValidObjType(object, rdbKindOBJECT)) return st;
    return rdbiCloseObj(object, mode);
}

void rdbObjSetUserData(rdbObject* object, void* word) {
    if (rdbValidObjType(object, rdbKindOBJECT) == rdbStatOK)
        object->userData = reinterpret_cast<uintptr_t>(word);
}

void* rdbObjGetUserData(rdbObject* object) {
    if (rdbValidObjType(object, rdbKindOBJECT) != rdbStatOK) return nullptr;
    return reinterpret_cast<void*>(object->userData);
}

int rdbObjMegafile(const rdbObject* object) {
    return rdbValidObjType(object, rdbKindOBJECT) == rdbStatOK &&
           object->physType == rdbPhysTypeMEGA;
}

int rdbObjWritable(const rdbObject* object) {
    return rdbValidObjType(object, rdbKindOBJECT) == rdbStatOK && writeMode(object->mode);
}

int rdbObjReadonly(const rdbObject* object) {
    return rdbValidObjType(object, rdbKindOBJECT) == rdbStatOK && !writeMode(object->mode);
}

int rdbObjSetCurObj(rdbObject* parent, rdbObject* object) {
    if (rdbValidObjType(parent, rdbKindOBJECT) || rdbValidObjType(object, rdbKindOBJECT) ||
        object->parent != parent)
        return rdbStatFAILURE;
    for (rdbObject* c = parent->firstChild; c; c = c->sibling)
        if (c->cls == object->cls) c->flags &= ~rdbFlagCUROBJ;
    object->flags |= rdbFlagCUROBJ;
    return rdbStatOK;
}

rdbObject* rdbObjGetCurObj(rdbObject* parent, const rdbClass* cls) {
    if (rdbValidObjType(parent, rdbKindOBJECT)) return nullptr;
    for (rdbObject* c = parent->firstChild; c; c = c->sibling)
        if (c->cls == cls && (c->flags & rdbFlagCUROBJ)) return c;
    return nullptr;
}
