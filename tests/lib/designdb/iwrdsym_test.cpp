#include "iwrdsym.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "iwfixture.h"
#include "iwobj.h"

namespace {

// A symbol as text: its type and pin count, its attributes, then each pin
// with its attributes, one line each.
std::string dump(const iwsym* s) {
    if (!s) return "(none)";
    std::string out =
        "type " + std::to_string(s->type) + ", " + std::to_string(s->pincount) + " pins\n";
    for (const iwatt* a = s->attributes; a; a = a->next)
        out += std::string("U ") + a->name + "=" + a->value + "\n";
    for (const iwspin* p = s->pins; p; p = p->next) {
        out += std::string("P ") + p->name + ":";
        for (const iwatt* a = p->attributes; a; a = a->next)
            out += std::string(" ") + a->name + "=" + a->value;
        out += "\n";
    }
    return out;
}

class SymbolFile : public DatabaseTest {
protected:
    void SetUp() override {
        DatabaseTest::SetUp();
        open();
    }
    // Writes the symbol file `file` of the library "cells".
    void symbol(const std::string& file, const std::string& text) {
        dir.write("cells/sym/" + file, text);
    }
    iwsym* read(const std::string& name) {
        std::vector<char> buf(name.begin(), name.end());
        buf.push_back('\0');
        return iwrdsym(buf.data());
    }
    std::string readDump(const std::string& name) { return dump(read(name)); }
};

// Records of pins: P, then the label with its negation flag in field 9.
std::string pin(const std::string& label, const std::string& attrs = "", int flag = 0) {
    std::string out = "P 1 0 0 0 0 1\nL 1 0 0 8 0 1 0 " + std::to_string(flag) + " " + label + "\n";
    if (!attrs.empty()) out += "A 1 0 8 0 1 0 " + attrs + "\n";
    return out;
}

TEST_F(SymbolFile, RecordsGiveTypeAttributesAndPinsInCapitals) {
    symbol("and2.1",
           "V 5 anything\n"
           "Y 1\n"
           "T 10 20 graphic text\n"
           "U 0 0 8 0 1 0 model=nand\n"
           "U 0 0 8 0 1 0 VHDL_COM_1 = Two inputs  \n"
           "U 0 0 8 0 1 0 FLAG\n" +
               pin("b", "pintype=in") + pin("A", "PINTYPE=IN") + pin("Y", "PINTYPE=OUT") + "\nE\n");
    iwsym* s = read("cells:and2.1");
    EXPECT_EQ(dump(s), R"(type 0, 3 pins
U FLAG=
U MODEL=NAND
U VHDL_COM_1=TWO INPUTS
P A: PINTYPE=IN
P B: PINTYPE=IN
P Y: PINTYPE=OUT
)");
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->group->name, "CELLS:AND2");
    EXPECT_EQ(s->version, 1);
    EXPECT_EQ(s->group->symbols, s);
    EXPECT_EQ(Ireftop, s->group);
    EXPECT_EQ(messages(), "");
}

TEST_F(SymbolFile, SymbolTypesByTheNumberOfTheYRecord) {
    // 0 composite, 1 module, 4 pin; 2 and 3 change nothing, any other
    // number is reported and changes nothing either.
    symbol("t.1", "V 5\nY 0\nY 4\nY 2\nY 3\nY 7\nY -1\nY x\n");
    EXPECT_EQ(read("cells:t.1")->type, IW_TPIN);
    EXPECT_EQ(messages(),
              "larkmoor: Error 399:  Symbol type 7 of cells:t.1 is unknown; the type stays as it "
              "was.\n"
              "larkmoor: Error 399:  Symbol type -1 of cells:t.1 is unknown; the type stays as it "
              "was.\n"
              "larkmoor: Error 399:  Symbol type x of cells:t.1 is unknown; the type stays as it "
              "was.\n");
    symbol("u.1", "V 5\nY 4\nY 0\n");
    EXPECT_EQ(read("cells:u.1")->type, IW_TCOMPOSITE);
}

