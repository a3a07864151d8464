// Generator of symbol libraries for measures and for the comparison of a
// whole-library run with its stored output. Each symbol depends only on
// the seed and its own number, so that a library of n symbols is the first
// n symbols of any larger one, on every machine: the random numbers are our
// own, not the platform's.
//
//   symgen count directory [seed]
//
// writes directory/scrivet.ini, directory/entgen.ini and count symbol
// files in directory/cells/sym. A symbol has 10 to 60 pins, scalar and bus,
// some inverted, with pin types, loads and pin numbers, comments and now and
// then a reserved word or a character that names must translate; generics of
// time, integer and string, user attributes that become generics of the
// default type, entity attributes, and the drawing's graphic records, which
// the reader skips. A few symbols come in two versions, and a few carry one
// high version number only.
#include <cerrno>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

// splitmix64: small, good enough, and the same everywhere.
struct Random {
    uint64_t state;
    uint64_t next() {
        uint64_t z = (state += 0x9E3779B97F4A7C15ull);
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
        z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
        return z ^ (z >> 31);
    }
    int below(int n) { return static_cast<int>(next() % static_cast<uint64_t>(n)); }
    int between(int lo, int hi) { return lo + below(hi - lo + 1); }
    bool chance(int percent) { return below(100) < percent; }
    template <typename T, size_t N>
    const T& pick(const T (&a)[N]) {
        return a[below(static_cast<int>(N))];
    }
};

constexpr const char* kFamilies[] = {"and", "nand", "or", "nor", "xor", "buf", "inv", "dff",
                                     "latch", "cnt", "mux", "dec", "reg", "shreg", "ram", "rom",
                                     "fifo", "alu", "cmp", "uart", "pll", "iobuf", "sram", "dac"};
constexpr const char* kWords[] = {"clocked", "register", "with", "synchronous", "reset", "enable",
                                  "output", "input", "bus", "wide", "fast", "low", "power", "cell",
                                  "of", "the", "library", "data", "address", "select", "carry",
                                  "parallel", "serial", "load", "three-state", "driver", "edge"};
constexpr const char* kScalars[] = {"CLK", "RST", "EN", "OE", "WE", "CS", "LD", "CE", "SCLK",
                                    "SDI", "SDO", "CO", "CI", "VALID", "READY", "BUSY", "IRQ",
                                    "ACK", "REQ", "FULL", "EMPTY", "SEL", "DIR", "TEST", "SCAN",
                                    "SET", "CLR", "HOLD", "PRE", "STB", "RXD", "TXD", "LOCK",
                                    "IN", "OUT", "BUFFER", "TX$EN", "RX__D"};
constexpr const char* kBuses[] = {"D", "Q", "A", "B", "Y", "DIN", "DOUT", "ADDR", "S", "SUM",
                                  "CNT", "DATA", "WDATA", "RDATA", "BE", "ID", "TAG"};
constexpr const char* kInTypes[] = {"IN", "IN", "IN", "CLOCK", "ENA"};
constexpr const char* kOutTypes[] = {"OUT", "OUT", "TRI", "BI", "OCT"};
constexpr const char* kVendors[] = {"ACME", "NORTHWIND", "LARKMOOR", "GLOBEX", "INITECH"};
constexpr const char* kPackages[] = {"DIP14", "DIP16", "SO8", "SO16", "QFP44", "PLCC68", "BGA256"};
constexpr int kWidths[] = {2, 4, 8, 8, 8, 16, 16, 32};

std::string sentence(Random& r, int words) {
    std::string s;
    for (int i = 0; i < words; ++i) {
        if (i) s += ' ';
        s += r.pick(kWords);
    }
    return s;
}

// The label of one pin, unique within the symbol; `bus` tells the caller
// the label is a bus.
std::string pinLabel(Random& r, std::vector<std::string>& used, int number, bool& bus) {
    for (int tries = 0; tries < 4; ++tries) {
        std::string name;
        bus = r.chance(25);
        if (bus) {
            int width = r.pick(kWidths);
            name = std::string(r.pick(kBuses)) + "[" + std::to_string(width - 1) + ":0]";
            if (r.chance(10)) name = std::string(r.pick(kBuses)) + "[0:" + std::to_string(width - 1) + "]";
        } else {
            name = r.pick(kScalars);
        }
        bool clash = false;
        for (const std::string& u : used) clash = clash || u.substr(0, u.find('[')) == name.substr(0, name.find('['));
        if (!clash) {
            used.push_back(name);
            return name;
        }
    }
    bus = false;
    std::string name = "P" + std::to_string(number);
    used.push_back(name);
    return name;
}

