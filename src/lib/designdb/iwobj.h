// Design objects: groups, symbols, symbol pins and attributes as the
// translator sees them, with the name table they are interned in. Every
// name and value passed through iwmkname is stored in upper case.
#pragma once
#include <cstdint>

struct iwsym;
struct iwspin;
struct iwatt;

struct iwgroup {
    uint32_t kind;  // 7
    uint32_t reserved;
    char* name;  // interned upper-case name, "ALIAS:NAME" or "NAME"
    void* sheets;
    iwsym* symbols;
    uint32_t reserved2[2];
    iwgroup* nextref;  // chain headed by Ireftop, newest first
    uint32_t tag;
    void* nets;
};

struct iwsym {
    uint32_t kind;  // 6
    int16_t version;
    iwatt* attributes;
    iwspin* pins;
    int16_t type;
    int16_t pincount;
    iwgroup* group;
    iwsym* next;
    uint32_t tag;
};

struct iwatt {
    uint32_t kind;  // 8
    uint32_t reserved;
    char* name;   // interned upper-case name
    char* value;  // interned upper-case value; "" when the source had none
    iwatt* next;
};

// Every group read, newest first, through nextref.
extern iwgroup* Ireftop;

char* iwmkname(const char* text);
iwgroup* iwmkgroup(const char* name);
const char* iggrpnam(const iwgroup* group);
const char* iggrplnm(const iwgroup* group);

// String sets, each known by a caller-chosen identity and made on first
// use. inaddmem stores `text` (a copy of it when `copy` is non-zero, else
// the caller's pointer, which must then outlive the set) and returns the
// stored pointer, or null for a null text; it does not look for an equal
// member first. insetmem returns the stored text of a member equal to
// `text` without regard to case, or null.
const char* inaddmem(int set, const char* text, int copy);
const char* insetmem(int set, const char* text);

// The global nets of the design, one name per call: a null cursor gives the
// first, any other cursor the next; null at the end. Only schematics hold
// global nets, and nothing here reads a schematic, so the list is empty.
const char* iwgblnet(const void* cursor);