TEST_F(SymbolFile, OnlyALineWithWhiteSpaceAsSecondByteIsARecord) {
    symbol("r.1",
           "V 5\n"
           "U 0 0 8 0 1 0 LONG=ONE\n"
           "UX 0 0 8 0 1 0 IGNORED=1\n"  // ignored: the continuation goes on
           "\n"
           "+ TWO\n" +
               pin("A") +
               "Q\n"  // a record of its own: it ends the continuation
               "+ LOST\n"
               "Y1\n"
               "U 0 0 8 0 1 0 KEEP=\n"
               "Y 4\n"  // a Y record keeps what the next "+" continues
               "+ 3\n");
    EXPECT_EQ(readDump("cells:r.1"), R"(type 2, 1 pins
U KEEP=3
U LONG=ONETWO
P A:
)");
    EXPECT_EQ(messages(), "");
}

TEST_F(SymbolFile, ContinuationsOfLabelsAttributesAndPinOrder) {
    symbol("c.1",
           "V 5\n"
           "U 0 0 8 0 1 0 TEXT=WITH BLANKS   \n"
           "+ AND MORE\n"
           "U 0 0 8 0 1 0 NOEQ\n"
           "+ TAIL\n"
           "U 0 0 8 0 1 0 PINORDER=DATA   \n"
           "+ CLK\n" +
               pin("DA") + "+ TA\n" + "A 1 0 8 0 1 0 W==2\n" + "+ \n" + pin("CLK") +
               "+\n");  // nothing behind the "+": a fault
    EXPECT_EQ(readDump("cells:c.1"), R"(type -1, 2 pins
U NOEQTAIL=
U TEXT=WITH BLANKS AND MORE
P DATA: W==2
P CLK:
)");
    EXPECT_EQ(messages(),
              "larkmoor: Error 300:  Line 15 of symbol CELLS:C, page 1: the continuation record "
              "has nothing behind its \"+\"; it is skipped.\n");
}

TEST_F(SymbolFile, NegatedLabelsAndTheLastOfEqualPins) {
    symbol("n.1", "V 5\n" + pin("A", "X=first") + pin("B", "", 1) + pin("A", "X=second"));
    EXPECT_EQ(readDump("cells:n.1"), R"(type -1, 2 pins
P A: X=SECOND
P ~B:
)");
}

TEST_F(SymbolFile, PinsSortByBytesWithoutAList) {
    symbol("s.1", "V 5\n" + pin("b") + pin("~A", "", 0) + pin("10") + pin("A2") + pin("2"));
    EXPECT_EQ(readDump("cells:s.1"), R"(type -1, 5 pins
P 10:
P 2:
P A2:
P B:
P ~A:
)");
}

// The file is read a block at a time: lines that cross the end of a block,
// CR LF line ends (one cut between CR and LF by the line limit) and a line
// longer than the limit count and read as a line at a time would.
TEST_F(SymbolFile, LinesCountTheSameWhereverTheyFallInTheFile) {
    std::string filler;
    while (filler.size() < 70000) filler += "b 0 0 40 320 a graphic line\r\n";
    const size_t fillerLines = static_cast<size_t>(std::count(filler.begin(), filler.end(), '\n'));
    std::string crlf;
    for (char c : pin("A", "PINTYPE=IN") + "E\n")
        crlf += c == '\n' ? std::string("\r\n") : std::string(1, c);
    symbol("s.1", "V 5\r\n"
                  "T " + std::string(16380, 'x') + "\r\n" +  // 16383 bytes up to its CR
                  "T " + std::string(20000, 'y') + "\n" +    // two lines
                  filler + "L 1 0 0 8 0 1 0 1\r\n" + crlf);
    EXPECT_EQ(readDump("cells:s.1"), "type -1, 1 pins\nP A: PINTYPE=IN\n");
    EXPECT_EQ(messages(), "larkmoor: Error 297:  Line " + std::to_string(5 + fillerLines) +
                              " of symbol CELLS:S, page 1: the pin label record lacks its "
                              "negation flag or its label; it is skipped.\n");
}

TEST_F(SymbolFile, RecordsThatLackFieldsAreSkippedWithTheirLine) {
    symbol("f.1",
           "V 5\n"
           "U 0 0 8 0 1 0\n"
           "P 1\n"
           "L 1 0 0 8 0 1 0 1\n"
           "L 1 0 0 8 0 1 0 0 OK\n"
           "A 1 0 8 0 1  \n");
    EXPECT_EQ(readDump("cells:f.1"), "type -1, 1 pins\nP OK:\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 299:  Line 2 of symbol CELLS:F, page 1: the symbol attribute record "
              "lacks its text; it is skipped.\n"
              "larkmoor: Error 297:  Line 4 of symbol CELLS:F, page 1: the pin label record lacks "
              "its negation flag or its label; it is skipped.\n"
              "larkmoor: Error 298:  Line 6 of symbol CELLS:F, page 1: the pin attribute record "
              "lacks its text; it is skipped.\n");
    EXPECT_EQ(iwmsgcount(4), 3);
}

