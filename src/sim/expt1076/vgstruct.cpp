// The translator's records: allocators, releases and searches. The
// counting allocators keep vomemtotal; a failed allocation ends the run
// with report 544 and the summary, as voexit(4) does.
#include "vgstruct.h"

#include <cstdio>
#include <cstring>
#include <initializer_list>
#include <vector>

#include "entgen_msg.h"
#include "iwsession.h"
#include "kterr.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"
#include "voexam.h"
#include "vomain.h"
#include "voportinfo.h"
#include "votok.h"
#include "votr.h"

vodata* vo = nullptr;
long vomemtotal = 0;

namespace {
constexpr const char* kTag = "vgstruct";

// Memory exhausted: the same ending as voexit(4), without returning.
[[noreturn]] void noMemory() {
    vomsg(4);
    std::snprintf(ViewLocation, sizeof ViewLocation, " ");
    ktErrReportBuild(nullptr, ViewLocation, msgFp, VOM_NOMEMORY);
    voexit(4);
}

// Records and texts come from the size-class lists, which keep no header
// beside each one: a library run keeps every symbol's records to its end,
// and vofree is told the size again.
void* get(size_t size, bool counted) {
    void* p = ktMemFlAlloc(size, kTag);
    if (!p) noMemory();
    std::memset(p, 0, size);
    if (counted) vomemtotal += static_cast<long>(size);
    return p;
}

// A zeroed record of type T, counted in the total.
template <typename T>
T* make() {
    return static_cast<T*>(get(sizeof(T), true));
}

// A zeroed record of type T, not counted.
template <typename T>
T* makeUncounted() {
    return static_cast<T*>(get(sizeof(T), false));
}

template <typename T>
void drop(T* rec) {
    vofree(rec, sizeof(T));
}

void strs(std::initializer_list<char*> list) {
    for (char* s : list) vostfree(s);
}

// Releases a list from its head: `parts` takes each record's strings and
// sub-records, then the record itself goes.
template <typename T, typename F>
void freeList(T* rec, F parts) {
    while (rec) {
        T* next = rec->next;
        parts(rec);
        drop(rec);
        rec = next;
    }
}

template <typename T, typename F>
T* findIn(T* list, const char* name, F key) {
    for (T* p = list; p; p = p->next)
        if (ktStrIcmp(key(p), name) == 0) return p;
    return nullptr;
}

// Drops vofindgr's index; the groups it knew are about to go.
void forgetGroups();
}  // namespace

void* voalloc(size_t size) {
    return get(size, true);
}

namespace {
// Every copy of an empty text is this one, counted as the byte it takes.
// vostfree leaves an empty text in place, so a copy of its own would be
// lost; shared, it is never freed at all, and the total still stays the
// byte too high that such a release leaves.
char emptyCopy[1];
}  // namespace

void vofree(void* block, size_t size) {
    if (!block) return;
    if (block != emptyCopy) ktMemFlFree(block, size);
    vomemtotal -= static_cast<long>(size);
}

char* vostcpy(const char* text) {
    if (!text) return nullptr;
    if (!*text) {
        emptyCopy[0] = '\0';
        vomemtotal += 1;
        return emptyCopy;
    }
    size_t n = std::strlen(text) + 1;
    char* p = static_cast<char*>(get(n, true));
    std::memcpy(p, text, n);
    return p;
}

void vostfree(char* text) {
    // An empty copy stays where it is; the total then stays a byte too high.
    if (!text || !*text) return;
    vofree(text, std::strlen(text) + 1);
}

vodata* vodatabloc() {
    auto* d = make<vodata>();
    d->file = vofilebloc();
    d->buf = static_cast<char*>(voalloc(VO_BUFSIZE));
    return d;
}

void vodatafree(vodata* root) {
    if (!root) return;
    if (root->top) iwfinish();
    vocmdlfree(root->cmdl);
    voinifree(root->ini);
    vofilefree(root->file);
    vogenfree(root->gens);
    voattrfree(root->attrs);
    vogroupfree(root->hier);
    vogroupfree(root->prims);
    forgetGroups();
    voexamfree();
    vofree(root->buf, VO_BUFSIZE);
    if (vo == root) vo = nullptr;
    drop(root);
    votrfree();
    voPortFreeAll();
}

vocmdl* vocmdlbloc() {
    auto* c = make<vocmdl>();
    c->warnpintype = 1;
    c->genclause = 1;
    c->vectors = 1;
    return c;
}

void vocmdlfree(vocmdl* cmdl) {
    if (!cmdl) return;
    strs({cmdl->name, cmdl->outdir});
    volevfree(cmdl->levels);
    drop(cmdl);
}

voini* voinibloc() {
    auto* i = make<voini>();
    i->line = 1;
    i->stmtline = 1;
    i->listids = 1;
    return i;
}

