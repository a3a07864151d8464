// The session. Its opening and its ending run in fixed orders: the message
// file is open before the project database starts, so that every failure
// of the start can be told, and the project database ends last, after the
// objects that hold its files are gone.
#include "iwsession.h"

#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_map>

#include "iwmem.h"
#include "iwmsg.h"
#include "iwname.h"
#include "iwobj.h"
#include "iwrdsym.h"
#include "kspath.h"
#include "kssrch.h"
#include "ktbus.h"
#include "ktmem.h"
#include "ktmsg.h"
#include "ktstr.h"
#include "ktsym.h"
#include "larkmoor_msg.h"
#include "rdb_api.h"
#include "rdb_view.h"

int Iinitdone = 0;
int Iexpand = 0;
int Icombine_hetero = 0;
rdbObject* IprojectIod = nullptr;
iwlib* Iliblist = nullptr;

namespace {

struct Level {
    Level* next;
    char* name;  // pooled, upper case
};

Level* levels_ = nullptr;
int statmode_ = 0;
FILE* statline_ = nullptr;
// The table of object attributes: its slots stay empty in this system.
void** iwoattab = nullptr;
constexpr size_t kAttSlots = 731;

constexpr const char* kIniName = "scrivet.ini";
constexpr const char* kView = "Scrivet";

// Each library line of the view that failed, as message 419.
void reportLibraryErrors(const char* ini) {
    char path[KS_PATHMAX], alias[33], flags[4];
    int status = 0, line = 0;
    for (rdbSearchPath* s = nullptr;
         (s = rdbNextLibError(IprojectIod, kView, s, path, alias, flags, &status, &line));)
        iwmsghndlr(IW_ERROR, IWM_LIBLINE, path, alias, flags, status, line, ini);
}

// The project of the current directory and the editor's library list.
bool openProject() {
    int status = 0;
    IprojectIod = rdbOpenProject(".", nullptr, "", 3, &status);
    if (status != rdbStatOK && status != rdbStatOPEN) {
        iwmsghndlr(IW_ERROR, IWM_NOPROJECT, status);
        return false;
    }
    bool wasOpen = status == rdbStatOPEN;

    char path[KS_PATHMAX];
    std::strcpy(path, kIniName);
    FILE* f = ksFopen(path, "r");
    if (!f && ksSrchkdirs(kIniName, KS_FILE, path) == KS_OK) f = ksFopen(path, "r");
    if (!f) {
        iwmsghndlr(IW_ERROR, IWM_NOFILE, "initialization", kIniName);
        return false;
    }
    std::fclose(f);
    // A project open already has its view.
    if (wasOpen) return true;
    status = rdbInitView(IprojectIod, kView, path);
    if (status == rdbStatOK) return true;
    if (status == rdbStatNOPRIMARY) iwmsghndlr(IW_ERROR, IWM_NOPRIMARY, path);
    reportLibraryErrors(path);
    return false;
}

int failInit() {
    Iinitdone = 0;
    iwmsghndlr(IW_ERROR, IWM_NOSESSION);
    return 0;
}

// Iliblist by path in capitals, so that a project of thousands of
// libraries is entered in time that grows with their number only.
std::unordered_map<std::string, iwlib*>* libIndex = nullptr;

std::string libKey(const char* path) {
    std::string k = path;
    ktStrUpc(k.data());
    return k;
}

void forgetLibIndex() {
    delete libIndex;
    libIndex = nullptr;
}

void freeLibraries() {
    while (iwlib* l = Iliblist) {
        Iliblist = l->next;
        ktMemFree(l);
    }
    forgetLibIndex();
}

}  // namespace

int iwinit() {
    if (Iinitdone) return 1;
    Iinitdone = 1;
    iwfreegblnets();
    iwsetlevel(nullptr);
    Igrp_table = nullptr;
    Ireftop = nullptr;
    Iexpand = 0;
    Icombine_hetero = 0;
    IprojectIod = nullptr;
    Iliblist = nullptr;
    forgetLibIndex();
    iwmsgclose();
    ktBusExpandRepsep(" ,");
    Idatamem = iwbinit(8192);
    iwmsgsetup(7, stdout, nullptr);
    iwregmsgdflt();
    MsgFileID = ktMsgFileOpen("larkmoor", nullptr, "larkmoor", "5.1.0", "5.2");

    int status = rdbInit(1, "5.3.1", 0);
    if (status != rdbStatOK && status != rdbStatALREADY) {
        iwmsghndlr(IW_ERROR, IWM_NOPROJDB, status);
        return failInit();
    }
    if (!openProject()) return failInit();

    const char* cache = std::getenv("RDBDIRCACHE");
    if (cache && std::strcmp(cache, "1") == 0)
        if ((status = rdbTmCacheAllLibraries(IprojectIod, kView, 255, 1)) != rdbStatOK)
            iwmsghndlr(IW_ERROR, IWM_NOCACHE, status);

    iwoattab = static_cast<void**>(iwballoc(Idatamem, kAttSlots * sizeof(void*)));
    if (!iwoattab) {
        iwmsghndlr(IW_ERROR, IWM_NOATTTABLE);
        return failInit();
    }
    std::memset(iwoattab, 0, kAttSlots * sizeof(void*));
    iwaddlibs();
    return 1;
}

