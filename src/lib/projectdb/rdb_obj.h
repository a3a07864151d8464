// Objects of the project database: the records that stand for a master, a
// database, a project, a library or a file. An object is made from its
// class, which lends it its flags, properties, views and the rule for its
// path; it is opened (its directory found or made, its file opened in the
// object's mode), lives in its parent's list of children, and is closed
// with its children and freed. An object is in state 3 from its making
// until it opens, 0 while open, and 1 once closed with its record kept.
#pragma once
#include <cstdint>

#include "rdb_master.h"

// Makes an object of `cls` under `parent` (null for the root of a master),
// in state 3 with status 13. A protected class needs rdbiSYSCALL (else
// status 7); a name over the class's limit gives status 80. `position` is
// the place of a member in a mega file, -1 for none.
rdbObject* rdbiNewObj(rdbObject* parent, rdbClass* cls, const char* name, const char* modifier,
                      int32_t version, const char* path, long position, int* status);
// Opens the object in `mode` and puts it among its parent's children in
// state 0. Returns the open object: this one, or an open twin (same class,
// name, modifier, version and path under the same parent) that took its
// place, with status 53, the object given being freed. On failure the
// object stays in state 3, unless `mode` has 0x800 or its class
// rdbFlagCREATE_ERR: then it opens all the same with mode 0 and the status
// of the failure.
rdbObject* rdbiOpenObj(rdbObject* object, uint32_t mode, int* status);
// Closes the object: its children first (unless `mode` has 0x40000), its
// file or stream (a stream only without 0x4000), its lock. The record is
// freed unless `mode` has 0x40000 and not 0x80000. 0 or a status.
int rdbiCloseObj(rdbObject* object, uint32_t mode);
// Closes the object's hold on its file with `closeMode` and opens it again
// in `newMode`, keeping the record. 0 or a status.
int rdbiReopenObj(rdbObject* object, uint32_t closeMode, uint32_t newMode);
// The first open child of `parent` of class `cls` whose name, modifier and
// version are those given and, unless `path` is null, whose path is
// `path`. With bit 1 of `flags` the name is a pattern of rdbMatch; names
// and modifiers follow the case rule of the class. A version of -1 takes
// any. Null with status 13 when there is none.
rdbObject* rdbiFindObj(int flags, rdbObject* parent, const rdbClass* cls, const char* name,
                       const char* path, const char* modifier, int32_t version, int* status);
// Takes the object out of its parent's children and frees it with all of
// its children, closing what they hold open.
void rdbiFreeObj(rdbObject* object);
// 0 for an object record; 22 for one that isn't open; 74 for no object.
int rdbiValidOpenObj(const rdbObject* object);
// Makes the directory `path`: 0, or 38.
int rdbiCreateDir(const char* path);
// Closes every project with its libraries and files.
void rdbiCloseAllProjects();
