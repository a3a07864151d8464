// The design database session: opened once per process at the first
// symbol, it makes the pool of objects and names, opens the database's
// message file, starts the project database, opens the project of the
// current directory with the editor's library list (scrivet.ini), and holds
// the run-wide switches that the translator sets before it reads a symbol.
// A session that can't be opened says why and leaves the run to end.
#pragma once
#include <cstdint>
#include <cstdio>

// The session's message routing and counters.
#include "iwmsg.h"

struct rdbObject;

// A library of the project, kind 9.
struct iwlib {
    uint32_t kind;  // 9
    rdbObject* object;
    char* path;  // interned
    iwlib* next;
};

extern int Iinitdone;           // the session is open
extern int Iexpand;             // the symbol reader expands bus pins
extern int Icombine_hetero;     // stored; nothing reads it
extern rdbObject* IprojectIod;  // the open project
extern iwlib* Iliblist;         // one record per library path, newest first

// Opens the session: 1, or 0 after its messages. A second call after
// success returns 1 at once.
int iwinit();
// Ends the session; nothing happens without one.
void iwfinish();
// Frees the scratch buffers; safe between symbols.
void iwcleanup();
// Pushes an upper-cased copy of `text` on the level stack; null empties it.
void iwsetlevel(const char* text);
// Toggles the bus expansion of the reader and returns the new state.
int iwexpbus();
// Mode 0 or 1 sets the flag; any other gives message 514. Returns the flag.
int iwcombine_hetero(int mode);
// The run's status-line settings; a stream is kept only if it is a terminal.
void iwstatmode(int flag);
void iwstatln(FILE* stream);
// 1 when the session is open; else a complaint naming `name` on standard
// error, and 0.
int iwinidone(const char* name);
// Builds Iliblist from the libraries of the project.
void iwaddlibs();
// The record of the library path `text` (letter case ignored), made when
// new; null, with a warning, for a path that can't be one.
iwlib* imclib(const char* text);
