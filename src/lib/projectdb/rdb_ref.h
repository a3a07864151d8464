// Object references: the text by which an object is asked for, its parse
// into a chain of elements from the master down to the object, and its
// resolution against the open objects and the files on disk. A reference
// is "class:name@modifier(version)" elements joined by "/"; a text without
// any ":" is a plain path of the file system. Also the rules by which a
// class names and places its files.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "kspath.h"
#include "rdb_master.h"

// One element of a parsed reference.
struct rdbiRefElem {
    rdbClass* cls;
    std::string name, modifier;
    int32_t version = 0;  // -1 for any
    std::string path;     // a plain path's absolute path, else empty
};

// A reference, its elements from the master down.
struct rdbiObjref {
    rdbMaster* master = nullptr;
    rdbDatabase* database = nullptr;
    rdbSchema* schema = nullptr;
    std::vector<rdbiRefElem> elems;
};

// Parses `text` into `ref`, completing the chain of classes up to the
// master: 0, or 42, 43, 44, 46, 48, 49.
int rdbiParseObjref(const char* text, rdbiObjref* ref);
// Makes of a plain path a reference to a file (a directory when the text
// ends in "/") of the file-system database.
int rdbiParseFsRef(const char* text, rdbiObjref* ref);
// Finds the object a reference names: an open one (status 0, in state 0),
// or a new one in state 3 carrying rdbFlagRDEXISTS when its file exists.
// The library element tries the libraries of the current view of its name
// (all of them when it is empty) in order, and takes the first that holds
// the object; a create `mode` takes the first writable one. Null with a
// status when nothing can be named.
rdbObject* rdbiResolveRef(rdbObject* base, const char* text, uint32_t mode, int* status);

// As rdbOpenObject of the reference rdbMakeTmObjref2(library, subdir, name,
// modifier) makes, with the same results and statuses (44 where no
// reference can be made), but without writing the text and parsing it
// again when the parts need no parse.
rdbObject* rdbiOpenTmObject(const char* library, const char* subdir, const char* name,
                            const char* modifier, uint32_t mode, int* status);
// Forgets the parsed forms kept for rdbiOpenTmObject; the classes they
// point to are about to go.
void rdbiForgetTmRefs();

// The file name of an object of `cls`: the name (the class's default, or
// the object's with rdbFlagRELNAME) and "." with the modifier (the class's
// default when none), folded by rdbFlagUPCASE or rdbFlagDNCASE. 0, or 80
// or 81 for a name or modifier over 256 characters, 46 for a version over
// 16000.
int rdbiBuildFileName(const rdbClass* cls, const rdbObject* object, const char* name,
                      const char* modifier, int32_t version, ksPathBuf& out);
// Where an object of `cls` under `parent` lies by the class's relative
// path: under the parent, its parent, or as the class's subdirectory. 0, or
// a status; the physical type must be DIR, FILE or MEGA.
int rdbiBuildFileSpec(rdbObject* parent, const rdbClass* cls, const char* name,
                      const char* modifier, int32_t version, ksPathBuf& out);
// "dir/name.modifier" and "dir/subdir/name.modifier", with no "." for an
// empty modifier; 0, or 12 for a version above 16000 or a path that doesn't
// fit.
int rdbBuildPath(const char* dir, const char* name, const char* modifier, int32_t version,
                 ksPathBuf& out);
int rdbBuildPath2(const char* dir, const char* subdir, const char* name, const char* modifier,
                  int32_t version, ksPathBuf& out);
// A path with every separator made "/": 0, or 12 when it doesn't fit.
int rdbiConvertDelim(const char* path, ksPathBuf& out);
// The absolute path of `path`, without a trailing "/" but for the root: 0,
// or 42.
int rdbiAbsRpath(const char* path, ksPathBuf& out);
