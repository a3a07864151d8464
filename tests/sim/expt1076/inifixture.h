// A translator in a directory of its own that reads an entgen.ini the test
// writes there. Reports come back as "605@3 609@7" (number@line), and the
// configuration as one line of text, field by field, so that a case of
// the file format fits on a line.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <regex>
#include <string>

#include "tempdir.h"
#include "vofixture.h"
#include "voinisec.h"
#include "voreadini.h"

class IniTest : public TranslatorTest {
protected:
    // Reads `text` as entgen.ini, or whatever is found when it is null.
    std::string read(const char* text) {
        voinifree(vo->ini);
        vo->ini = nullptr;
        if (text) dir.write("entgen.ini", text);
        testing::internal::CaptureStderr();
        found = voreadini("entgen.ini");
        err = testing::internal::GetCapturedStderr();
        static const std::regex report(R"(entgen: \w+ (\d+):  :  (?:entgen\.ini, line (\d+):)?)");
        std::string out;
        for (std::sregex_iterator it(err.begin(), err.end(), report), end; it != end; ++it)
            out += (out.empty() ? "" : " ") + (*it)[1].str() +
                   ((*it)[2].matched ? "@" + (*it)[2].str() : "");
        return out;
    }
    std::string read(const std::string& text) { return read(text.c_str()); }

    // The records of the file in field order, lists in list order.
    std::string records() const {
        const voini* i = vo->ini;
        std::string out;
        auto add = [&](const char* tag, std::initializer_list<const char*> parts) {
            out += (out.empty() ? "" : " ") + std::string(tag) + "[";
            const char* sep = "";
            for (const char* p : parts) out += sep + std::string(p ? p : "-"), sep = "/";
            out += "]";
        };
        auto gens = [&](const vogen* g) {
            for (; g; g = g->next) add("G", {g->name, g->vhdlname, g->type, g->trailer});
        };
        auto map = [](const voae* e) {
            std::string m;
            for (; e; e = e->next)
                m += (m.empty() ? "" : ",") + std::string(e->formal) + "=>" + e->actual;
            return m;
        };
        for (vohead* h = i->headers; h; h = h->next) add("H", {h->text});
        if (i->gendefault || i->attdefault) add("SETDEF", {i->gendefault, i->attdefault});
        gens(i->gens);
        for (voattr* a = i->attrs; a; a = a->next) add("A", {a->name, a->vhdlname, a->type});
        // The types through their readers, which must give what the file said.
        if (i->sigtype) add("S", {vosigtype(), vosigbase()});
        if (i->vectype) add("V", {vo1DimVecType(), vovec1Dimbase()});
        if (i->vec2type) add("V2", {vo2DimVecType(), vovec2Dimbase()});
        char num[64];
        if (i->ticksize) std::snprintf(num, sizeof num, "%g", i->ticksize->value);
        if (i->ticksize) add("TICK", {num, i->ticksize->unit});
        if (i->delay) add("DELAY", {std::to_string(i->delay->kind).c_str(), i->delay->word});
        if (i->zval) add("Z", {vozval()});
        for (vosinit* s = i->sinits; s; s = s->next) add("I", {s->name, s->value});
        for (vocomp* c = i->comps; c; c = c->next) {
            add("C", {c->name});
            gens(c->gens);
            if (vobind* b = c->bind)
                add("B",
                    {b->lib, b->entity, b->arch, map(b->genmap).c_str(), map(b->portmap).c_str()});
        }
        for (vopint* p = i->pintypes; p; p = p->next)
            add("P", {p->name, std::to_string(p->dir).c_str()});
        for (votrans* t = i->words; t; t = t->next) add("W", {t->from, t->to});
        for (votrans* t = i->chars; t; t = t->next) add("X", {t->from, t->to});
        if (i->prefix) add("PREFIX", {i->prefix});
        for (struct voplace* p = i->places; p; p = p->next)
            add("L", {std::to_string(p->kind * 10 + p->where).c_str(), p->file, p->ext});
        if (i->listids != 1) add("LIST", {std::to_string(i->listids).c_str()});
        return out;
    }

    TempDir dir;
    ChdirGuard here{dir.path()};
    int found = -1;
    std::string err;
};
