// Attribute declarations and specifications of the pins' own attributes.
#include "voattcl.h"

#include "modelrun.h"

namespace {

// NET_ALIAS and what ATTRIBUTE NULL drops are not written. A bus pin is
// the object as drawn, range and all.
TEST_F(ModelRun, PinAttributesAreDeclaredOnceAndSpecifiedPerPin) {
    EXPECT_EQ(entity({"P A", "A SPEED=FAST", "A NET_ALIAS=N1", "A DROP=1", "P B", "A SPEED=SLOW",
                      "P D[3:0]", "A CAP=5"},
                     "ATTRIBUTE DROP NULL\nATTRIBUTE CAP attribute C_LOAD : natural;\n"),
              R"(entity PART is
    port (A : IN bit;
          B : IN bit;
          D : IN bit_vector(3 downto 0));
    attribute C_LOAD : natural;
    attribute SPEED : string;
    
    attribute SPEED of A : signal is "FAST";
    attribute SPEED of B : signal is "SLOW";
    attribute C_LOAD of D(3 downto 0) : signal is 5;
    
end PART;
)");
}

}  // namespace
