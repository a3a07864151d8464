// Records of a master database: made here, found here, freed here.
#include "rdb_model.h"

#include <unistd.h>

#include <cstring>

#include "kspath.h"
#include "ktmem.h"
#include "ktstr.h"
#include "ktsym.h"
#include "rdb_obj.h"
#include "rdb_view.h"

namespace {

rdbMaster* masters_ = nullptr;  // oldest first
rdbMaster* mastersTail_ = nullptr;

constexpr size_t kMaxUserVersion = 12;

void freeText(char* text) {
    if (text) ktStrFree(text);
}

template <typename T>
T* newRecord(const char* tag) {
    return static_cast<T*>(ktMemCalloc(1, sizeof(T), tag));
}

// Appends to a list linked through `next`.
template <typename T>
void append(T** head, T* record) {
    while (*head) head = &(*head)->next;
    *head = record;
}

// Case-blind hash and equality of class names, for the index of a master.
uint32_t foldedHash(const void* key) {
    uint32_t h = 5381;
    for (const char* s = static_cast<const char*>(key); *s; ++s) {
        const auto c = static_cast<unsigned char>(ktCharUpc(*s));
        h = h * 33 + c;
    }
    return h;
}
int foldedEqual(const void* stored, const void* key) {
    return ktStrIcmp(static_cast<const char*>(stored), static_cast<const char*>(key)) == 0;
}

void freeUsers(rdbUser* u) {
    while (u) {
        rdbUser* next = u->next;
        freeText(u->host);
        freeText(u->userId);
        freeText(u->version);
        freeText(u->path);
        ktMemFree(u);
        u = next;
    }
}

void freeRelations(rdbRelation* r) {
    while (r) {
        rdbRelation* next = r->next;
        freeText(r->name);
        rdbiFreeClassList(r->classes);
        ktMemFree(r);
        r = next;
    }
}

void freeClass(rdbClass* c) {
    rdbiFreeProperties(c->properties);
    freeText(c->name);
    freeText(c->label);
    freeText(c->defSubdir);
    freeText(c->defName);
    freeText(c->defModifier);
    rdbiFreeClassList(c->parents);
    rdbiFreeClassList(c->children);
    freeRelations(c->relations);
    rdbiFreeViews(c->views);
    for (rdbClassProc* p = c->procs; p;) {
        rdbClassProc* next = p->next;
        freeText(p->name);
        freeText(p->value);
        ktMemFree(p);
        p = next;
    }
    c->kind = 0;
    ktMemFree(c);
}

void freeMasterRecords(rdbMaster* m) {
    rdbiFreeObj(m->root);
    for (rdbFileSpec* f = m->files; f;) {
        rdbFileSpec* next = f->next;
        freeText(f->path);
        freeText(f->version);
        ktMemFree(f);
        f = next;
    }
    freeUsers(m->users);
    for (rdbDatabase* d = m->databases; d;) {
        rdbDatabase* next = d->next;
        freeText(d->name);
        rdbiFreeProperties(d->properties);
        d->kind = 0;
        ktMemFree(d);
        d = next;
    }
    for (rdbSchema* s = m->schemas; s;) {
        rdbSchema* next = s->next;
        freeText(s->name);
        rdbiFreeClassList(s->classes);
        rdbiFreeProperties(s->properties);
        s->kind = 0;
        ktMemFree(s);
        s = next;
    }
    if (m->index) ktSymDestroy(m->index, static_cast<void (*)(void*)>(nullptr));
    for (rdbClass* c = m->classes; c;) {
        rdbClass* next = c->next;
        freeClass(c);
        c = next;
    }
    for (rdbStorMgr* s = m->storMgrs; s;) {
        rdbStorMgr* next = s->next;
        freeText(s->name);
        rdbiFreeProperties(s->properties);
        ktMemFree(s);
        s = next;
    }
    for (rdbSymbol* s = m->symbols; s;) {
        rdbSymbol* next = s->next;
        freeText(s->name);
        freeText(s->value);
        ktMemFree(s);
        s = next;
    }
    rdbiFreeProperties(m->properties);
    freeText(m->name);
    freeText(m->version);
    m->kind = 0;
    ktMemFree(m);
}

}  // namespace

// ---- Masters -------------------------------------------------------------------

rdbMaster* rdbiNewMaster(const char* name, int* status) {
    if (rdbMaster* known = rdbiFindMaster(name)) {
        *status = rdbStatEXISTS;
        return known;
    }
    *status = rdbStatOK;
    auto* m = newRecord<rdbMaster>("rdbMaster");
    m->kind = rdbKindMASTER;
    m->name = ktStrCpy(name ? name : "");
    m->version = ktStrCpy(rdbVERSION);
    m->index = ktSymCreate(211, foldedHash, foldedEqual, ktSymReturn, ktSymDummy);
    ktSymDynamic(m->index, 2.0, 2.0);
    m->prev = mastersTail_;
    if (mastersTail_)
        mastersTail_->next = m;
    else
        masters_ = m;
    mastersTail_ = m;
    return m;
}

