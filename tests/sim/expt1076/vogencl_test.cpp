// Generic clause: which attributes of a symbol become generics, their
// defaults, repeated names, and the VHDL times made of delays.
#include "vogencl.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "ktstr.h"
#include "modelrun.h"
#include "vgstruct.h"

namespace {

TEST_F(ModelRun, GenericsOfASymbolWithTheirDefaults) {
    // The reference designator and the device belong to the schematic.
    EXPECT_EQ(entity({"U REFDES=U1", "U DEVICE=74F00"}), "entity PART is\nend PART;\n");
    // A string default in quotes, none for an empty string or an empty
    // time; typed generics; a reference to another attribute; no
    // attribute lines for pins without attributes of their own.
    EXPECT_EQ(entity({"U REFDES=U1", "U VALUE=5", "U NOTE=", "U VHDL_GEN_TOFF=TIME:=",
                      "U VHDL_GEN_TON=TIME:=OPEN", "U VHDL_GEN_W=INTEGER:=8",
                      "U VHDL_GEN_N=INTEGER:=@W", "P Y", "A PINTYPE=OUT"},
                     "TRANSLATE word @W W\n"),
              R"(entity PART is
    generic (NOTE : string;
             W : INTEGER := 8;
             TON : TIME := 0.00 ns;
             TOFF : TIME;
             N : INTEGER := W;
             VALUE : string := "5");
    port (Y : OUT bit);
end PART;
)");
}

// A name given twice makes a second generic with the prefix, its own
// value, a warning in the run and a warning comment in the model.
TEST_F(ModelRun, RepeatedNamesAreKeptApart) {
    EXPECT_EQ(entity({"U PART=A", "U PART=C", "U PART=B"}, "PREFIX x_\n"),
              R"(entity PART is
    generic (PART : string := "A";
--WARNING: Generic PART stands more than once on the symbol; the repeats have the prefix in front.

             x_PART : string := "C";
--WARNING: Generic PART stands more than once on the symbol; the repeats have the prefix in front.

             x_x_PART : string := "B");
end PART;
)");
    EXPECT_THAT(run.err, testing::HasSubstr("Warning 847: - sym PART:  Generic PART stands"));
    EXPECT_THAT(run.err, testing::HasSubstr("0 error(s), 2 warning(s)"));
}

// A delay on a symbol: ticks of the tick size, a time with its own unit,
// min:typ:max with the value DELAY picks.
TEST(TimeValue, TicksUnitsAndTheDelayWord) {
    vo = vodatabloc();
    vo->ini = voinibloc();
    auto time = [](const char* text) {
        char* t = votimeval(text);
        std::string s = t;
        ktStrFree(t);
        return s;
    };
    auto delay = [](int kind) {
        if (!vo->ini->delay) vo->ini->delay = voDelayBlock();
        vo->ini->delay->kind = kind;
    };
    // Without DELAY: the typical value, in ticks of 0.1 ns.
    EXPECT_EQ(time("10"), "1.00 ns");
    EXPECT_EQ(time("1:2:3"), "0.20 ns");
    EXPECT_EQ(time("OPEN"), "0.00 ns");
    EXPECT_EQ(time("2 NS"), "2.00 ns");
    EXPECT_EQ(time("7 FS"), "7 FS");
    EXPECT_EQ(time("5 GATES"), "5 GATES");
    EXPECT_EQ(time("1:2:3:4"), "1:2:3:4");
    EXPECT_EQ(time("INF"), "INF");
    // min:max: the typical value is the mean when both count alike.
    EXPECT_EQ(time("10:20"), "1.50 ns");
    EXPECT_EQ(time("1 NS:20"), "1.00 ns");
    // DELAY without TICKSIZE keeps the tick of 0.1 ns.
    delay(3);
    EXPECT_EQ(time("1:2:3"), "0.30 ns");
    vo->ini->ticksize = voTicksizeBlock();
    vo->ini->ticksize->value = 0.5;
    vo->ini->ticksize->unit = vostcpy("ns");
    EXPECT_EQ(time("1:2:3"), "1.50 ns");
    EXPECT_EQ(time("1:2:3 PS"), "3.00 ps");
    EXPECT_EQ(time("4"), "2.00 ns");
    delay(1);
    EXPECT_EQ(time("4"), "2.00 ns");
    EXPECT_EQ(time("1:2:3"), "0.50 ns");
    EXPECT_EQ(votimeunit("1:2:3"), 1);
    EXPECT_EQ(votimeunit("7 fs"), 0);
    vodatafree(vo);
    vo = nullptr;
}

}  // namespace
