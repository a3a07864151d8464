// Design objects: groups, symbols, symbol pins and attributes, which the
// symbol reader makes, and the schematic side (components, pins, nets,
// sheets), which nothing in this system makes but whose accessors the
// analysis calls and which then find nothing. Every object starts with its
// kind code and lives in the session's pool until the session ends; names
// and values are interned upper case (iwname.h). Attribute lists are kept
// sorted by name, then value, so that a look-up stops at the first element
// past the name.
#pragma once
#include <cstdint>

struct ktSym;

// Kind codes, the first word of every object.
enum {
    IW_KPIN = 1,  // pin of a placed component
    IW_KNET = 2,
    IW_KCOMP = 3,  // placed component
    IW_KSHEET = 4,
    IW_KSPIN = 5,  // symbol pin
    IW_KSYM = 6,
    IW_KGROUP = 7,
    IW_KATT = 8,
    IW_KLIB = 9,
};

// Symbol types and their words: -1 "UNKNOWN", 0 "MODULE", 1 "COMPOSITE",
// 2 "PIN", 3 "PLD", 4 "PLDCOMP".
enum { IW_TUNKNOWN = -1, IW_TMODULE = 0, IW_TCOMPOSITE = 1, IW_TPIN = 2 };

// A symbol holds at most this many pins, its count being 16 bits wide.
constexpr int IW_MAXPINS = 32767;

struct iwsym;
struct iwspin;
struct iwatt;
struct iwcomp;
struct iwsheet;
struct iwnet;

// The unit one name stands for.
struct iwgroup {
    uint32_t kind;  // 7
    uint32_t reserved;
    char* name;  // interned: "ALIAS:NAME" or "NAME", as given to the reader
    iwsheet* sheets;
    iwsym* symbols;  // never empty; iwmkgroup makes the first
    uint32_t reserved2[2];
    iwgroup* nextref;  // chain headed by Ireftop, newest first
    uint32_t tag;
    ktSym* nets;  // net table keyed by net name; empty here
};

// One version of a group's drawing.
struct iwsym {
    uint32_t kind;  // 6
    int16_t version;
    iwatt* attributes;  // sorted
    iwspin* pins;
    int16_t type;      // IW_TUNKNOWN until a Y record sets it
    int16_t pincount;  // after bus expansion the total of the widths
    iwgroup* group;
    iwsym* next;
    uint32_t tag;
};

struct iwspin {
    uint32_t kind;  // 5
    uint32_t reserved;
    char* name;         // interned label; null until an L record sets it
    iwatt* attributes;  // sorted
    iwnet* net;         // always empty here
    iwspin* next;
    uint32_t tag;
    uint32_t reserved2;
};

struct iwatt {
    uint32_t kind;  // 8
    uint32_t reserved;
    char* name;   // interned
    char* value;  // interned; "" when the source had none
    iwatt* next;
};

// The head that pins and nets share: a pin's index is 1 and up (0 in the
// header entry of a component's pin array), a net's is 0 or -1, so a walk
// along a net's ring knows the net when it reaches it.
struct iwnode {
    uint32_t kind;
    int16_t index;
};

struct iwpin {
    iwnode head;      // kind 1
    iwcomp* owner;    // set in entry 0 of the array
    iwnode* nextpin;  // the ring of the pin's net, which ends at the net
    uint32_t tag;
};

struct iwnet {
    iwnode head;  // kind 2, index 0 or -1
    char* name;
    iwnode* firstpin;  // the net itself while it has no pin
    iwgroup* group;
    iwnet* next;
    uint32_t tag;
};

struct iwcomp {
    uint32_t kind;  // 3
    char* reference;
    iwatt* attributes;
    iwpin* pins;  // one entry more than the symbol has pins; entry 0 is a header
    iwsym* symbol;
    iwcomp* next;
    uint32_t tag;
};