std::string symbolText(Random& r, int pins) {
    std::string s = "V 5\nY 1\n";
    auto symattr = [&](const std::string& text) { s += "U 0 0 8 0 1 0 " + text + "\n"; };
    int comments = r.between(1, 3);
    for (int c = 1; c <= comments; ++c)
        symattr("VHDL_COM_" + std::to_string(c) + "=" + sentence(r, r.between(3, 9)));
    symattr("REFDES=U?");
    symattr(std::string("VENDOR=") + r.pick(kVendors));
    if (r.chance(60)) symattr(std::string("FOOTPRINT=") + r.pick(kPackages));
    if (r.chance(30)) symattr("PARTNO=" + std::to_string(r.between(1000, 99999)));
    symattr("VHDL_GEN_TPD=TIME:=" + std::to_string(r.between(10, 200)));
    if (r.chance(50))
        symattr("VHDL_GEN_TSU=TIME:=" + std::to_string(r.between(5, 40)) + ":" +
                std::to_string(r.between(40, 80)) + ":" + std::to_string(r.between(80, 120)));
    if (r.chance(40)) symattr("VHDL_GEN_WIDTH=INTEGER:=" + std::to_string(r.pick(kWidths)));
    if (r.chance(15)) symattr("VHDL_CON_DEPTH=INTEGER:=" + std::to_string(r.between(2, 64)));
    if (r.chance(20)) symattr("VHDL_ATT_COST=INTEGER:" + std::to_string(r.between(1, 50)));
    // The drawing: a box and a text, which the reader skips.
    s += "b 0 0 " + std::to_string(40 + 10 * r.below(4)) + " " + std::to_string(10 * (pins + 1)) + "\n";
    s += "t 0 0 8 0 1 0 " + sentence(r, 2) + "\n";

    std::vector<std::string> used;
    for (int p = 0; p < pins; ++p) {
        bool bus = false;
        std::string label = pinLabel(r, used, p, bus);
        bool output = r.chance(35);
        int side = output ? 1 : 0;
        s += "P 1 " + std::to_string(side * 80) + " " + std::to_string(10 * p) + " 0 0 1\n";
        s += "l 1 0 " + std::to_string(10 * p) + " 10 " + std::to_string(10 * p) + "\n";
        int inverted = !bus && r.chance(12) ? 1 : 0;
        s += "L 1 0 " + std::to_string(p) + " 8 0 1 0 " + std::to_string(inverted) + " " + label + "\n";
        s += std::string("A 1 0 8 0 1 0 PINTYPE=") + (output ? r.pick(kOutTypes) : r.pick(kInTypes)) + "\n";
        s += "A 1 0 8 0 1 0 PINNUM=" + std::to_string(p + 1) + "\n";
        if (!output && r.chance(40)) s += "A 1 0 8 0 1 0 LOAD=" + std::to_string(r.between(1, 4)) + "\n";
        if (output && r.chance(30)) s += std::string("A 1 0 8 0 1 0 SLEW=") + (r.chance(50) ? "FAST" : "SLOW") + "\n";
        if (!output && !bus && r.chance(8)) s += "A 1 0 8 0 1 0 FLOATVAL=" + std::to_string(r.below(2)) + "\n";
        if (r.chance(10)) s += "A 1 0 8 0 1 0 VHDL_COM_1=" + sentence(r, r.between(2, 6)) + "\n";
    }
    s += "E\n";
    return s;
}

void writeFile(const std::string& path, const std::string& text) {
    FILE* f = std::fopen(path.c_str(), "w");
    if (!f || std::fwrite(text.data(), 1, text.size(), f) != text.size() || std::fclose(f) != 0) {
        std::fprintf(stderr, "symgen: cannot write %s\n", path.c_str());
        std::exit(1);
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: symgen count directory [seed]\n");
        return 2;
    }
    const long count = std::strtol(argv[1], nullptr, 10);
    const std::string dir = argv[2];
    const uint64_t seed = argc > 3 ? std::strtoull(argv[3], nullptr, 10) : 20240501;
    for (const std::string& d : {dir, dir + "/cells", dir + "/cells/sym"})
        if (mkdir(d.c_str(), 0777) != 0 && errno != EEXIST) {
            std::fprintf(stderr, "symgen: cannot make %s\n", d.c_str());
            return 1;
        }
    writeFile(dir + "/scrivet.ini", "DIR [p] ./cells (cells)\n");
    writeFile(dir + "/entgen.ini",
              "ENTGEN 5.3.1\n"
              "HEADER -- Generated library\n"
              "PIN_TYPE CLOCK IN\n"
              "TRANSLATE char ~ N_\n"
              "DELAY max\n"
              "TICKSIZE 0.1 ns\n"
              "ATTRIBUTE LOAD attribute LOAD : natural;\n"
              "ATTRIBUTE PINNUM attribute PINNUM : natural;\n");
    for (long i = 0; i < count; ++i) {
        Random r{seed ^ (static_cast<uint64_t>(i) * 0xD1B54A32D192ED03ull)};
        std::string name = std::string(r.pick(kFamilies)) + std::to_string(r.pick(kWidths)) + "_" +
                           std::to_string(i);
        if (r.chance(3)) name = "74x" + std::to_string(i);
        const int pins = r.between(10, 60);
        const std::string text = symbolText(r, pins);
        // Mostly version 1; now and then a second version beside it, which
        // the run skips, or a single high version.
        if (r.chance(2)) {
            writeFile(dir + "/cells/sym/" + name + "." + std::to_string(r.between(65, 120)), text);
        } else {
            writeFile(dir + "/cells/sym/" + name + ".1", text);
            if (r.chance(4)) writeFile(dir + "/cells/sym/" + name + ".2", symbolText(r, pins));
        }
    }
    return 0;
}
