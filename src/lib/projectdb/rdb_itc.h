// The project database's side of inter-tool messages: a tool above number
// 1 that the environment (RDBITC) allows may start a session when its
// master database is read. The translator is tool number 1, so no session,
// socket or daemon exists in its runs.
#pragma once

#include "rdb_master.h"

// Starts the tool session of `master` when none exists, the tool number
// (the facility of the master's newest user) is above 1 and RDBITC set the
// master's flag 2; otherwise 0. The session layer is not here yet: a tool
// that would start one gets status 12, as when the session can't be made.
int rdbInitItc(rdbMaster* master);
// Tells the tool session that an object's file was opened; 0 without a
// session, which is every run of the translator.
int rdbSendObjOpened(rdbObject* object);