struct iwsheet {
    uint32_t kind;  // 4
    int16_t number;
    iwcomp* comps;
    iwgroup* group;
    iwsheet* next;
    ktSym* comptable;
    uint32_t tag;
};

// Every group read, newest first, through nextref.
extern iwgroup* Ireftop;
// The group table, made by the first store_grp.
extern ktSym* Igrp_table;

// ---- objects --------------------------------------------------------------------

// A group with its first symbol (version 1, type -1); the caller enters it
// in the Ireftop chain and the group table.
iwgroup* iwmkgroup(const char* name);
// A symbol (version 1, type -1) of `group`, not yet in its list.
iwsym* iwmksym(iwgroup* group);
// Links a symbol into the group: the first stays first, and a new one goes
// in front of the first later symbol of a higher version, else last.
void iagrpsym(iwgroup* group, iwsym* symbol);
// The symbol of `version` in the list from `first`, or null.
iwsym* ifsymsym(int version, iwsym* first);
iwspin* iwalcspin();
iwspin* iwmkspin(const char* name);
// Unlinks a pin from its symbol and lowers the pin count; returns the pin
// that followed, or null when the pin is not in the list.
iwspin* idsymspn(iwsym* symbol, iwspin* spin);
iwatt* iwmkatt(const char* name, const char* value);
// Inserts in order and returns the list's head: by name, then by value,
// and of two equal pairs the newer first. A null attribute changes nothing.
iwatt* iwaddatt(iwatt* list, iwatt* attribute);
// The attribute named exactly `name` whose value equals `value` without
// regard to case, or null.
iwatt* iwdupatt(iwatt* list, const char* name, const char* value);

// ---- the group table --------------------------------------------------------------

// Stores `group` under its name; a null table is made first. Returns the table.
ktSym* store_grp(ktSym* table, iwgroup* group);
iwgroup* fetch_grp(ktSym* table, const char* name);
void destroy_grp_table(ktSym* table);
// Upper-cases `name` in place and returns the group of that name, or null.
iwgroup* iwgrpref(char* name);

// ---- accessors ------------------------------------------------------------------------

// The first attribute named `name` (any case), or null.
iwatt* ifattatt(const char* name, iwatt* list);
// The net `name` (any case) of the group that `object` (a group, symbol,
// sheet or net) belongs to; null without a net table.
iwnet* ifnetnet(const char* name, void* object);
iwpin* igcompin(iwcomp* component);
iwpin* ignetpin(iwnet* net);
iwspin* ignetspn(iwnet* net);
iwpin* igpincnx(iwpin* pin);
iwnet* igpinnet(iwpin* pin);
iwpin* igpinnnx(iwpin* pin);
iwcomp* igpinown(iwpin* pin);
iwspin* igpinspn(iwpin* pin);
// The name behind the first colon; without one, the name with leading
// white space skipped; "" for a null group or name.
const char* iggrpnam(const iwgroup* group);
// The interned alias in front of the first colon; "" without one.
const char* iggrplnm(const iwgroup* group);
// The name of the first global net (null cursor), then of each next one;
// null at the end. The list is always empty here.
const char* iwgblnet(const void* cursor);
// Frees the list of global nets.
void iwfreegblnets();

// ---- string sets -----------------------------------------------------------------

// String sets, each known by a caller-chosen identity and made on first
// use. inaddmem stores `text` (a copy of it when `copy` is non-zero, else
// the caller's pointer, which must then outlive the set) and returns the
// stored pointer, or null for a null text; it does not look for an equal
// member first. insetmem returns the stored text of a member equal to
// `text` without regard to case, or null. Sets live as long as the process.
const char* inaddmem(int set, const char* text, int copy);
const char* insetmem(int set, const char* text);

// ---- tags -----------------------------------------------------------------------------

// The translator's word in an object of kind 1 to 7; other kinds are ignored.
void iwsettag(void* object, int kind, uint32_t value);
// The word, with `ok` 1; 0 with `ok` 0 for any other kind.
uint32_t iwgettag(const void* object, int kind, int* ok);
