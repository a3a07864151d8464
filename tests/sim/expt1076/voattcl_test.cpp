// Attribute declarations and specifications of the pins' own attributes.
#include "voattcl.h"

#include <string>
#include <vector>

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

// Many attribute names on one symbol, each met again on a later pin: every
// pin's specifications come out in order, whatever the number of names.
TEST_F(ModelRun, ManyAttributeNamesOnOneSymbol) {
    std::vector<std::string> records;
    std::string specs;
    for (int pin = 0; pin < 2; ++pin) {
        records.push_back("P Q" + std::to_string(pin));
        for (int k = 0; k < 20; ++k) {
            const std::string name = "K" + std::to_string(10 + k);
            records.push_back("A " + name + "=" + std::to_string(pin * 100 + k));
            specs += "    attribute " + name + " of Q" + std::to_string(pin) + " : signal is \"" +
                     std::to_string(pin * 100 + k) + "\";\n";
        }
    }
    records.push_back("A NET_ALIAS=N1");
    const std::string text = entity(records);
    EXPECT_NE(text.find(specs), std::string::npos) << text;
    EXPECT_EQ(text.find("NET_ALIAS"), std::string::npos);
}

}  // namespace