rdbMaster* rdbiFindMaster(const char* name) {
    for (rdbMaster* m = masters_; m; m = m->next)
        if (rdbStricmp(m->name, name) == 0) return m;
    return nullptr;
}

rdbMaster* rdbiFirstMaster() {
    return masters_;
}
rdbMaster* rdbiLastMaster() {
    return mastersTail_;
}

void rdbiFreeMaster(rdbMaster* m) {
    if (!m) return;
    if (m->prev)
        m->prev->next = m->next;
    else if (masters_ == m)
        masters_ = m->next;
    if (m->next)
        m->next->prev = m->prev;
    else if (mastersTail_ == m)
        mastersTail_ = m->prev;
    freeMasterRecords(m);
}

int rdbiRegisterUser(rdbMaster* m, int facility, const char* version, const char* path) {
    if (facility < 0 || !version || !*version || std::strlen(version) > kMaxUserVersion)
        return rdbStatINIT;
    for (rdbUser* u = m->users; u; u = u->next)
        if (u->facility == facility && rdbStrcmp(u->version, version) == 0 &&
            rdbStrcmp(u->path, path) == 0)
            return rdbStatEXISTS;
    auto* u = newRecord<rdbUser>("rdbUser");
    u->pid = static_cast<int32_t>(getpid());
    u->host = ktStrCpy(ksGethostname());
    u->hostId = ksGethostid();
    u->userId = ktStrCpy(ksGetuid());
    u->facility = facility;
    u->version = ktStrCpy(version);
    u->path = ktStrCpy(path);
    u->next = m->users;
    m->users = u;
    return rdbStatOK;
}

int rdbiUnregisterUser(rdbMaster* m) {
    rdbUser* u = m->users;
    if (!u) return rdbStatNOTEXIST;
    m->users = u->next;
    u->next = nullptr;
    freeUsers(u);
    return rdbStatOK;
}

int rdbiAddFileSpec(rdbMaster* m, const char* path, const char* version, int32_t fileVersion,
                    int32_t timestamp) {
    rdbFileSpec** link = &m->files;
    for (; *link; link = &(*link)->next)
        if (rdbStrcmp((*link)->path, path) == 0) return rdbStatOPEN;
    auto* f = newRecord<rdbFileSpec>("rdbFileSpec");
    f->path = ktStrCpy(path);
    f->version = ktStrCpy(version);
    f->fileVersion = fileVersion;
    f->timestamp = timestamp;
    *link = f;
    return rdbStatOK;
}

// ---- Tables of a master --------------------------------------------------------

rdbClass* rdbiNewClass(rdbMaster* m, const char* name) {
    auto* c = newRecord<rdbClass>("rdbClass");
    c->kind = rdbKindCLASS;
    c->name = ktStrCpy(name ? name : "");
    c->maxNameLen = -1;
    c->lockTest = rdbLockTestUSERID;
    c->master = m;
    c->prev = m->classesTail;
    if (m->classesTail)
        m->classesTail->next = c;
    else
        m->classes = c;
    m->classesTail = c;
    // The first class of a name is the one a name finds.
    if (!ktSymFetch(m->index, c->name)) ktSymStore(m->index, c->name, c);
    return c;
}

rdbClass* rdbiFindClass(const rdbMaster* m, const char* name) {
    if (!m || !name) return nullptr;
    return static_cast<rdbClass*>(ktSymFetch(m->index, name));
}

rdbSchema* rdbiNewSchema(rdbMaster* m, const char* name) {
    auto* s = newRecord<rdbSchema>("rdbSchema");
    s->kind = rdbKindSCHEMA;
    s->name = ktStrCpy(name ? name : "");
    s->prev = m->schemasTail;
    if (m->schemasTail)
        m->schemasTail->next = s;
    else
        m->schemas = s;
    m->schemasTail = s;
    return s;
}

rdbSchema* rdbiFindSchema(const rdbMaster* m, const char* name) {
    if (!m || !name) return nullptr;
    for (rdbSchema* s = m->schemas; s; s = s->next)
        if (rdbStricmp(s->name, name) == 0) return s;
    return nullptr;
}

rdbStorMgr* rdbiNewStorMgr(rdbMaster* m, const char* name) {
    auto* s = newRecord<rdbStorMgr>("rdbStorMgr");
    s->name = ktStrCpy(name ? name : "");
    s->flags = rdbiFlagPROTECTED;
    append(&m->storMgrs, s);
    return s;
}

rdbStorMgr* rdbiFindStorMgr(const rdbMaster* m, const char* name) {
    if (!m || !name) return nullptr;
    for (rdbStorMgr* s = m->storMgrs; s; s = s->next)
        if (rdbStricmp(s->name, name) == 0) return s;
    return nullptr;
}

rdbDatabase* rdbiNewDatabase(rdbMaster* m, const char* name) {
    auto* d = newRecord<rdbDatabase>("rdbDatabase");
    d->kind = rdbKindDATABASE;
    d->name = ktStrCpy(name ? name : "");
    d->master = m;
    d->prev = m->databasesTail;
    if (m->databasesTail)
        m->databasesTail->next = d;
    else
        m->databases = d;
    m->databasesTail = d;
    return d;
}

