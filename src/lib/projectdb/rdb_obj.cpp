// Objects: made from their class, linked under their parent, freed with
// their children.
#include "rdb_obj.h"

#include <cstring>

#include "ktmem.h"
#include "ktstr.h"
#include "rdb_model.h"

namespace {

void freeText(char* text) {
    if (text) ktStrFree(text);
}

// An object's own copy of each view of its class, with its class list;
// search paths and the ini object come when the view starts.
rdbView* copyViews(const rdbView* views) {
    rdbView* head = nullptr;
    for (const rdbView* v = views; v; v = v->next) {
        rdbView* copy = rdbiNewView(&head, v->name);
        copy->flags = v->flags;
        copy->viewClass = v->viewClass;
        copy->iniClass = v->iniClass;
        for (const rdbClassList* n = v->classes; n; n = n->next) {
            rdbClassList* c = rdbiAddClassList(&copy->classes, n->cls);
            c->flags = n->flags;
            c->smPolicy = n->smPolicy;
            c->versionDepth = n->versionDepth;
            c->storMgr = n->storMgr;
        }
        copy->properties = rdbiCopyProperties(v->properties);
    }
    return head;
}

void unlinkFromParent(rdbObject* object) {
    rdbObject* parent = object->parent;
    if (!parent) return;
    for (rdbObject** link = &parent->firstChild; *link; link = &(*link)->sibling) {
        if (*link == object) {
            *link = object->sibling;
            break;
        }
    }
    object->sibling = nullptr;
}

void freeTree(rdbObject* object) {
    while (rdbObject* child = object->firstChild) {
        object->firstChild = child->sibling;
        freeTree(child);
    }
    rdbiFreeProperties(object->properties);
    rdbiFreeViews(object->views);
    freeText(object->name);
    freeText(object->modifier);
    freeText(object->path);
    if (object->file) {
        if (object->file->stream) std::fclose(object->file->stream);
        ktMemFree(object->file);
    }
    object->kind = 0;  // a stale pointer to it is no object any more
    ktMemFree(object);
}

}  // namespace

rdbObject* rdbiNewObj(rdbObject* parent, rdbClass* cls, const char* name, const char* modifier,
                      int32_t version, const char* path, long position, int* status) {
    *status = rdbStatOK;
    if (!cls) {
        *status = rdbStatBADCLASS;
        return nullptr;
    }
    if ((cls->flags & rdbiFlagPROTECTED) && !rdbiSYSCALL) {
        *status = rdbStatACCESS;
        return nullptr;
    }
    if (name && cls->maxNameLen >= 0 && std::strlen(name) > static_cast<size_t>(cls->maxNameLen)) {
        *status = rdbStatNAMELEN;
        return nullptr;
    }
    auto* o = static_cast<rdbObject*>(ktMemCalloc(1, sizeof(rdbObject), "rdbObject"));
    o->kind = rdbKindOBJECT;
    o->status = rdbStatNOTEXIST;
    o->state = 3;
    o->flags = cls->flags & rdbFlagCLASSBITS;
    o->relPath = cls->relPath;
    o->physType = cls->physType;
    o->cls = cls;
    o->name = ktStrCpy(name);
    o->modifier = ktStrCpy(modifier);
    o->version = version;
    o->path = ktStrCpy(path);
    o->properties = rdbiCopyProperties(cls->properties);
    o->views = copyViews(cls->views);
    o->parent = parent;
    o->database = parent ? parent->database : nullptr;
    if (o->physType == rdbPhysTypeDIR || o->physType == rdbPhysTypeFILE ||
        o->physType == rdbPhysTypeMEGA) {
        o->file = static_cast<rdbFileRec*>(ktMemCalloc(1, sizeof(rdbFileRec), "rdbFileRec"));
        o->file->fd = -1;
        o->file->position = position;
    }
    return o;
}

int rdbiOpenObj(rdbObject* object, uint32_t mode, int* status) {
    *status = rdbStatOK;
    if (!object->cls) return *status = rdbStatBADCLASS;
    if (!object->parent) return *status = rdbStatPARENT;
    if (object->physType != rdbPhysTypeNULL && object->physType != rdbPhysTypePSEUDO)
        return *status = rdbStatFAILURE;
    object->mode = mode;
    // Children stand in the order they were opened.
    rdbObject** link = &object->parent->firstChild;
    while (*link) link = &(*link)->sibling;
    *link = object;
    object->state = 0;
    object->status = rdbStatOK;
    return rdbStatOK;
}

void rdbiFreeObj(rdbObject* object) {
    if (!object) return;
    unlinkFromParent(object);
    freeTree(object);
}
