// The symbol file reader: reads <library>/sym/<name>.<version> into a group
// and its symbol, with pins and attributes.
#pragma once

struct iwsym;

// Reads the symbol "LIB:NAME.VERSION" or "NAME.VERSION"; null on failure.
iwsym* iwrdsym(const char* name);