void voinifree(voini* ini) {
    if (!ini) return;
    vostfree(ini->name);
    if (ini->fp) std::fclose(ini->fp);
    voheadfree(ini->headers);
    strs({ini->gendefault, ini->attdefault});
    vogenfree(ini->gens);
    voattrfree(ini->attrs);
    vosigtfree(ini->sigtype);
    vovectfree(ini->vectype);
    vovectfree(ini->vec2type);
    voTicksizeFree(ini->ticksize);
    voDelayFree(ini->delay);
    vozvalfree(ini->zval);
    vosinitfree(ini->sinits);
    vocompfree(ini->comps);
    vopintfree(ini->pintypes);
    vopintfree(ini->autopins);
    votransfree(ini->words);
    votransfree(ini->chars);
    votransfree(ini->trlist);
    vostfree(ini->prefix);
    voplacefree(ini->places);
    drop(ini);
}

vofile* vofilebloc() {
    auto* f = make<vofile>();
    vofilereset(f);
    return f;
}

void vofilefree(vofile* file) {
    if (!file) return;
    if (file->fp) std::fclose(file->fp);
    drop(file);
}

vogroup* vogroupbloc() {
    return make<vogroup>();
}

namespace {
// The examination's own records have no release of their own: a group
// takes its comments, passive texts and imports with it, and the
// constants its constant list was made for.
void freeCommans(voComman* c) {
    while (c) {
        voComman* next = c->next;
        if (c->pair) {
            strs({c->pair[0], c->pair[1]});
            vofree(c->pair, 2 * sizeof(char*));
        }
        ktMemFlFree(c, sizeof *c);
        c = next;
    }
}

void freeImports(voImport* im) {
    while (im) {
        voImport* next = im->next;
        vostfree(im->name);
        ktMemFlFree(im, sizeof *im);
        im = next;
    }
}

void freeConsts(voclist* list) {
    for (; list; list = list->next) {
        if (!list->cons) continue;
        strs({list->cons->name, list->cons->type, list->cons->value});
        ktMemFlFree(list->cons, sizeof *list->cons);
    }
}
}  // namespace

void vogroupfree(vogroup* group) {
    freeList(group, [](vogroup* r) {
        strs({r->entity, r->arch, r->lib, r->base, r->ext});
        voglistfree(r->gens);
        freeConsts(r->consts);
        voclistfree(r->consts);
        voglistfree(r->hiergens);
        voalistfree(r->alist);
        freeCommans(r->comments);
        freeCommans(r->pprs);
        freeImports(r->imports);
    });
}

vohead* voheadbloc() {
    return make<vohead>();
}

void voheadfree(vohead* head) {
    freeList(head, [](vohead* r) { vostfree(r->text); });
}

vogen* vogenbloc() {
    auto* g = make<vogen>();
    g->used = 1;
    return g;
}

void vogenfree(vogen* gen) {
    freeList(gen, [](vogen* r) { strs({r->name, r->vhdlname, r->type, r->value, r->trailer}); });
}

voattr* voattrbloc() {
    return make<voattr>();
}

void voattrfree(voattr* attr) {
    freeList(attr, [](voattr* r) { strs({r->name, r->vhdlname, r->type, r->value}); });
}

vosigt* vosigtbloc() {
    return make<vosigt>();
}

void vosigtfree(vosigt* sigt) {
    if (!sigt) return;
    strs({sigt->type, sigt->base});
    drop(sigt);
}

vovect* vovectbloc() {
    return make<vovect>();
}

void vovectfree(vovect* vect) {
    if (!vect) return;
    strs({vect->type, vect->base});
    drop(vect);
}

voTicksize* voTicksizeBlock() {
    return make<voTicksize>();
}

void voTicksizeFree(voTicksize* ticksize) {
    if (!ticksize) return;
    vostfree(ticksize->unit);
    drop(ticksize);
}

voDelay* voDelayBlock() {
    return make<voDelay>();
}

void voDelayFree(voDelay* delay) {
    if (!delay) return;
    vostfree(delay->word);
    drop(delay);
}

vozval* vozvalbloc() {
    return make<vozval>();
}

void vozvalfree(vozval* zval) {
    if (!zval) return;
    vostfree(zval->value);
    drop(zval);
}

vosinit* vosinitbloc() {
    return make<vosinit>();
}

void vosinitfree(vosinit* sinit) {
    freeList(sinit, [](vosinit* r) { strs({r->name, r->value}); });
}

votrans* votransbloc() {
    return make<votrans>();
}

void votransfree(votrans* trans) {
    freeList(trans, [](votrans* r) { strs({r->from, r->to}); });
}

vopint* vopintbloc() {
    auto* p = make<vopint>();
    p->dir = 4;
    return p;
}

void vopintfree(vopint* pint) {
    freeList(pint, [](vopint* r) { vostfree(r->name); });
}

struct voplace* voplacebloc() {
    return make<struct voplace>();
}

void voplacefree(struct voplace* place) {
    freeList(place, [](struct voplace* r) { strs({r->file, r->ext}); });
}

vocomp* vocompbloc() {
    return make<vocomp>();
}

void vocompfree(vocomp* comp) {
    freeList(comp, [](vocomp* r) {
        vostfree(r->name);
        vobindfree(r->bind);
        vogenfree(r->gens);
    });
}

