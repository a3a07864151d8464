#include "vovector.h"

#include <gtest/gtest.h>

#include "portfixture.h"

namespace {

using VectorPorts = PortTest;

TEST_F(VectorPorts, MembersTakeTheVectorsNameRangeAndType) {
    EXPECT_EQ(
        examined({"D0;PINTYPE=OUT", "D1", "D2", "D3", "E1"}, {"VHDL_VECTOR=D[3:0]:BIT_VECTOR"}),
        "D OUT BIT_VECTOR(3 downto 0); D IN BIT_VECTOR(3 downto 0); "
        "D IN BIT_VECTOR(3 downto 0); D IN BIT_VECTOR(3 downto 0); E1 IN bit");
    // The range is the vector's whole range, whatever pins there are.
    EXPECT_EQ(examined({"D0", "D1"}, {"VHDL_VECTOR=D[0:3]:T"}), "D IN T(0 to 3); D IN T(0 to 3)");
}

TEST_F(VectorPorts, APortOfTheBaseNameTakesTheRangeAndKeepsItsType) {
    EXPECT_EQ(examined({"D[3:0]", "Q"}, {"VHDL_VECTOR=D[7:0]:T"}),
              "D IN bit_vector(7 downto 0); Q IN bit");
    // Without a type of its own the colon is the range's: the types stay.
    EXPECT_EQ(examined({"A0", "A1"}, {"VHDL_VECTOR=A[1:0]"}),
              "A IN bit(1 downto 0); A IN bit(1 downto 0)");
}

TEST_F(VectorPorts, EveryVectorOfTheSymbolGathersItsPins) {
    EXPECT_EQ(examined({"A0", "A1", "B0", "B1", "B2"},
                       {"VHDL_VECTOR=A[1:0]:BIT_VECTOR", "VHDL_VECTOR=B[0:1]:BIT_VECTOR"}),
              "A IN BIT_VECTOR(1 downto 0); A IN BIT_VECTOR(1 downto 0); B IN BIT_VECTOR(0 to 1); "
              "B IN BIT_VECTOR(0 to 1); B2 IN bit");
    // A second vector of the same name finds ports of its base name: they
    // take its range and keep the first one's type.
    EXPECT_EQ(examined({"C0", "C1"}, {"VHDL_VECTOR=C[1:0]:X", "VHDL_VECTOR=C[3:0]:Y"}),
              "C IN X(3 downto 0); C IN X(3 downto 0)");
}

}  // namespace
