// Command line and prompts. Options are scanned to the end before a bad
// one ends the run, so the usage text comes once. Every name on the command
// line reads the editor's library list again; the library manager takes a
// line it already holds without complaint. The output directory is the
// user's, if it can be made, else "behv" beside the symbol.
#include "vocmdlin.h"

#include <cstdio>
#include <cstring>
#include <memory>

#include "entgen_msg.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktdufs.h"
#include "ktstr.h"
#include "qfm.h"
#include "qlm.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votok.h"

namespace {
constexpr const char* kOptions = "IiL:l:D:d:rR";

void usage() {
    std::fputs(
        "\nUsage: ENTGEN [-l library] [symbol.ext] [-switched options]\n\n"
        "    symbol.ext       Create VHDL for one symbol     \n"
        "    -i       Create initialization file: symbol/library.ini\n"
        "    -d dir   Write all output to directory dir\n"
        "    -l       Create VHDL for all symbols in a Library\n"
        "    -s       Expand buses into individual nets.\n"
        "    -o       Overwrite existed VHDL models.\n"
        "\nAll arguments except the design name are optional.\n\n",
        stderr);
}

[[noreturn]] void optionError(const char* text) {
    std::fputs(text, stdout);
    voexit(4);
}

void replace(char*& field, char* value) {
    vostfree(field);
    field = value;
}

// Asks until `equal` takes the answer for one of the two words; returns
// 1 for the first word.
int choose(const char* question, const char* dflt, const char* first, const char* second) {
    std::strcpy(vo->buf, "x");
    while (!equal(vo->buf, first) && !equal(vo->buf, second))
        getreply(question, dflt, vo->buf, VO_BUFSIZE);
    return equal(vo->buf, first);
}
}  // namespace

int vogetopt(int argc, char** argv, const char* optstring, char** value, int* index) {
    if (*index >= argc) return -1;
    char* arg = argv[*index];
    if (arg[0] != '-') {
        *value = arg;
        ++*index;
        return 0;
    }
    *value = nullptr;
    const char* at = arg[1] ? std::strchr(optstring, arg[1]) : nullptr;
    if (at && at[1] == ':') {
        if (arg[2]) *value = arg + 2;
        else if (*index + 1 < argc) *value = argv[++*index];
    }
    ++*index;
    return arg[1];
}

void vocmdlin(int argc, char** argv) {
    vocmdl* c = vo->cmdl = vocmdlbloc();
    int bad = 0;
    int index = 1;
    char* value = nullptr;
    for (int opt; (opt = vogetopt(argc, argv, kOptions, &value, &index)) != -1;) {
        if (opt >= 'a' && opt <= 'z') opt -= 'a' - 'A';
        switch (opt) {
            case 0:
                if (!c->name) {
                    c->name = vostcpy(value);
                } else {
                    volev* lev = volevbloc();
                    lev->name = vostcpy(value);
                    lev->next = c->levels;
                    c->levels = lev;
                }
                read_tmdir(0);
                break;
            case 'D':
                if (c->library)
                    optionError("\n ERROR: Option (-l) and (-d) can not be use together.\n");
                if (!value || value[0] == '-')
                    optionError("\n ERROR: expecting to find directory name after (-d).\n");
                replace(c->outdir, chk_outdir(value, 1));
                break;
            case 'I': c->writeini = 1; break;
            case 'O': c->overwrite = 1; break;
            case 'S': c->vectors = 0; break;
            case 'U': voGraphicsMode = 1; break;
            case 'L':
                c->library = 1;
                read_tmdir(0);
                if (!value || value[0] == '-')
                    optionError("\n ERROR: expecting to find library name after (-l).\n");
                replace(c->name, vostcpy(value));
                break;
            default: ++bad; break;
        }
    }
    if (bad) {
        usage();
        voexit(4);
    }
    if (!c->name) {
        read_tmdir(0);
        usage();
        voprompt();
    }
    vodefext();
    if (!c->library && !c->name) voexit(0);
    if (!c->library && !c->outdir) c->outdir = chk_outdir(c->name, 0);
    if (c->kind == 0) c->kind = 2;

    std::printf("\nProcessing design: %s\n", c->name ? c->name : "");
    if (c->levels) {
        std::fputs("Level(s):", stdout);
        voshowlevels(c->levels);
        std::fputs("\n", stdout);
    }
    std::printf("Output directory: %s\n", c->outdir ? c->outdir : "current");
    std::fputs("\n", stdout);
}

void voshowlevels(volev* level) {
    // The list holds the newest level first; show the oldest first.
    if (!level) return;
    voshowlevels(level->next);
    std::printf("  %s", level->name);
}

void vodefext() {
    vocmdl* c = vo->cmdl;
    if (!c->name || c->library) return;
    char ext[KS_PATHMAX];
    if (ksParse(c->name, nullptr, nullptr, nullptr, ext) != KS_OK || *ext) return;
    size_t n = std::strlen(c->name) + 3;
    char* named = static_cast<char*>(voalloc(n));
    std::snprintf(named, n, "%s.1", c->name);
    replace(c->name, named);
}