vobind* vobindbloc() {
    return make<vobind>();
}

void vobindfree(vobind* bind) {
    if (!bind) return;
    strs({bind->lib, bind->entity, bind->arch});
    voaefree(bind->genmap);
    voaefree(bind->portmap);
    drop(bind);
}

voae* voaebloc() {
    return make<voae>();
}

void voaefree(voae* ae) {
    freeList(ae, [](voae* r) { strs({r->formal, r->actual}); });
}

voglist* voglistbloc() {
    return make<voglist>();
}

void voglistfree(voglist* list) {
    freeList(list, [](voglist*) {});
}

voclist* voclistbloc() {
    return make<voclist>();
}

void voclistfree(voclist* list) {
    freeList(list, [](voclist*) {});
}

voalist* voalistbloc() {
    return make<voalist>();
}

void voalistfree(voalist* list) {
    freeList(list, [](voalist*) {});
}

volev* volevbloc() {
    return make<volev>();
}

void volevfree(volev* lev) {
    freeList(lev, [](volev* r) { vostfree(r->name); });
}

voCons* voConsBlock() {
    return makeUncounted<voCons>();
}
voComman* voCommanBlock() {
    return makeUncounted<voComman>();
}
voImport* voImportBlock() {
    return makeUncounted<voImport>();
}

vocomp* vofindcomp(const char* name) {
    if (!vo->ini) return nullptr;
    return findIn(vo->ini->comps, name, [](vocomp* c) { return c->name; });
}

vosinit* vofindsi(const char* name) {
    if (!vo->ini) return nullptr;
    return findIn(vo->ini->sinits, name, [](vosinit* s) { return s->name; });
}

voattr* vofindatt(const char* name) {
    auto key = [](voattr* a) { return a->name; };
    voattr* a = vo->ini ? findIn(vo->ini->attrs, name, key) : nullptr;
    return a ? a : findIn(vo->attrs, name, key);
}

vogen* voFindGenHier(const char* name, vocomp* comp) {
    auto key = [](vogen* g) { return g->name; };
    vogen* g = comp ? findIn(comp->gens, name, key) : nullptr;
    if (!g && vo->ini) g = findIn(vo->ini->gens, name, key);
    return g;
}

vogen* vofindgen(const char* name, vocomp* comp) {
    vogen* g = voFindGenHier(name, comp);
    return g ? g : findIn(vo->gens, name, [](vogen* x) { return x->name; });
}

voglist* vofindgl(const char* name, voglist* list) {
    return findIn(list, name, [](voglist* l) { return l->gen ? l->gen->name : nullptr; });
}

voalist* vofindal(const char* name, voalist* list) {
    return findIn(list, name, [](voalist* l) { return l->attr ? l->attr->name : nullptr; });
}

voCons* voFindConst(const char* name, vocomp* comp) {
    if (!comp) return nullptr;
    return findIn(comp->consts, name, [](voCons* c) { return c->name; });
}

namespace {
// The groups of one list by handle. A group enters a list only at its
// head and leaves it only with the whole list, so a look-up first takes in
// the groups in front of the head it saw last; a head that is not met on
// the way means a new list, which is taken in whole.
struct GroupIndex {
    ktSym* table = nullptr;
    const vogroup* head = nullptr;  // the list's head when last taken in
};
GroupIndex hierIndex_, primsIndex_;
const vodata* indexedRoot_ = nullptr;

void forget(GroupIndex& index) {
    if (index.table) ktSymDestroy(index.table, ktSymDummy);
    index = GroupIndex{};
}

void forgetGroups() {
    forget(hierIndex_);
    forget(primsIndex_);
    indexedRoot_ = nullptr;
}

vogroup* lookUp(GroupIndex& index, vogroup* head, const iwgroup* handle) {
    if (head != index.head) {
        std::vector<vogroup*> fresh;
        const vogroup* g = head;
        for (; g && g != index.head; g = g->next) fresh.push_back(const_cast<vogroup*>(g));
        if (!g && index.head) forget(index);
        if (!index.table) {
            index.table = ktSymCreate(64, ktSymPtrHash, ktSymPtrCmp, ktSymReturn, ktSymDummy);
            ktSymDynamic(index.table, 2.0, 2.0);
        }
        // From the back, so that of two groups of one handle the one nearer
        // the head stands in the table.
        for (auto it = fresh.rbegin(); it != fresh.rend(); ++it)
            ktSymStore(index.table, (*it)->grp, *it);
        index.head = head;
    }
    return index.table ? static_cast<vogroup*>(ktSymFetch(index.table, handle)) : nullptr;
}
}  // namespace

vogroup* vofindgr(const iwgroup* handle) {
    if (indexedRoot_ != vo) {
        forgetGroups();
        indexedRoot_ = vo;
    }
    if (vogroup* g = lookUp(hierIndex_, vo->hier, handle)) return g;
    return lookUp(primsIndex_, vo->prims, handle);
}
