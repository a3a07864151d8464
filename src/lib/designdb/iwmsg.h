// Messages of the design database. Every report goes through iwmsghndlr:
// its text is the numbered message of the database's own message file,
// formatted as a report, and its severity is a bit mask that chooses a
// counter and the outputs that show it. Bit 8 marks the continuation of
// the message before it, which is shown but not counted again. The
// translator reads the counters (iwmsgcount) for its summary.
#pragma once
#include <cstdarg>
#include <cstdio>

struct ktMsgHandle;

// Severities.
enum {
    IW_NOTE = 1,
    IW_WARNING = 2,
    IW_ERROR = 4,
    IW_CONTINUE = 8,
    IW_ERRORCONT = IW_ERROR | IW_CONTINUE,  // 12: one more line of an error
};

// The database's compiled message file, "larkmoor" (iwinit opens it).
extern ktMsgHandle* MsgFileID;

// Builds the report of message `number` with up to ten arguments and hands
// it to the message function.
void iwmsghndlr(int severity, int number, ...);
// The report of message `number`, not shown: good until the next call.
const char* iwmsggen(int number, ...);
// iwmsggen with the arguments in a list.
const char* iwmsggenv(int number, va_list args);
// Counts the severity and writes the formatted text to every output whose
// mask shares a bit with it.
void iwmsgout(int severity, const char* format, ...);
// Adds an output at the head of the list: `format` holds one "%s" for the
// text (null or empty: "%s"). 0 for a null stream, else 1.
int iwmsgsetup(int mask, FILE* stream, const char* format);
// The sum of the counters that the bits 1, 2 and 4 of `mask` select.
int iwmsgcount(int mask);
// Drops every output and clears the counters.
void iwmsgclose();
// Installs the default message function, which prints through iwmsgout.
void iwregmsgdflt();
