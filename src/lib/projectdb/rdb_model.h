// Making, finding and freeing the records of a master database. Both file
// readers fill a master through these calls, so a record made from the
// text form and one made from the binary form start alike. Names are
// found without regard to case; a master keeps its classes in a table as
// well as in its list, so that a large file costs no more than its size.
#pragma once
#include <cstdint>

#include "rdb_master.h"

// ---- Masters -------------------------------------------------------------------
// A new master at the end of the chain, or the known one of that name with
// status 14.
rdbMaster* rdbiNewMaster(const char* name, int* status);
rdbMaster* rdbiFindMaster(const char* name);
// The oldest and the newest master, or null.
rdbMaster* rdbiFirstMaster();
rdbMaster* rdbiLastMaster();
// Takes the master out of the chain and frees it with all it owns, its
// objects included.
void rdbiFreeMaster(rdbMaster* master);

// Adds a user record of this process, `path` being the master database file
// as the caller named it: 0, 14 for one equal in facility,
// version and path, 20 for a negative facility or a version that is null,
// empty or longer than 12 characters.
int rdbiRegisterUser(rdbMaster* master, int facility, const char* version, const char* path);
// Drops the newest user record; 0, or 13 when there is none.
int rdbiUnregisterUser(rdbMaster* master);

// Adds a file specification behind the others: 0, or 53 when one of this
// path is listed already (and nothing is added).
int rdbiAddFileSpec(rdbMaster* master, const char* path, const char* version, int32_t fileVersion,
                    int32_t timestamp);

// ---- Tables of a master --------------------------------------------------------
// Each New call makes a record at the end of its list; the caller has made
// sure that the name is new. A Find gives null for an unknown name.
rdbClass* rdbiNewClass(rdbMaster* master, const char* name);
rdbClass* rdbiFindClass(const rdbMaster* master, const char* name);
rdbSchema* rdbiNewSchema(rdbMaster* master, const char* name);
rdbSchema* rdbiFindSchema(const rdbMaster* master, const char* name);
rdbStorMgr* rdbiNewStorMgr(rdbMaster* master, const char* name);
rdbStorMgr* rdbiFindStorMgr(const rdbMaster* master, const char* name);
rdbDatabase* rdbiNewDatabase(rdbMaster* master, const char* name);
rdbDatabase* rdbiFindDatabase(const rdbMaster* master, const char* name);
// Sets a symbol, replacing the value of a known one.
void rdbiSetSymbol(rdbMaster* master, const char* name, const char* value);
rdbSymbol* rdbiFindSymbol(const rdbMaster* master, const char* name);

// ---- Parts of records ------------------------------------------------------------
// Sets a property of a list; a known name has its value replaced when
// `replace` says so, else the call fails with status 12. 0 on success.
int rdbiSetProperty(rdbProperty** list, const char* name, const char* value, int replace);
rdbProperty* rdbiFindProperty(rdbProperty* list, const char* name);
// A copy of a whole list, in its order.
rdbProperty* rdbiCopyProperties(const rdbProperty* list);
void rdbiFreeProperties(rdbProperty* list);

// Appends a node for `cls` to the list that `link` leads into, and returns
// it. A caller that adds many keeps the node's `next` as the next link, so
// that no add walks the list.
rdbClassList* rdbiAddClassList(rdbClassList** link, rdbClass* cls);
void rdbiFreeClassList(rdbClassList* list);

// Views of a class, in order; a new view has no flags and no classes.
rdbView* rdbiFindView(rdbView* list, const char* name);
rdbView* rdbiNewView(rdbView** list, const char* name);
void rdbiFreeViews(rdbView* list);

rdbRelation* rdbiFindRelation(rdbClass* cls, const char* name);
rdbRelation* rdbiNewRelation(rdbClass* cls, const char* name, uint32_t type, uint32_t ordinality);

void rdbiAddClassProc(rdbClass* cls, const char* name, const char* value);