rdbDatabase* rdbiFindDatabase(const rdbMaster* m, const char* name) {
    if (!m || !name) return nullptr;
    for (rdbDatabase* d = m->databases; d; d = d->next)
        if (rdbStricmp(d->name, name) == 0) return d;
    return nullptr;
}

void rdbiSetSymbol(rdbMaster* m, const char* name, const char* value) {
    if (rdbSymbol* s = rdbiFindSymbol(m, name)) {
        freeText(s->value);
        s->value = ktStrCpy(value);
        return;
    }
    auto* s = newRecord<rdbSymbol>("rdbSymbol");
    s->name = ktStrCpy(name);
    s->value = ktStrCpy(value);
    append(&m->symbols, s);
}

rdbSymbol* rdbiFindSymbol(const rdbMaster* m, const char* name) {
    if (!m || !name) return nullptr;
    for (rdbSymbol* s = m->symbols; s; s = s->next)
        if (rdbStrcmp(s->name, name) == 0) return s;
    return nullptr;
}

// ---- Parts of records ------------------------------------------------------------

int rdbiSetProperty(rdbProperty** list, const char* name, const char* value, int replace) {
    if (rdbProperty* p = rdbiFindProperty(*list, name)) {
        if (!replace) return rdbStatFAILURE;
        freeText(p->value);
        p->value = ktStrCpy(value);
        return rdbStatOK;
    }
    auto* p = newRecord<rdbProperty>("rdbProperty");
    p->kind = rdbKindPROPERTY;
    p->name = ktStrCpy(name ? name : "");
    p->value = ktStrCpy(value);
    append(list, p);
    return rdbStatOK;
}

rdbProperty* rdbiFindProperty(rdbProperty* list, const char* name) {
    for (rdbProperty* p = list; p; p = p->next)
        if (rdbStricmp(p->name, name) == 0) return p;
    return nullptr;
}

rdbProperty* rdbiCopyProperties(const rdbProperty* list) {
    rdbProperty* head = nullptr;
    rdbProperty** link = &head;
    for (const rdbProperty* p = list; p; p = p->next) {
        auto* c = newRecord<rdbProperty>("rdbProperty");
        c->kind = rdbKindPROPERTY;
        c->name = ktStrCpy(p->name);
        c->value = ktStrCpy(p->value);
        *link = c;
        link = &c->next;
    }
    return head;
}

void rdbiFreeProperties(rdbProperty* p) {
    while (p) {
        rdbProperty* next = p->next;
        freeText(p->name);
        freeText(p->value);
        p->kind = 0;
        ktMemFree(p);
        p = next;
    }
}

rdbClassList* rdbiAddClassList(rdbClassList** list, rdbClass* cls) {
    auto* n = newRecord<rdbClassList>("rdbClassList");
    n->cls = cls;
    append(list, n);
    return n;
}

void rdbiFreeClassList(rdbClassList* n) {
    while (n) {
        rdbClassList* next = n->next;
        ktMemFree(n);
        n = next;
    }
}

rdbView* rdbiFindView(rdbView* list, const char* name) {
    for (rdbView* v = list; v; v = v->next)
        if (rdbStricmp(v->name, name) == 0) return v;
    return nullptr;
}

rdbView* rdbiNewView(rdbView** list, const char* name) {
    auto* v = newRecord<rdbView>("rdbView");
    v->kind = rdbKindVIEW;
    v->name = ktStrCpy(name ? name : "");
    rdbView* last = nullptr;
    for (rdbView* w = *list; w; w = w->next) last = w;
    v->prev = last;
    if (last)
        last->next = v;
    else
        *list = v;
    return v;
}

void rdbiFreeViews(rdbView* v) {
    while (v) {
        rdbView* next = v->next;
        if (v->spaths) rdbiSPathsChanged();
        freeText(v->name);
        rdbiFreeClassList(v->classes);
        rdbiFreeProperties(v->properties);
        for (rdbSearchPath* s = v->spaths; s;) {
            rdbSearchPath* after = s->next;
            freeText(s->name);
            freeText(s->libType);
            freeText(s->path);
            for (char* alias : s->aliases) freeText(alias);
            ktMemFree(s);
            s = after;
        }
        v->kind = 0;
        ktMemFree(v);
        v = next;
    }
}

rdbRelation* rdbiFindRelation(rdbClass* cls, const char* name) {
    for (rdbRelation* r = cls->relations; r; r = r->next)
        if (rdbStricmp(r->name, name) == 0) return r;
    return nullptr;
}

rdbRelation* rdbiNewRelation(rdbClass* cls, const char* name, uint32_t type, uint32_t ordinality) {
    auto* r = newRecord<rdbRelation>("rdbRelation");
    r->name = ktStrCpy(name ? name : "");
    r->owner = cls;
    r->type = type;
    r->ordinality = ordinality;
    append(&cls->relations, r);
    return r;
}

void rdbiAddClassProc(rdbClass* cls, const char* name, const char* value) {
    auto* p = newRecord<rdbClassProc>("rdbClassProc");
    p->name = ktStrCpy(name);
    p->value = ktStrCpy(value);
    append(&cls->procs, p);
}
