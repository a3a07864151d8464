#include "vomodel.h"

#include <gtest/gtest.h>

#include <string>

#include "iwmem.h"
#include "iwname.h"
#include "iwobj.h"
#include "tempdir.h"
#include "vofixture.h"

namespace {

class ModelWriter : public TranslatorTest {
protected:
    void SetUp() override {
        TranslatorTest::SetUp();
        vo->cmdl->outdir = vostcpy(dir.path().c_str());
        vo->ini = voinibloc();
        group = vogroupbloc();
        // A group as the symbol reader makes it, in a pool of the test's own.
        Idatamem = iwbinit(8192);
        group->grp = vo->top = iwmkgroup("LIB:AND2");
        group->entity = vostcpy("AND2");
        group->arch = vostcpy("archAND2");
        group->base = vostcpy("and2");
        group->ext = vostcpy("vhd");
        group->next = vo->prims;
        vo->prims = group;
    }
    void TearDown() override {
        TranslatorTest::TearDown();
        iwbfree(Idatamem);
        iwdelnames();
        Idatamem = 0;
    }

    std::string model() {
        EXPECT_EQ(vomodel(group), 0);
        EXPECT_EQ(vo->file->fp, nullptr) << "the model file must be closed";
        return dir.read("and2.vhd");
    }

    voComman* pair(const char* name, const char* value) {
        voComman* c = voCommanBlock();
        c->pair = static_cast<char**>(voalloc(2 * sizeof(char*)));
        c->pair[0] = vostcpy(name);
        c->pair[1] = vostcpy(value);
        return c;
    }

    TempDir dir;
    vogroup* group = nullptr;
};

TEST_F(ModelWriter, BareSymbolGivesTheFrame) {
    EXPECT_EQ(model(), R"(-- Entity declaration
entity AND2 is
end AND2;

architecture archAND2 of AND2 is
begin
    
end archAND2;
)");
}

TEST_F(ModelWriter, EverySectionInItsPlace) {
    vohead* second = voheadbloc();
    second->text = vostcpy("-- second header line");
    vohead* first = voheadbloc();
    first->text = vostcpy("-- first header line");
    second->next = first;  // newest first, as the reader keeps them
    vo->ini->headers = second;

    struct voplace* place = voplacebloc();
    place->kind = 1;
    place->where = 2;
    place->file = vostcpy("COMPS");
    vo->ini->places = place;

    const std::pair<int, const char*> imports[] = {
        {2, "IEEE"}, {1, "IEEE.STD_LOGIC_1164"}, {5, "WORK.CELLS.NAND2"}, {0, "DROPPED"}};
    voImport** tail = &group->imports;
    for (auto [kind, name] : imports) {
        *tail = voImportBlock();
        (*tail)->kind = kind;
        (*tail)->name = vostcpy(name);
        tail = &(*tail)->next;
    }

    group->comments = pair("B", "second comment");
    group->comments->next = pair("a", "first comment");
    group->pprs = pair("Z", "assert TRUE;");
    group->pprs->next = pair("M", "assert FALSE;");

    voCons* k = voConsBlock();
    k->name = vostcpy("WIDTH");
    k->type = vostcpy("INTEGER");
    k->value = vostcpy("4");
    group->consts = voclistbloc();
    group->consts->cons = k;

    iwatt loc{8, 0, const_cast<char*>("VHDL_ATT_LOC"), const_cast<char*>("STRING:\"A1\""), nullptr};
    iwatt bare{8, 0, const_cast<char*>("VHDL_ATT_KEEP"), const_cast<char*>("BOOLEAN"), &loc};
    iwatt other{8, 0, const_cast<char*>("PINTYPE"), const_cast<char*>("IN"), &bare};
    group->grp->symbols->attributes = &other;

    EXPECT_EQ(model(), R"(-- first header line
-- second header line

use WORK.COMPS.all;
library IEEE;
use IEEE.STD_LOGIC_1164.all;
use WORK.CELLS.NAND2;
-- Entity declaration
-- first comment
-- second comment
entity AND2 is
    constant WIDTH : INTEGER := 4;
    attribute KEEP : BOOLEAN;
    attribute KEEP of AND2 : entity is ;
    
    attribute LOC : STRING;
    attribute LOC of AND2 : entity is "A1";
    
    begin
        assert FALSE;
        assert TRUE;
    
end AND2;

architecture archAND2 of AND2 is
begin
    
end archAND2;
)");
    group->grp->symbols->attributes = nullptr;
}

}  // namespace