void iwfinish() {
    if (!Iinitdone) return;
    for (iwgroup* g = Ireftop; g; g = g->nextref) {
        destroy_grp_table(g->nets);
        g->nets = nullptr;
        for (iwsheet* s = g->sheets; s; s = s->next) {
            if (s->comptable) ktSymDestroy(s->comptable, ktSymDummy);
            s->comptable = nullptr;
        }
    }
    destroy_grp_table(Igrp_table);
    Igrp_table = nullptr;
    Ireftop = nullptr;
    iwbfree(Idatamem);
    Idatamem = 0;
    iwoattab = nullptr;
    iwfreepinorder();
    iwsetlevel(nullptr);
    iwmsgclose();
    iwfreegblnets();
    iwdelnames();
    freeLibraries();
    iwcleanup();
    ktMsgFileClose(MsgFileID);
    MsgFileID = nullptr;
    rdbExit();
    IprojectIod = nullptr;
    Iinitdone = 0;
}

void iwcleanup() {
    iwqkpurge();
}

void iwsetlevel(const char* text) {
    if (!iwinidone("IWSETLEVEL")) return;
    if (!text) {
        while (Level* l = levels_) {
            levels_ = l->next;
            ktStrFree(l->name);
            ktMemFree(l);
        }
        return;
    }
    auto* l = static_cast<Level*>(ktMemMalloc(sizeof(Level), "Lark:iwsetlevel()"));
    l->name = ktStrUpc(ktStrCpy(text));
    l->next = levels_;
    levels_ = l;
}

int iwexpbus() {
    if (!iwinidone("IWEXPBUS")) return 0;
    Iexpand = !Iexpand;
    return Iexpand;
}

int iwcombine_hetero(int mode) {
    if (mode == 0 || mode == 1)
        Icombine_hetero = mode;
    else
        iwmsghndlr(IW_ERROR, IWM_BADHETERO, mode);
    return Icombine_hetero;
}

void iwstatmode(int flag) {
    statmode_ = flag;
}

void iwstatln(FILE* stream) {
    if (!iwinidone("IWSTATLN")) return;
    statline_ = stream && isatty(fileno(stream)) ? stream : nullptr;
}

int iwinidone(const char* name) {
    if (Iinitdone) return 1;
    std::fprintf(stderr, "Error: the iwinit() routine must be called before %s.\n", name);
    return 0;
}

void iwaddlibs() {
    int status = 0;
    // The libraries in the order of the view's search paths. The walk holds
    // its place in the list, where asking for the library after the last
    // one would look for that one's place from the start each time.
    rdbObject* lib = rdbFindNextLib(IprojectIod, nullptr, "*", &status);
    rdbSearchPath* at = lib ? rdbGetSPID(IprojectIod, lib, &status) : nullptr;
    while (lib) {
        // The path comes back as a pooled copy.
        char* path = reinterpret_cast<char*>(rdbGetObjProp(lib, 7, &status));
        if (iwlib* rec = imclib(path)) rec->object = lib;
        if (path) ktStrFree(path);
        at = rdbFindNextSPath(IprojectIod, at, 0, "*", &status);
        lib = at ? at->object : nullptr;
    }
}

iwlib* imclib(const char* text) {
    bool bad = true;
    if (!text) {
        iwmsghndlr(IW_WARNING, IWM_LIBNULL);
    } else if (!*text) {
        iwmsghndlr(IW_WARNING, IWM_LIBEMPTY);
    } else if (size_t n = std::strlen(text); n >= KS_PATHMAX) {
        iwmsghndlr(IW_WARNING, IWM_LIBLONG, text, static_cast<int>(n), KS_PATHMAX);
    } else if (std::strpbrk(text, "'\n")) {
        iwmsghndlr(IW_WARNING, IWM_LIBCHARS, text);
    } else {
        bad = false;
    }
    if (bad) {
        iwmsghndlr(IW_WARNING, IWM_LIBSKIPPED, "imclibgrp");
        return nullptr;
    }
    if (!libIndex) {
        // Built from the list as it stands: entered first, found first.
        libIndex = new std::unordered_map<std::string, iwlib*>;
        for (iwlib* l = Iliblist; l; l = l->next) libIndex->emplace(libKey(l->path), l);
    }
    auto [slot, added] = libIndex->emplace(libKey(text), nullptr);
    if (!added) return slot->second;
    auto* l = static_cast<iwlib*>(ktMemMalloc(sizeof(iwlib), "Lark:imclib()"));
    l->kind = IW_KLIB;
    l->object = nullptr;
    l->path = iwmkname(text);
    l->next = Iliblist;
    Iliblist = l;
    slot->second = l;
    return l;
}
