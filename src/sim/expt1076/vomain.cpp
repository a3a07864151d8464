// Run control. Every report of the translator is preceded by vomsg, which
// keeps the run's own tally; the summary reads that tally and the design
// database's, and says "Aborted" only when a fatal was counted.
#include "vomain.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "entgen_msg.h"
#include "iwsession.h"
#include "kspath.h"
#include "kssrch.h"
#include "kterr.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "qfm.h"
#include "qlm.h"
#include "vgstruct.h"
#include "vocmdlin.h"
#include "voexam.h"
#include "vomodel.h"
#include "voreadini.h"
#include "votr.h"
#include "vowritini.h"

ktMsgHandle* msgFp = nullptr;
ktErrStream* voErrStrID = nullptr;
char ViewLocation[1024] = " ";
int initalization = 0;
char* libname = nullptr;
int voGraphicsMode = 0;

void vomsg(int level) {
    if (!vo) return;
    switch (level) {
        case 2: ++vo->warnings; break;
        case 3: ++vo->errors; break;
        case 4: ++vo->fatals; break;
        default: break;
    }
}

void voreport(int level, int number, ...) {
    vomsg(level);
    std::snprintf(ViewLocation, sizeof ViewLocation, " ");
    va_list args;
    va_start(args, number);
    ktErrReportBuildVa(nullptr, ViewLocation, msgFp, number, args);
    va_end(args);
}

void vodone(int code) {
    if (code != 4 && code != 5) return;
    const char* name = "";
    if (vo && vo->cmdl && vo->cmdl->name) name = ktStrUpc(vo->cmdl->name);
    int fatals = vo ? vo->fatals : 0;
    int errors = vo ? vo->errors : 0;
    int warnings = vo ? vo->warnings : 0;
    voreport(1, VOM_SUMMARY, fatals ? "Aborted" : "Completed", name,
             fatals + errors + iwmsgcount(4), warnings + iwmsgcount(2));
}

void voexit(int code) {
    vodone(code);
    ktMsgFileClose(msgFp);
    std::exit(code == 5 ? 0 : 1);
}

int voquiet(int argc, char** argv) {
    for (int i = 1; i < argc; ++i)
        if (ktStrIcmp(argv[i], "-q") == 0) return 1;
    return 0;
}

void voopen_msgfile() {
    char path[KS_PATHMAX];
    if (ksGetini("entgen.kmb", path) != KS_OK) {
        char text[256];
        std::snprintf(text, sizeof text,
                      "Couldn't find message file %s in the local or ksKDIR directories", "entgen");
        vomsg(4);
        ktErrReport2("ENTGEN", KT_ERR_FATAL, text);
        std::fflush(stdout);
        voexit(4);
    }
    msgFp = ktMsgFileOpen("entgen", nullptr, nullptr, nullptr, nullptr);
    if (std::strcmp(ktMsgStatic(msgFp, VOM_VERSION), "5.3.1") != 0) voreport(3, VOM_BADVERSION);
}

void vosinglerun() {
    voloadproj();
    voinitpa();
    voexampass();
    vomodel(vofindgr(vo->top));
    if (vo->cmdl->writeini) vowritini();
    voexit(5);
}

namespace {
void dropVersions();
}

int volibraryrun() {
    libname = vo->cmdl->name;
    if (!qlm_library_exists(libname)) {
        // An empty answer at the prompt leaves a library run with no name.
        voreport(4, VOM_NOLIB, libname ? libname : "");
        voexit(5);
    }
    qfm_file_loop(libname, 1, "*", "*", volibfile, nullptr);
    dropVersions();
    if (vo->cmdl->writeini) vowritini();
    // Each symbol replaced vocmdl.name; the library's own string is ours.
    if (libname != vo->cmdl->name) vostfree(libname);
    libname = nullptr;
    vodatafree(vo);
    return 0;
}