TEST_F(SymbolFile, AnERecordEndsTheRead) {
    symbol("e.1", "V 5\n" + pin("A") + "E\n" + pin("B") + "U 0 0 8 0 1 0 \n");
    EXPECT_EQ(readDump("cells:e.1"), "type -1, 1 pins\nP A:\n");
    EXPECT_EQ(messages(), "");
}

TEST_F(SymbolFile, FirstLineAndVersionDecideWhetherThereIsASymbol) {
    symbol("lower.1", "v 5\n" + pin("A"));
    EXPECT_EQ(readDump("cells:LOWER.1"), "type -1, 1 pins\nP A:\n");
    symbol("nov.1", "V5\n" + pin("A"));
    EXPECT_EQ(read("cells:nov.1"), nullptr);
    symbol("empty.1", "");
    EXPECT_EQ(read("cells:empty.1"), nullptr);
    EXPECT_EQ(messages(),
              "larkmoor: Error 380:  cells:nov.1 is no symbol file: its first line is not a \"V \" "
              "line.\n"
              "larkmoor: Error 380:  cells:empty.1 is no symbol file: its first line is not a \"V "
              "\" line.\n");
    EXPECT_EQ(read("cells:missing.1"), nullptr);
    EXPECT_EQ(read("nolib:lower.1"), nullptr);
    EXPECT_EQ(read("cells:lower.0"), nullptr);
    EXPECT_EQ(read("cells:lower.x"), nullptr);
    EXPECT_EQ(messages(),
              "larkmoor: Error 398:  cells:lower.0: the version behind the last dot must be a "
              "number from 1 to 32767.\n"
              "larkmoor: Error 398:  cells:lower.x: the version behind the last dot must be a "
              "number from 1 to 32767.\n");
}

TEST_F(SymbolFile, AVersionBesideTheFirstSymbolOfTheGroup) {
    symbol("v", "V 5\n" + pin("ZERO"));
    symbol("v.3", "V 5\n" + pin("THREE"));
    iwsym* zero = read("cells:v");
    ASSERT_NE(zero, nullptr);
    iwsym* three = read("cells:v.3");
    ASSERT_NE(three, nullptr);
    // The group's first symbol is the empty version 1 that made the group.
    iwgroup* g = zero->group;
    EXPECT_EQ(three->group, g);
    std::vector<int> versions;
    for (iwsym* s = g->symbols; s; s = s->next) versions.push_back(s->version);
    EXPECT_EQ(versions, (std::vector<int>{1, 0, 3}));
    EXPECT_EQ(g->symbols->pins, nullptr);
    EXPECT_STREQ(zero->pins->name, "ZERO");
}

TEST_F(SymbolFile, PinOrderListOrPinFile) {
    symbol("o.1", "V 5\nU 0 0 8 0 1 0 PINORDER=Y  B \n+ A\n" + pin("A") + pin("B") + pin("Y"));
    EXPECT_EQ(readDump("cells:o.1"), "type -1, 3 pins\nP Y:\nP B:\nP A:\n");
    // The .pin file serves a symbol without PINORDER, its lines joined.
    symbol("p.1", "V 5\n" + pin("A") + pin("B") + pin("C"));
    symbol("p.pin", "C\r\nA\nB\n");
    EXPECT_EQ(readDump("cells:p.1"), "type -1, 3 pins\nP C:\nP A:\nP B:\n");
    EXPECT_EQ(messages(), "");
}

