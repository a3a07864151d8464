// The translator's records: one root, vodata, through which every part of
// the translator reaches the command line, the configuration read from the
// initialization file, the output channel and the groups built from the
// symbols. Every record has its allocator and its release; allocators never
// return null, and a release of a list record takes the rest of the list,
// its strings and its sub-records with it.
#pragma once
#include <cstddef>
#include <cstdio>

struct iwgroup;

struct volev {
    volev* next;
    char* name;
};

struct vocmdl {
    char* name;     // symbol or library name
    volev* levels;  // newest first
    char* outdir;
    int writeini;
    int warnpintype;  // default 1
    int genclause;    // default 1
    int quiet;
    int overwrite;
    int vectors;  // default 1; 0 expands buses
    int kind;     // set to 2 by vocmdlin
    int library;  // whole-library run
};

struct vohead {
    vohead* next;
    char* text;
};

struct vogen {
    vogen* next;
    char* name;
    char* vhdlname;  // null: the generic is not written
    char* type;
    char* value;
    int used;  // default 1
    char* trailer;
};

struct voattr {
    voattr* next;
    char* name;
    char* vhdlname;
    char* type;
    char* value;
};

struct vosigt {
    char* type;
    char* base;
};

struct vovect {
    char* type;
    char* base;
};

struct voTicksize {
    double value;
    char* unit;
};

struct voDelay {
    int kind;  // 1 min, 2 typical, 3 max
    char* word;
};

struct vozval {
    char* value;
};

struct vosinit {
    vosinit* next;
    char* name;
    char* value;
};

struct votrans {
    votrans* next;
    char* from;
    char* to;
    int fromlen;
};

struct vopint {
    vopint* next;
    char* name;
    int dir;  // default 4
};

struct voplace {
    struct voplace* next;
    int kind;   // 1 compdecl, 2 sigdecl
    int where;  // 1 architecture, 2 package
    char* file;
    char* ext;
};

struct voae {
    voae* next;
    char* formal;
    char* actual;
};

struct vobind {
    char* lib;
    char* entity;
    char* arch;
    voae* genmap;
    voae* portmap;
};

struct voCons {
    char* name;
    char* type;
    char* value;
    voCons* next;
};

struct vocomp {
    vocomp* next;
    char* name;
    vobind* bind;
    vogen* gens;
    voCons* consts;  // filled by nothing
};

struct voini {
    char* name;
    FILE* fp;  // open during voreadini
    int line;      // default 1
    int stmtline;  // default 1
    vohead* headers;  // newest first
    char* gendefault;
    char* attdefault;
    vogen* gens;
    voattr* attrs;
    vosigt* sigtype;
    vovect* vectype;
    vovect* vec2type;
    voTicksize* ticksize;
    voDelay* delay;
    vozval* zval;
    vosinit* sinits;
    vocomp* comps;
    vopint* pintypes;  // file order
    vopint* autopins;
    votrans* words;  // file order
    votrans* chars;  // file order
    votrans* trlist;
    char* prefix;
    struct voplace* places;  // file order
    int listids;  // default 1: 1 none, 2 translated, 3 all
};

struct vofile {
    FILE* fp;
    int level;
    int unit;   // default 4
    int hang;
    int width;  // default 76
    int column;
};

struct voglist {
    voglist* next;
    vogen* gen;  // not owned
};

struct voclist {
    voclist* next;
    voCons* cons;  // not owned
};

struct voalist {
    voalist* next;
    voattr* attr;  // not owned
    int flags;     // bit 1 seen on the symbol, bit 2 seen on a pin
};

struct voComman {
    char** pair;  // name and value
    voComman* next;
};

struct voImport {
    int kind;
    char* name;
    voImport* next;
};

struct vogroup {
    vogroup* next;
    iwgroup* grp;  // not owned
    char* entity;
    char* arch;
    char* lib;
    char* base;
    char* ext;
    int nopintype;
    vocomp* comp;  // not owned
    voglist* gens;
    voclist* consts;
    voglist* hiergens;
    voalist* alist;
    voComman* comments;
    voComman* pprs;
    voImport* imports;
};

// Shared scratch space: nothing in it outlives its next use.
constexpr int VO_BUFSIZE = 2048;

struct vodata {
    vocmdl* cmdl;
    voini* ini;
    vofile* file;
    char* buf;  // VO_BUFSIZE bytes
    iwgroup* top;
    int warnings;
    int errors;
    int fatals;
    vogen* gens;
    voattr* attrs;
    vogroup* hier;
    vogroup* prims;
};

extern vodata* vo;
// Bytes handed out by the counting allocators, less what was given back.
extern long vomemtotal;

void* voalloc(size_t size);
void vofree(void* block, size_t size);
char* vostcpy(const char* text);
void vostfree(char* text);

vodata* vodatabloc();
void vodatafree(vodata* root);
vocmdl* vocmdlbloc();
void vocmdlfree(vocmdl* cmdl);
voini* voinibloc();
void voinifree(voini* ini);
vofile* vofilebloc();
void vofilefree(vofile* file);
vogroup* vogroupbloc();
void vogroupfree(vogroup* group);

vohead* voheadbloc();
void voheadfree(vohead* head);
vogen* vogenbloc();
void vogenfree(vogen* gen);
voattr* voattrbloc();
void voattrfree(voattr* attr);
vosigt* vosigtbloc();
void vosigtfree(vosigt* sigt);
vovect* vovectbloc();
void vovectfree(vovect* vect);
voTicksize* voTicksizeBlock();
void voTicksizeFree(voTicksize* ticksize);
voDelay* voDelayBlock();
void voDelayFree(voDelay* delay);
vozval* vozvalbloc();
void vozvalfree(vozval* zval);
vosinit* vosinitbloc();
void vosinitfree(vosinit* sinit);
votrans* votransbloc();
void votransfree(votrans* trans);
vopint* vopintbloc();
void vopintfree(vopint* pint);
struct voplace* voplacebloc();
void voplacefree(struct voplace* place);
vocomp* vocompbloc();
void vocompfree(vocomp* comp);
vobind* vobindbloc();
void vobindfree(vobind* bind);
voae* voaebloc();
void voaefree(voae* ae);
voglist* voglistbloc();
void voglistfree(voglist* list);
voclist* voclistbloc();
void voclistfree(voclist* list);
voalist* voalistbloc();
void voalistfree(voalist* list);
volev* volevbloc();
void volevfree(volev* lev);

// Records of the examination pass that are never released one by one and
// are not counted in vomemtotal.
voCons* voConsBlock();
voComman* voCommanBlock();
voImport* voImportBlock();

// Searches without regard to case; each returns the first match or null.
vocomp* vofindcomp(const char* name);
vosinit* vofindsi(const char* name);
voattr* vofindatt(const char* name);
vogen* vofindgen(const char* name, vocomp* comp);
vogen* voFindGenHier(const char* name, vocomp* comp);
voglist* vofindgl(const char* name, voglist* list);
voalist* vofindal(const char* name, voalist* list);
voCons* voFindConst(const char* name, vocomp* comp);
// Compares handles, not names: hier first, then prims.
vogroup* vofindgr(const iwgroup* handle);
