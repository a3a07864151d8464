// Objects of the project database: the records that stand for a master, a
// database, a project, a library or a file. An object is made from its
// class, which lends it its flags, properties, views and the rule for its
// path, and lives in its parent's list of children while it is open.
#pragma once
#include <cstdint>

#include "rdb_master.h"

// Makes an object of `cls` under `parent` (null for the root of a master),
// in state 3 with status 13. A protected class needs rdbiSYSCALL (else
// status 7); a name over the class's limit gives status 80. `position` is
// the place of a member in a mega file, -1 for none.
rdbObject* rdbiNewObj(rdbObject* parent, rdbClass* cls, const char* name, const char* modifier,
                      int32_t version, const char* path, long position, int* status);
// Opens an object with `mode` and puts it among its parent's children in
// state 0. Objects of physical type NULL and PSEUDO have nothing on disk;
// the opening of files and directories is not here yet, and such an
// object stays closed with status 12.
int rdbiOpenObj(rdbObject* object, uint32_t mode, int* status);
// Takes the object out of its parent's children and frees it with all of
// its children.
void rdbiFreeObj(rdbObject* object);