TEST_F(SymbolFile, AListOfOtherNamesLeavesThePinsOrSkipsTheName) {
    // Another number of names: the pins stay in reverse file order.
    symbol("w.1", "V 5\nU 0 0 8 0 1 0 PINORDER=A B C\n" + pin("A") + pin("B"));
    EXPECT_EQ(readDump("cells:w.1"), "type -1, 2 pins\nP B:\nP A:\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 293:  The pin order list does not name the 2 pins of symbol "
              "CELLS:W: the pins are not ordered.\n"
              "larkmoor: Note 294:  The list names 3 pins.\n");
    EXPECT_EQ(iwmsgcount(4), 1);  // the note goes with its error
    // A name of no pin (lower case is no capital) is skipped, and so is the pin.
    symbol("m.1", "V 5\nU 0 0 8 0 1 0 PINORDER=b A\n" + pin("A") + pin("B"));
    EXPECT_EQ(readDump("cells:m.1"), "type -1, 1 pins\nP A:\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 295:  No pin is named b.\n"
              "larkmoor: Note 296:  The name stands in the pin order list of symbol CELLS:M, "
              "page 1; it is skipped.\n");
}

TEST_F(SymbolFile, APinFileOverTheLimitIsCut) {
    symbol("big.1", "V 5\n" + pin("A"));
    symbol("big.pin", "A " + std::string(20000, ' ') + "\n");
    EXPECT_EQ(readDump("cells:big.1"), "type -1, 1 pins\nP A:\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 347:  The pin order file is longer than 16383 characters; the "
              "text read so far is used.\n");
}

TEST_F(SymbolFile, SignalsGoToTheFirstSymbolOfTheGroup) {
    symbol("g.2",
           "V 5\n"
           "U 0 0 8 0 1 0 SIGNAL=gnd;A,B[1:0]\n"
           "+ IGNORED\n"
           "U 0 0 8 0 1 0 SIGNAL=VDD;A\n"
           "U 0 0 8 0 1 0 SIGNAL=GND;A\n"
           "U 0 0 8 0 1 0 SIGNAL=nosemicolon\n"
           "U 0 0 8 0 1 0 SIGNAL=X;" +
               std::string(260, 'P') +
               "\n"
               "U 0 0 8 0 1 0 GND_PIN=c\n"
               "U 0 0 8 0 1 0 GND_PIN=C\n"
               "U 0 0 8 0 1 0 VDD_PIN=D\n");
    iwsym* s = read("cells:g.2");
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(dump(s), "type -1, 0 pins\nU SIGNAL=GND;C\nU SIGNAL=VDD;D\n");
    EXPECT_EQ(dump(s->group->symbols),
              "type -1, 0 pins\nU SIGNAL=GND;A\nU SIGNAL=GND;B0\nU SIGNAL=GND;B1\nU "
              "SIGNAL=VDD;A\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 128:  A SIGNAL attribute of symbol CELLS:G has no \";\" between "
              "its net and its pins; it is left out.\n"
              "larkmoor: Error 304:  A SIGNAL attribute of symbol CELLS:G is longer than 255 "
              "characters; it is left out.\n");
}

TEST_F(SymbolFile, BusPinsExpandWhenAsked) {
    ASSERT_EQ(iwexpbus(), 1);
    symbol("bus.1", "V 5\nU 0 0 8 0 1 0 PINORDER=CLK D[3:0] Q[1:0\n" + pin("D[3:0]", "PINTYPE=IN") +
                        pin("CLK") + pin("Q[1:0"));
    EXPECT_EQ(readDump("cells:bus.1"), R"(type -1, 6 pins
P CLK:
P D3: PINTYPE=IN
P D2: PINTYPE=IN
P D1: PINTYPE=IN
P D0: PINTYPE=IN
P Q[1:0:
)");
    EXPECT_EQ(messages(),
              "larkmoor: Error 269:  Bus Q[1:0: a bracket or brace is not closed, or a \"[\" "
              "stands inside a range.\n");
    // A bus that would take the symbol beyond 32767 pins stays one pin.
    symbol("wide.1", "V 5\n" + pin("A[0:32767]") + pin("B"));
    EXPECT_EQ(readDump("cells:wide.1"), "type -1, 2 pins\nP A[0:32767]:\nP B:\n");
    EXPECT_EQ(messages(),
              "larkmoor: Error 303:  Bus pin A[0:32767] of symbol CELLS:WIDE would take the "
              "symbol beyond 32767 pins; it is not expanded.\n");
    ASSERT_EQ(iwexpbus(), 0);
    symbol("off.1", "V 5\n" + pin("D[1:0]"));
    EXPECT_EQ(readDump("cells:off.1"), "type -1, 1 pins\nP D[1:0]:\n");
}

}  // namespace
