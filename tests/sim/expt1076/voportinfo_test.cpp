#include "voportinfo.h"

#include <gtest/gtest.h>

#include <tuple>

#include "portfixture.h"
#include "voinisec.h"

namespace {

using PortInfo = PortTest;

TEST_F(PortInfo, ModeFromThePinTypeAndInWithoutOne) {
    voaddpintype("CLOCK", VOPORT_IN, &vo->ini->pintypes);
    voaddpintype("BI", VOPORT_OUT, &vo->ini->pintypes);  // the file's row wins
    EXPECT_EQ(examined({"A", "B;PINTYPE=BI", "C;PINTYPE=TRI;VHDL_PORT_MODE=IN",
                        "D;VHDL_PORT_MODE=ENA", "E;PINTYPE=clock"}),
              "A IN bit; B OUT bit; C OUT bit; D IN bit; E IN bit");
    EXPECT_EQ(numbers(), "");
}

TEST_F(PortInfo, AnUnknownPinTypeIsReportedOnceAndThenKnownAsInout) {
    EXPECT_EQ(examined({"A;PINTYPE=FOO", "B;PINTYPE=FOO"}), "A IN bit; B INOUT bit");
    EXPECT_EQ(numbers(), "527");
    EXPECT_EQ(examined({"C;PINTYPE=FOO"}), "C INOUT bit") << "also in a later symbol";
    vo->cmdl->warnpintype = 0;
    EXPECT_EQ(examined({"D;PINTYPE=BAR"}), "D IN bit");
    EXPECT_EQ(numbers(), "");
    ASSERT_NE(vofind_pintype("bar"), nullptr);
    EXPECT_EQ(vofind_pintype("BAR")->dir, VOPORT_INOUT);
}

TEST_F(PortInfo, TheLabelGivesNameRangeAndType) {
    EXPECT_EQ(examined({"D[7:0]", "E[0:7]", "F[3]", "M[3:0][1:0]", "~RESET", "G[2"}),
              "D IN bit_vector(7 downto 0); E IN bit_vector(0 to 7); F IN bit_vector(3 to 3); "
              "G IN bit_vector(2 to 2); M IN ktbit_2d(3 downto 0,1 downto 0); v7ERESET IN bit");
    vo->ini->sigtype = vosigtbloc();
    vo->ini->sigtype->type = vostcpy("std_logic");
    vo->ini->vec2type = vovectbloc();
    vo->ini->vec2type->type = vostcpy("matrix");
    EXPECT_EQ(examined({"A", "B[1:0][0:1]", "C[1:0];VHDL_TYPE=COUNT", "D;VHDL_TYPE="}),
              "A IN std_logic; B IN matrix(1 downto 0,0 to 1); C IN COUNT(1 downto 0); "
              "D IN std_logic");
}

TEST_F(PortInfo, PinsOfOneBaseNameTakeTheirLabelsAndOverlapsAreReported) {
    vogenid = 0;
    EXPECT_EQ(examined({"D[3:0]", "D[7:4]"}),
              "D_3_0 IN bit_vector(3 downto 0); D_7_4 IN bit_vector(7 downto 4)");
    EXPECT_EQ(numbers(), "");
    EXPECT_EQ(examined({"D[3:0]", "D[2:1]"}),
              "D_2_1 IN bit_vector(2 downto 1); D_3_0 IN bit_vector(3 downto 0)");
    EXPECT_EQ(numbers(), "1001") << "only the wider range holds the other";
    EXPECT_EQ(examined({"D", "D[1:0]"}), "D IN bit; D_1_0 IN bit_vector(1 downto 0)");
    EXPECT_EQ(numbers(), "1001 1001");
    // An inverted pin has a base name of its own.
    EXPECT_EQ(examined({"~A[1:0]", "A[3:2]"}),
              "A IN bit_vector(3 downto 2); v7EA IN bit_vector(1 downto 0)");
    EXPECT_EQ(numbers(), "557 557") << "the base and the whole name are prefixed";
    // A label that another port already has takes a number behind it.
    EXPECT_EQ(examined({"D", "D[1:0]", "D_1_0"}, {"PINORDER=D_1_0 D D[1:0]"}),
              "D_1_0 IN bit; D IN bit; D_1_0_0 IN bit_vector(1 downto 0)");
    EXPECT_EQ(numbers(), "1001 1001");
}

TEST_F(PortInfo, DefaultsFromThePinBeforeTheSymbolAndFloatvalFirst) {
    EXPECT_EQ(examined({"A;FLOATVAL=1;VHDL_DEFAULT=0", "B;VHDL_DEFAULT=0", "C",
                        "D[1:0];VHDL_TYPE=INTEGER", "E;VHDL_BRF=WIRED_OR;FLOATVAL="},
                       {"VHDL_DEFAULT=0", "FLOATVAL=1"}),
              "A IN bit := '1'; B IN bit := '0'; C IN bit := '1'; D IN INTEGER(1 downto 0) := 1; "
              "E IN bit := \"\" WIRED_OR");
    EXPECT_EQ(examined({"A"}), "A IN bit") << "no default: no value";
}

TEST_F(PortInfo, ExpandedBusesGiveScalarPorts) {
    iwexpbus();
    EXPECT_EQ(examined({"D[3:0];PINTYPE=OUT"}), "D3 OUT bit; D2 OUT bit; D1 OUT bit; D0 OUT bit");
}

TEST_F(PortInfo, BoundsOfARangeText) {
    int l = -1, r = -1;
    for (auto [text, left, right] : {std::tuple{"(7 downto 0)", 7, 0},
                                     {"(3)", 3, 3},
                                     {"D(3 to 3)", 3, 3},
                                     {"D", 0, 0},
                                     {"(x)", 0, 0}}) {
        voGetLeftRightBound(text, &l, &r);
        EXPECT_EQ(l * 100 + r, left * 100 + right) << text;
    }
}

}  // namespace
