// Error reporting. The one way the system tells its user anything: a
// report is a chain of error objects, each with an application, a
// location, a number, a severity and a text. The text and severity of a
// numbered report come from a message file, so a call site names only a
// number and its arguments. A report is formatted in the style of its
// channel, printed on the error file, appended to the log file, counted in
// an error stream when the caller gave one, and ends the process when it is
// fatal. Failures of the log never stop the system: they are shown once as
// Warnings numbered 1120, which are kept out of the log.
#pragma once
#include <cstdarg>
#include <cstdio>

struct ktMsgHandle;
struct ktDlist;

// Severities: the value, its word and its letter. An unknown value reads
// as "Error", E; an unknown letter as Error.
enum ktErrSevVT {
    KT_ERR_ERROR = 0,     // "Error", E
    KT_ERR_STATUS = 1,    // "Status", S
    KT_ERR_NOTE = 2,      // "Note", I
    KT_ERR_WARNING = 3,   // "Warning", W
    KT_ERR_FATAL = 4,     // "Fatal", F: exit status 3
    KT_ERR_INTERNAL = 5,  // "Internal Error", Z: core dump
    KT_ERR_DISABLED = 6,  // "Disabled", D: logged, never shown
};
constexpr int KT_ERR_NSEVERITIES = 7;

// Output channels; each has a style in ktErrStyleV.
enum ktErrCntxVT { Stderr = 0, StatusLine = 1, AlertBox = 2, LogFile = 3 };
constexpr int KT_ERR_NCHANNELS = 4;

enum ktErrStyleVT { terse = 0, verbose = 1 };

// What a user interface would do with a report of each severity. Set by
// preferences; a report does not depend on it.
enum ktErrActionVT { statusLine = 0, alertBox = 1, disabled = 2 };

struct ktErrObject {
    char* app;       // the application, normally the message file's name
    char* location;  // or null
    char* text;      // or null
    ktErrObject* next;
    int number;  // 0 for none
    int severity;
    int refs;  // 1 at creation
};

struct ktErrStream {
    ktDlist* list;  // error objects, each holding a reference; made on first use
    int alert;
    int dying;  // released when the alert is taken down
    int status;
    int notes;
    int warnings;
    int errors;
    int internals;
    int refs;
};

extern ktErrStyleVT ktErrStyleV[KT_ERR_NCHANNELS];
extern ktErrActionVT ktErrActionV[KT_ERR_NSEVERITIES];
// Reports are printed here; standard error at start (null reads as that).
extern FILE* ktErrFileV;
// Takes reports of ready-made objects: ktErrOut calls it. ktErrReport at start.
extern void (*ktErrOutFuncV)(ktErrStream* stream, ktErrObject* err);

// Objects. Strings are private copies; any of them may be null.
ktErrObject* ktErrCreate(const char* location, const char* app, int number, int severity,
                         const char* text);
ktErrObject* ktErrCreate2(const char* app, int severity, const char* text);
// An object from a numbered message whose text begins with a severity
// designator ("[W] text": severity Warning, text " text"). A text without
// one is still kept, behind a complaint of the foundation library.
ktErrObject* ktErrBuild(const char* location, ktMsgHandle* msgfile, int number, ...);
ktErrObject* ktErrBuildVa(const char* location, ktMsgHandle* msgfile, int number, va_list args);
// Takes one more reference on every object of the chain; returns err.
ktErrObject* ktErrCopy(ktErrObject* err);
// Drops one reference on every object of the chain; an object at 0 is freed.
void ktErrDestroy(ktErrObject* err);
// Unlinks and destroys the objects from *chain up to, not including, stop.
void ktErrDestroyTop(ktErrObject** chain, ktErrObject* stop);
// Hangs `other` behind the last object of `err`; returns err (or other
// when err is null).
ktErrObject* ktErrAppend(ktErrObject* err, ktErrObject* other);
int ktErrSeverity(const ktErrObject* err);
int ktErrNum(const ktErrObject* err);
const char* ktErrApp(const ktErrObject* err);
const char* ktErrText(const ktErrObject* err);
void ktErrLoop(ktErrObject* err, void (*function)(ktErrObject* err, void* data), void* data);

// Reporting. `stream` may be null. Each call consumes its object; a
// pending exception is appended behind it. Fatal and Internal Error do not
// return.
void ktErrReportBuild(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                      ...);
void ktErrReportBuildVa(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                        va_list args);
void ktErrReport(ktErrStream* stream, ktErrObject* err);
// A text that no message file holds.
void ktErrReport2(const char* app, int severity, const char* text);
// Through ktErrOutFuncV.
void ktErrOut(ktErrStream* stream, ktErrObject* err);
void ktErrOut3(const char* location, const char* app, int severity, const char* text);
// Prints straight on the error file: no object, no log.
void ktErrYell(const char* format, ...);
// The text of a chain in the style of `channel`, objects joined by "\n+",
// in a buffer that the next call overwrites.
const char* ktErrString(const ktErrObject* err, int channel);

// Location texts, all in one buffer of 512 characters that the next call
// overwrites (a longer text is cut); null for a null or empty name.
char* ktErrLocationFile(const char* file);
// "<file>, line <n>", or the file alone when line is not above 0.
char* ktErrLocationLine(const char* file, int line);
// "in call to routine <name>()".
char* ktErrLocationRoutine(const char* name);

// Streams count the reports given to them, by severity.
ktErrStream* ktErrStreamCreate();
void ktErrStreamAdd(ktErrStream* stream, ktErrObject* err);
// Clearing the alert drops the objects the stream holds; the counters stay.
void ktErrStreamSetAlert(ktErrStream* stream, int flag);
// Drops a reference; a stream whose alert is up is only marked dying.
void ktErrStreamDestroy(ktErrStream* stream);

// The log file and the preferences of the group "err". ktErrInit runs
// once; `count` and `args` are as ktPrefParse takes them, and the first
// element of `args` names the program for the log file.
void ktErrInit(int* count, char** args);
void ktErrLog(const ktErrObject* err);
void ktErrLogOpenFile();
void ktErrLogEnable(int on);
void ktErrLogSetArgv0(const char* name);
void ktErrLogKeepFiles(int n);
// Puts the log back as a process finds it before its first report: closed,
// wanted, its old file of the same name still to go, one older log kept,
// the program "unknown". For a program that starts its reports anew, and
// for tests.
void ktErrLogReset();
// Deletes the plain files matching `pattern` but the `keep` newest.
void ktErrSaveOnlyNewestFiles(const char* pattern, int keep);
