// Two masters compared record by record and field by field, references by
// the names they lead to. The differences come back as lines that say
// where they lie; no line means the masters hold the same records. Users,
// symbols (resolved in the binary form) and the directories of the source
// files are not compared.
#pragma once
#include <string>
#include <vector>

#include "kspath.h"
#include "rdb_master.h"

class MasterDiff {
public:
    std::vector<std::string> lines;

    void master(const rdbMaster* a, const rdbMaster* b) {
        at_ = "master";
        text("name", a->name, b->name);
        number("flags", a->flags, b->flags);
        text("version", a->version, b->version);
        files(a->files, b->files);
        properties(a->properties, b->properties);
        each("class", a->classes, b->classes,
             [this](const rdbClass* x, const rdbClass* y) { klass(x, y); });
        each("schema", a->schemas, b->schemas, [this](const rdbSchema* x, const rdbSchema* y) {
            number("flags", x->flags, y->flags);
            classList("classes", x->classes, y->classes);
            properties(x->properties, y->properties);
        });
        each("storage manager", a->storMgrs, b->storMgrs,
             [this](const rdbStorMgr* x, const rdbStorMgr* y) {
                 number("type", x->type, y->type);
                 number("flags", x->flags, y->flags);
                 number("policy", x->policy, y->policy);
                 number("depth", x->versionDepth, y->versionDepth);
                 properties(x->properties, y->properties);
             });
        each("database", a->databases, b->databases,
             [this](const rdbDatabase* x, const rdbDatabase* y) {
                 number("flags", x->flags, y->flags);
                 number("lock mode", x->lockMode, y->lockMode);
                 number("sort mode", x->sortMode, y->sortMode);
                 text("schema", name(x->schema), name(y->schema));
                 text("storage manager", name(x->storMgr), name(y->storMgr));
                 properties(x->properties, y->properties);
             });
    }

private:
    std::string at_;

    template <typename T>
    static const char* name(const T* record) {
        return record ? record->name : nullptr;
    }

    void differ(const std::string& field, const std::string& a, const std::string& b) {
        lines.push_back(at_ + ": " + field + ": " + a + " / " + b);
    }
    void text(const char* field, const char* a, const char* b) {
        if (rdbStrcmp(a, b) != 0) differ(field, a ? a : "(null)", b ? b : "(null)");
    }
    void number(const char* field, long a, long b) {
        if (a != b) differ(field, std::to_string(a), std::to_string(b));
    }

    // Walks two lists side by side, records of one name against each other.
    template <typename T, typename Fn>
    void each(const char* what, const T* a, const T* b, Fn fn) {
        std::string outer = at_;
        for (; a && b; a = a->next, b = b->next) {
            at_ = outer + "/" + what + " " + (a->name ? a->name : "");
            text("name", a->name, b->name);
            fn(a, b);
        }
        at_ = outer;
        if (a || b) differ(std::string(what) + "s", a ? "more" : "end", b ? "more" : "end");
    }

    void files(const rdbFileSpec* a, const rdbFileSpec* b) {
        for (; a && b; a = a->next, b = b->next) {
            char na[KS_PATHMAX] = "", nb[KS_PATHMAX] = "";
            ksParse2(a->path, nullptr, nullptr, na);
            ksParse2(b->path, nullptr, nullptr, nb);
            text("file", na, nb);
            text("file version text", a->version, b->version);
            number("file version", a->fileVersion, b->fileVersion);
            number("file time", a->timestamp, b->timestamp);
        }
        if (a || b) differ("files", a ? "more" : "end", b ? "more" : "end");
    }

    void properties(const rdbProperty* a, const rdbProperty* b) {
        each("property", a, b, [this](const rdbProperty* x, const rdbProperty* y) {
            text("value", x->value, y->value);
        });
    }

    void classList(const char* what, const rdbClassList* a, const rdbClassList* b) {
        int i = 0;
        for (; a && b; a = a->next, b = b->next, ++i) {
            std::string field = std::string(what) + "[" + std::to_string(i) + "]";
            text((field + " class").c_str(), name(a->cls), name(b->cls));
            number((field + " flags").c_str(), a->flags, b->flags);
            number((field + " policy").c_str(), a->smPolicy, b->smPolicy);
            number((field + " depth").c_str(), a->versionDepth, b->versionDepth);
            text((field + " storage manager").c_str(), name(a->storMgr), name(b->storMgr));
        }
        if (a || b) differ(what, a ? "more" : "end", b ? "more" : "end");
    }

    void klass(const rdbClass* a, const rdbClass* b) {
        number("flags", a->flags, b->flags);
        number("relative path", a->relPath, b->relPath);
        number("physical type", a->physType, b->physType);
        number("object type", a->objType, b->objType);
        text("label", a->label, b->label);
        text("default subdirectory", a->defSubdir, b->defSubdir);
        text("default name", a->defName, b->defName);
        text("default modifier", a->defModifier, b->defModifier);
        number("name length", a->maxNameLen, b->maxNameLen);
        number("lock test", a->lockTest, b->lockTest);
        properties(a->properties, b->properties);
        classList("parents", a->parents, b->parents);
        classList("children", a->children, b->children);
        each("relationship", a->relations, b->relations,
             [this](const rdbRelation* x, const rdbRelation* y) {
                 number("type", x->type, y->type);
                 number("ordinality", x->ordinality, y->ordinality);
                 text("owner", name(x->owner), name(y->owner));
                 classList("classes", x->classes, y->classes);
             });
        each("view", a->views, b->views, [this](const rdbView* x, const rdbView* y) {
            number("flags", x->flags, y->flags);
            text("view class", name(x->viewClass), name(y->viewClass));
            text("ini class", name(x->iniClass), name(y->iniClass));
            classList("classes", x->classes, y->classes);
            properties(x->properties, y->properties);
        });
    }
};
