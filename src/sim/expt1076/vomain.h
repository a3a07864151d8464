// Run control: the globals of a run, the tally of its reports, the summary
// and the ways a run ends, and the two sequences (one symbol, a whole
// library) that main chooses between.
#pragma once

struct ktMsgHandle;
struct ktErrStream;

extern ktMsgHandle* msgFp;       // the translator's message file
extern ktErrStream* voErrStrID;  // stream for reports whose notes are kept
extern char ViewLocation[1024];  // location text of the next report
extern int initalization;        // 1 once the design database is started
extern char* libname;            // library of a whole-library run
extern int voGraphicsMode;       // -u: never ask before overwriting

// Counts a report of `level` (1 note, 2 warning, 3 error, 4 fatal).
void vomsg(int level);
// vomsg(level), ViewLocation " ", then the numbered report on no stream.
void voreport(int level, int number, ...);
// The summary report 514 for code 4 or 5; nothing for other codes.
void vodone(int code);
// Summary for 4 or 5, closes the message file, exit(0) for 5 else exit(1).
[[noreturn]] void voexit(int code);
// 1 when an argument behind the program's name is "-q" in any case.
int voquiet(int argc, char** argv);
void voopen_msgfile();

// Loads, examines and writes the symbol of the command line; ends the run.
[[noreturn]] void vosinglerun();
// Translates every symbol of the library; returns main's status.
int volibraryrun();
// The per-file step of a library run; always returns 0.
int volibfile(const char* file, void* data);
