// Command line and prompts. Options are scanned to the end before a bad
// one ends the run, so the usage text comes once. Stand-ins: read_tmdir
// does not read scrivet.ini, and chk_outdir for a design name gives no
// directory (the current one) since no library list exists yet.
#include "vocmdlin.h"

#include <cstdio>
#include <cstring>

#include "kspath.h"
#include "ktstr.h"
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
                if (c->library) optionError("\n ERROR: Option (-l) and (-d) can not be use together.\n");
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

void read_tmdir(int flag) {
    if (flag != 0) return;
}

char* chk_outdir(const char* name, int isexplicit) {
    if (!isexplicit) return nullptr;
    if (ksExists(name, KS_DIR) != KS_OK && ksCreate(name, KS_DIR) != KS_OK) return nullptr;
    return vostcpy(name);
}
