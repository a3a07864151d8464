// Error reporting. The one way the system tells its user anything: a
// report has an application, a location, a number, a severity and a text,
// is printed on the error file, counted in a stream if the caller gave one,
// and ends the process when it is fatal.
#pragma once
#include <cstdarg>

struct ktMsgHandle;

// Severities: the value, its word and its letter.
enum ktErrSevVT {
    KT_ERR_ERROR = 0,     // "Error", E
    KT_ERR_STATUS = 1,    // "Status", S
    KT_ERR_NOTE = 2,      // "Note", I
    KT_ERR_WARNING = 3,   // "Warning", W
    KT_ERR_FATAL = 4,     // "Fatal", F: exit status 3
    KT_ERR_INTERNAL = 5,  // "Internal Error", Z: core dump
    KT_ERR_DISABLED = 6,  // "Disabled", D: logged, never shown
};

struct ktErrObject {
    char* app;
    char* location;
    char* text;
    ktErrObject* next;
    int number;
    int severity;
    int refs;
};

struct ktErrStream {
    void* list;
    int alert;
    int dying;
    int status;
    int notes;
    int warnings;
    int errors;
    int internals;
    int refs;
};

// Objects. Strings are private copies; a chain is released by ktErrDestroy.
ktErrObject* ktErrCreate(const char* location, const char* app, int number, int severity,
                         const char* text);
ktErrObject* ktErrBuild(const char* location, ktMsgHandle* msgfile, int number, ...);
ktErrObject* ktErrBuildVa(const char* location, ktMsgHandle* msgfile, int number, va_list args);
ktErrObject* ktErrAppend(ktErrObject* err, ktErrObject* other);
void ktErrDestroy(ktErrObject* err);
// Unlinks and destroys the objects from *chain up to, not including, stop.
void ktErrDestroyTop(ktErrObject** chain, ktErrObject* stop);

// Reports a ready object and consumes it.
void ktErrReport(ktErrStream* stream, ktErrObject* err);

ktErrStream* ktErrStreamCreate();
void ktErrReportBuild(ktErrStream* stream, const char* location, ktMsgHandle* msgfile, int number,
                      ...);
void ktErrReportBuildVa(ktErrStream* stream, const char* location, ktMsgHandle* msgfile,
                        int number, va_list args);
void ktErrReport2(const char* app, int severity, const char* text);
// Prints straight on the error file: no object, no log.
void ktErrYell(const char* format, ...);

// "in call to routine <name>()" in a buffer of 512 characters that the next
// location call overwrites; null for a null or empty name.
char* ktErrLocationRoutine(const char* name);

// Makes an object of the texts and reports it with no stream.
void ktErrOut3(const char* location, const char* app, int severity, const char* text);
