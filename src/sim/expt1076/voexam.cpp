// Symbol load and examination. The load reads the symbol into the design
// database with the run's switches set. Stand-in for the pass itself: a
// group gets its names and its file name, but no ports, generics,
// constants, comments, imports or attributes.
#include "voexam.h"

#include <cstdio>
#include <cstring>

#include "entgen_msg.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "kspath.h"
#include "kterr.h"
#include "ktstr.h"
#include "vgstruct.h"
#include "vomain.h"
#include "votr.h"

namespace {
// The level names of the command line, oldest first: the list holds the
// newest first.
void setLevels(const volev* level) {
    if (!level) return;
    setLevels(level->next);
    iwsetlevel(level->name);
}
}  // namespace

void voloadproj() {
    if (!initalization) {
        if (!iwinit()) {
            vomsg(4);
            ViewLocation[0] = '\0';
            ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NODBINIT);
            voexit(4);
        }
        initalization = 1;
    }
    // -s: the database expands bus pins. The call toggles, so a second one
    // puts back what the first took away.
    if (vo->cmdl->vectors == 0 && iwexpbus() == 0) iwexpbus();
    setLevels(vo->cmdl->levels);
    iwcombine_hetero(1);
    iwstatmode(vo->cmdl->quiet == 0 ? 1 : 0);
    char ext[KS_PATHMAX] = "";
    if (ksParse(vo->cmdl->name, nullptr, nullptr, nullptr, ext) == KS_OK && !*ext) {
        // A bare name means version 1.
        size_t n = std::strlen(vo->cmdl->name);
        char* named = static_cast<char*>(voalloc(n + 3));
        std::snprintf(named, n + 3, "%s.1", vo->cmdl->name);
        vostfree(vo->cmdl->name);
        vo->cmdl->name = named;
    }
    if (iwsym* sym = iwrdsym(vo->cmdl->name)) vo->top = sym->group;
    iwcleanup();
    if (!vo->top) {
        vomsg(4);
        std::snprintf(ViewLocation, sizeof ViewLocation, " - sym %s", vo->cmdl->name);
        ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NOSYMBOL);
        voexit(4);
    }
    std::fputs("\n \n", stdout);
}

void voinitpa() {
    // Only kind 2 runs exist, and they need no attribute preprocessor.
}

int voexampass() {
    voexamgroup(vo->top, nullptr);
    for (vogroup* g = vo->prims; g; g = g->next) {
        vostfree(g->base);
        vostfree(g->ext);
        g->base = ktStrLoc(votruncnam(votr(iggrpnam(g->grp))));
        g->ext = vostcpy("vhd");
    }
    return 1;
}

vogroup* voexamgroup(iwgroup* group, vogroup*) {
    if (vogroup* seen = vofindgr(group)) return seen;
    vogroup* g = vogroupbloc();
    g->grp = group;
    g->next = vo->prims;
    vo->prims = g;
    vogroupnames(g);
    return g;
}

void vogroupnames(vogroup* g) {
    g->entity = vostcpy(votr(iggrpnam(g->grp)));
    size_t n = std::strlen(g->entity) + 5;
    g->arch = static_cast<char*>(voalloc(n));
    std::snprintf(g->arch, n, "arch%s", g->entity);
    const char* alias = iggrplnm(g->grp);
    g->lib = vostcpy(*alias ? votr(alias) : "WORK");
}
