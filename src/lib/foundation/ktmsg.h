// Message files. Nearly every text the system shows, and every VHDL
// statement template the translator writes, is a numbered message in a
// message file. A handle names an open file; ktMsgStatic gives a message
// filled with its arguments in a buffer that the next call overwrites.
#pragma once
#include <cstdarg>

struct ktMsgCore;

struct ktMsgHandle {
    ktMsgHandle* next;  // handles form one list, newest first
    ktMsgHandle* prev;
    ktMsgCore* core;  // the open file
    char* name;
    char* app;
    char* label;
    char* minver;
    char* maxver;
    int refs;
};

ktMsgHandle* ktMsgFileOpen(const char* name, const char* app, const char* label,
                           const char* minver, const char* maxver);
void ktMsgFileClose(ktMsgHandle* handle);
// The foundation library's own message file, opened on first use.
ktMsgHandle* ktMsgFile();
const char* ktMsgGetFilename(ktMsgHandle* handle);
char* ktMsgStatic(ktMsgHandle* handle, int number, ...);
char* ktMsgStaticVa(ktMsgHandle* handle, int number, va_list args);
