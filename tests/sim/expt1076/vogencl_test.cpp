// Generic clause: which symbol attributes become generics, their defaults,
// repeated names, and the VHDL times made of delays.
#include "vogencl.h"

#include <gmock/gmock.h>

#include <string>
#include <tuple>
#include <vector>

#include "ktstr.h"
#include "modelrun.h"
#include "vgstruct.h"

namespace {

TEST_F(ModelRun, GenericsWithTheirDefaultsAndRepeatedNames) {
    EXPECT_EQ(entity({"U REFDES=U1", "U DEVICE=74F00"}), "entity PART is\nend PART;\n");
    // No default for an empty string or time, and no attribute lines.
    EXPECT_EQ(entity({"U REFDES=U1", "U VALUE=5",
                      "U NOTE=", "U VHDL_GEN_TOFF=TIME:=", "U VHDL_GEN_TON=TIME:=OPEN",
                      "U VHDL_GEN_W=INTEGER:=8", "P Y", "A PINTYPE=OUT"}),
              R"(entity PART is
    generic (NOTE : string;
             W : INTEGER := 8;
             TON : TIME := 0.00 ns;
             TOFF : TIME;
             VALUE : string := "5");
    port (Y : OUT bit);
end PART;
)");
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

    // A symbol with many attributes: repeats are counted and their
    // attributes found the same way (the generics list, headed by another
    // name, holds the three in the opposite order).
    std::vector<std::string> many = {"U PART=A", "U PART=C", "U PART=B"};
    for (int i = 0; i < 40; ++i) many.push_back("U G" + std::to_string(100 + i) + "=" + std::to_string(i));
    const std::string text = entity(many, "PREFIX x_\n");
    for (const char* line : {"(G100 : string := \"0\";\n             PART : string := \"C\"",
                             "x_PART : string := \"B\"", "x_x_PART : string := \"A\"",
                             "G139 : string := \"39\""})
        EXPECT_THAT(text, testing::HasSubstr(line));
}

// Ticks of 0.1 ns or of TICKSIZE, times with their own unit, and the
// value of min:typ:max that DELAY picks (without it, the middle one).
TEST(TimeValue, TicksUnitsAndTheDelayWord) {
    vo = vodatabloc();
    vo->ini = voinibloc();
    voDelay delay{};
    voTicksize tick{0.5, const_cast<char*>("ns")};
    // clang-format off
    const std::tuple<int, bool, const char*, const char*> rows[] = {
        {0, 0, "10", "1.00 ns"},    {0, 0, "1:2:3", "0.20 ns"},   {0, 0, "OPEN", "0.00 ns"},
        {0, 0, "2 NS", "2.00 ns"},  {0, 0, "7 FS", "7 FS"},       {0, 0, "5 GATES", "5 GATES"},
        {0, 0, "10:20", "1.50 ns"}, {0, 0, "1:2:3:4", "1:2:3:4"}, {3, 0, "1:2:3", "0.30 ns"},
        {3, 1, "1:2:3", "1.50 ns"}, {3, 1, "1:2:3 PS", "3.00 ps"}, {1, 1, "4", "2.00 ns"}};
    // clang-format on
    for (auto [kind, ticksize, value, time] : rows) {
        vo->ini->delay = kind ? &delay : nullptr;
        vo->ini->ticksize = ticksize ? &tick : nullptr;
        delay.kind = kind;
        char* t = votimeval(value);
        EXPECT_STREQ(t, time) << value << " with DELAY " << kind;
        ktStrFree(t);
    }
    // A unit of any length is kept whole.
    std::string unit(600, 'u');
    tick.unit = unit.data();
    vo->ini->delay = &delay, vo->ini->ticksize = &tick, delay.kind = 1;
    char* t = votimeval("4");
    EXPECT_EQ(std::string(t), "2.00 " + unit);
    ktStrFree(t);
    vo->ini->delay = nullptr, vo->ini->ticksize = nullptr;
    vodatafree(vo);
    vo = nullptr;
}

}  // namespace
