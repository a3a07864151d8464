// A translator that reads symbol files: the root record with an empty
// configuration and a fresh table of names, a design database session on
// the library "cells" in a directory of the test's own, and the reports
// kept for the test. `examine` gives every pin of a symbol its port as the
// examination does, with the built-in pin types entered first.
#pragma once
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "iwobj.h"
#include "iwrdsym.h"
#include "iwsession.h"
#include "kssrch.h"
#include "kterr.h"
#include "qlm.h"
#include "rdb_api.h"
#include "tempdir.h"
#include "vofixture.h"
#include "voportinfo.h"
#include "votr.h"
#include "vovector.h"

class PortTest : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->ini = voinibloc();
        votrsetup();
        dir.write("scrivet.ini", "DIR [p] ./cells (cells)\n");
        dir.mkdir("cells/sym");
        here.emplace(dir.path());
        resetSearch();
        ASSERT_EQ(iwinit(), 1);
        // Starting the database starts the error service, which points it at stderr.
        ktErrFileV = reports_ = open_memstream(&text_, &len_);
    }
    void TearDown() override {
        if (Iexpand) iwexpbus();
        iwfinish();
        rdbExit();
        here.reset();
        resetSearch();
        ktErrFileV = stderr;
        if (reports_) std::fclose(reports_);
        std::free(text_);
        TranslatorTest::TearDown();
    }
    static void resetSearch() {
        qlm_free_all();
        ksGetdefReset();
        ksKdirReset();
    }

    // The numbers of the translator's reports since the last call, blank-separated.
    std::string numbers() {
        std::fflush(reports_);
        std::string text(text_ + taken_, len_ - taken_), out;
        taken_ = len_;
        static const std::regex number(R"(entgen: \w+ (\d+):)");
        for (std::sregex_iterator it(text.begin(), text.end(), number), end; it != end; ++it)
            out += (out.empty() ? "" : " ") + (*it)[1].str();
        return out;
    }

    // Writes and reads a symbol of the library: its attributes, and its pins,
    // each a label with the pin's attributes behind it, ";" between them.
    iwsym* symbol(const std::vector<std::string>& pins,
                  const std::vector<std::string>& attrs = {}) {
        std::string text = "V 5\nY 1\n";
        for (const std::string& a : attrs) text += "U 0 0 8 0 1 0 " + a + "\n";
        for (const std::string& p : pins) {
            std::istringstream in(p);
            std::string part;
            std::getline(in, part, ';');
            text += "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 0 " + part + "\n";
            while (std::getline(in, part, ';')) text += "A 1 0 8 0 1 0 " + part + "\n";
        }
        std::string name = "cells:s" + std::to_string(++made_) + ".1";
        dir.write("cells/sym/s" + std::to_string(made_) + ".1", text + "E\n");
        return iwrdsym(name.data());
    }

    vogroup* examine(iwsym* s) {
        static const std::pair<const char*, int> builtIn[] = {
            {"IN", 1}, {"ENA", 1}, {"OUT", 2}, {"TRI", 2}, {"BI", 4}};
        for (auto [name, dir] : builtIn)
            if (!vofind_pintype(name)) voaddpintype(name, dir, &vo->ini->autopins);
        for (iwspin* p = s->pins; p; p = p->next) voGetPortInfo(s, p, nullptr);
        vogroup* g = vogroupbloc();
        g->grp = s->group;
        g->next = vo->prims;
        vo->prims = g;
        voSetPinVector(g);
        return g;
    }

    // Each pin's port as "name mode type range := value brf", "; " between.
    static std::string ports(const iwsym* s) {
        std::string out;
        for (const iwspin* p = s->pins; p; p = p->next) {
            const voPort* r = voPinPort(p);
            out += out.empty() ? "" : "; ";
            if (!r) continue;
            out +=
                std::string(r->name) + " " + r->mode + " " + r->type + (r->range ? r->range : "");
            if (r->value) out += std::string(" := ") + r->value;
            if (r->brf) out += std::string(" ") + r->brf;
        }
        return out;
    }
    std::string examined(const std::vector<std::string>& pins,
                         const std::vector<std::string>& attrs = {}) {
        iwsym* s = symbol(pins, attrs);
        if (!s) return "(no symbol)";
        examine(s);
        return ports(s);
    }

    TempDir dir;
    std::optional<ChdirGuard> here;

private:
    FILE* reports_ = nullptr;
    char* text_ = nullptr;
    size_t len_ = 0, taken_ = 0;
    int made_ = 0;
};