namespace {
// Up to this version the lower ones are asked for one by one; above it only
// the versions the library's files have are asked for, so that a file named
// "x.4000000000" costs no billions of searches.
constexpr long kAskedVersions = 64;

bool versionExists(const char* base, long version) {
    char text[32];
    std::snprintf(text, sizeof text, "%ld", version);
    qfm_id* id = qfm_find_file(libname, QFM_SYMBOL, base, text);
    bool found = qfm_id_file_exists(id);
    qfm_free_id(id);
    return found;
}

struct LowerVersion {
    const char* base;
    long below;
};

int isLowerVersion(const char* file, void* data) {
    auto* want = static_cast<LowerVersion*>(data);
    char ext[KS_PATHMAX] = "";
    if (ksParse(file, nullptr, nullptr, nullptr, ext) != KS_OK || !ktStrIsnum(ext)) return 0;
    long v = std::strtol(ext, nullptr, 10);
    return v >= 1 && v < want->below && versionExists(want->base, v);
}

// The numbered versions of every symbol of the library, by name, from one
// walk of the library made at the first symbol that needs them: walking
// the library again for each such symbol made the run cost the square of
// the library's size. The library's symbol files don't change during the
// run (the models go elsewhere).
std::unordered_map<std::string, std::vector<long>>* versions = nullptr;

int collectVersion(const char* file, void*) {
    char base[KS_PATHMAX] = "", ext[KS_PATHMAX] = "";
    if (ksParse(file, nullptr, nullptr, base, ext) != KS_OK || !ktStrIsnum(ext)) return 0;
    long v = std::strtol(ext, nullptr, 10);
    if (v >= 1) (*versions)[base].push_back(v);
    return 0;
}

// True when a lower numbered version of the symbol exists in the library.
bool lowerVersionExists(const char* base, long version) {
    if (version > kAskedVersions && std::strpbrk(base, "*?")) {
        // A name with a wildcard is no key of the table: its own walk.
        LowerVersion want{base, version};
        return qfm_file_loop(libname, QFM_SYMBOL, base, "*", isLowerVersion, &want) == 1;
    }
    if (version > kAskedVersions) {
        if (!versions) {
            versions = new std::unordered_map<std::string, std::vector<long>>;
            qfm_file_loop(libname, QFM_SYMBOL, "*", "*", collectVersion, nullptr);
            // A name with one version has no lower one: only names with
            // several stay for the rest of the run.
            std::erase_if(*versions, [](const auto& entry) { return entry.second.size() < 2; });
            versions->rehash(0);
        }
        auto found = versions->find(base);
        if (found == versions->end()) return false;
        for (long v : found->second)
            if (v < version && versionExists(base, v)) return true;
        return false;
    }
    for (long i = 1; i < version; ++i)
        if (versionExists(base, i)) return true;
    return false;
}

void dropVersions() {
    delete versions;
    versions = nullptr;
}
}  // namespace

int volibfile(const char* file, void*) {
    char base[KS_PATHMAX] = "", ext[KS_PATHMAX] = "";
    ksParse(file, nullptr, nullptr, base, ext);
    if (!ktStrIsnum(ext)) {
        std::fputs(" \n", stdout);
        voreport(3, VOM_BADEXT, libname, file);
        return 0;
    }
    // The number its leading digits make, as "%ld" would read it ("1e5" is
    // 1); a number too big stops at LONG_MAX.
    long version = std::strtol(ext, nullptr, 10);
    if (version > 1 && lowerVersionExists(base, version)) return 0;

    // The library name is vocmdl.name itself; keep it while the name changes.
    char* merged = q_merge_lib_comp(libname, file);
    if (vo->cmdl->name != libname) vostfree(vo->cmdl->name);
    vo->cmdl->name = vostcpy(merged);
    ktStrFree(merged);
    char* outdir = chk_outdir(vo->cmdl->name, 0);
    if (!outdir) voexit(4);
    vostfree(vo->cmdl->outdir);
    vo->cmdl->outdir = outdir;

    voloadproj();
    voinitpa();
    voexampass();
    vomodel(vofindgr(vo->top));
    votest_translations();
    vodump_translations();
    vodone(5);
    return 0;
}