void voprompt() {
    vocmdl* c = vo->cmdl;
    std::strcpy(vo->buf, "x");
    while (!equal(vo->buf, "library") && !equal(vo->buf, "symbol"))
        getreply("Translate library or symbol?", "symbol", vo->buf, VO_BUFSIZE);
    if (equal(vo->buf, "library")) c->library = 1;

    getreply(c->library ? "Library name" : "Symbol name:", nullptr, vo->buf, VO_BUFSIZE);
    if (!*vo->buf) return;
    replace(c->name, vostcpy(vo->buf));
    if (!c->library) replace(c->outdir, chk_outdir(c->name, 0));

    getreply("Output directory[current]", nullptr, vo->buf, VO_BUFSIZE);
    if (*vo->buf) {
        char* dir = vostcpy(vo->buf);
        replace(c->outdir, chk_outdir(dir, 1));
        vostfree(dir);
    }
    if (choose("Write .ini file?", "No", "Yes", "No")) c->writeini = 1;
    if (choose("To overwrite existed VHDL models?", "No", "Yes", "No")) c->overwrite = 1;
    if (choose("Expand buses?", "No", "Yes", "No")) c->vectors = 0;
}

namespace {
// Lines of scrivet.ini are read up to this length.
constexpr int kLineMax = 512;

// Ends a line that filled the buffer: true when the line was longer, its
// rest then skipped.
bool lineWasCut(FILE* f) {
    int c = std::fgetc(f);
    if (c == '\n' || c == EOF) return false;
    while (c != '\n' && c != EOF) c = std::fgetc(f);
    return true;
}

// The text behind the word DIR, or null for any other line.
char* dirText(char* line) {
    while (*line == ' ' || *line == '\t') ++line;
    if (ktStrNicmp(line, "DIR", 3) != 0 || (line[3] != ' ' && line[3] != '\t')) return nullptr;
    return line + 3;
}

// Takes one DIR line into the library list; true when it names a library.
bool takeDirLine(char* text, int number) {
    if (kqLibDirectory* dir = qlm_read(text)) return *qlm_id_get_name(dir) != '\0';
    if (qlm_get_status() == QLM_NODIR) {
        voreport(4, VOM_NODIRECTORY, text);
    } else {
        voreport(3, VOM_BADDIRLINE, number);
    }
    return false;
}
}  // namespace

void read_tmdir(int flag) {
    if (flag != 0) return;
    char path[KS_PATHMAX];
    FILE* raw = ksGetini("scrivet.ini", path) == KS_OK ? ksFopen(path, "r") : nullptr;
    if (!raw) {
        voreport(4, VOM_NOSCRIVET);
        return;
    }
    // The stream reads through a block of ours, so it never asks the system
    // for a block size; one list is read at a time, and closed here.
    static char block[BUFSIZ];
    std::setvbuf(raw, block, _IOFBF, sizeof block);
    std::unique_ptr<FILE, decltype(&std::fclose)> f{raw, &std::fclose};
    char line[kLineMax];
    int number = 0;
    bool named = false;
    while (ktDufsFgets(line, sizeof line, f.get())) {
        ++number;
        size_t n = std::strlen(line);
        bool cut = false;
        if (n && line[n - 1] == '\n') line[n - 1] = '\0';
        else if (n == sizeof line - 1) cut = lineWasCut(f.get());
        char* text = dirText(line);
        if (!text) continue;
        // A cut line would name another directory: refuse it.
        if (cut) voreport(3, VOM_BADDIRLINE, number);
        else if (takeDirLine(text, number)) named = true;
    }
    if (!named) {
        std::fputs(" \n", stdout);
        voreport(3, VOM_NOLIBNAMED);
    }
}

namespace {
// The behv directory beside the symbol `design` ("lib:name.ext"); ends
// the run when the symbol is in no library or its library is read-only.
char* behvDirectory(const char* design) {
    char copy[KS_PATHMAX], library[KS_PATHMAX];
    char base[KS_PATHMAX] = "", ext[KS_PATHMAX] = "";
    // A name this long names no file; it is shown cut.
    bool fits = std::strlen(design) < sizeof copy;
    ktStrncpyNullTerm(copy, design, sizeof copy);
    std::strcpy(library, q_split_lib_comp(copy));
    if (!fits || ksParse(copy, nullptr, nullptr, base, ext) != KS_OK)
        ktStrncpyNullTerm(base, copy, sizeof base);
    if (!*ext) std::strcpy(ext, "1");
    kqLibDirectory* dir = fits ? qfm_find_directory(library, QFM_SYMBOL, base, ext) : nullptr;
    // The library goes into the reports as the name gave it, even empty.
    if (!dir) {
        voreport(4, VOM_SYMNOTFOUND, base, ext, library);
        voexit(4);
    }
    if (!qlm_id_writable(dir)) {
        voreport(4, VOM_READONLYLIB, library);
        voexit(4);
    }
    char behv[KS_PATHMAX];
    ktStrncpyNullTerm(behv, qlm_id_get_path(dir), sizeof behv);
    if (ksDnpath(behv, "behv") != KS_OK) return nullptr;
    // A directory that can't be made shows when the model is opened. The
    // symbols of a library run share their directory: the one found there
    // for the symbol before needn't be looked for again.
    static char found[KS_PATHMAX];
    if (std::strcmp(found, behv) != 0 &&
        (ksExists(behv, KS_DIR) == KS_OK || ksCreate(behv, KS_DIR) == KS_OK))
        std::strcpy(found, behv);
    return vostcpy(behv);
}
}  // namespace

char* chk_outdir(const char* name, int isexplicit) {
    if (!isexplicit) return behvDirectory(name);
    if (ksExists(name, KS_DIR) != KS_OK && ksCreate(name, KS_DIR) != KS_OK) return nullptr;
    return vostcpy(name);
}
