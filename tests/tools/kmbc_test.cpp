// The message compiler: the compiled layout byte for byte, what the source
// form accepts, and the faults it refuses without leaving a file behind.
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "runprog.h"
#include "tempdir.h"

namespace {

// Big-endian words, as the compiled file holds them.
std::string be16(int v) {
    return {static_cast<char>((v >> 8) & 0xFF), static_cast<char>(v & 0xFF)};
}
std::string be32(int32_t v) {
    auto u = static_cast<uint32_t>(v);
    return be16(static_cast<int>(u >> 16)) + be16(static_cast<int>(u & 0xFFFF));
}
std::string z(const std::string& text) {
    return text + std::string(1, '\0');
}

RunResult compile(const TempDir& dir, const std::string& source) {
    dir.write("src_msg.h", source);
    return runProgram(KMBC_PROGRAM, dir.path(), {"src_msg.h", "out.kmb"});
}

TEST(CompiledLayout, SmallSourceByteForByte) {
    TempDir dir;
    RunResult r = compile(dir, R"(/* a header, as the sources are */
#define T_APP -1 /* "d\145\
mo" */
#define T_VER 0 /* "1.2.3" */
#define T_LATER 7 /* "[W] %2$s at %1$d" */
#define T_EARLIER 3 /* "x%*d" */
#define NOT_A_MESSAGE 12
#define T_LABEL -2 /* "L1" */
)");
    ASSERT_EQ(r.status, 0) << r.err;

    // Records in source order from offset 60, behind the 15 header words;
    // the application's name is "demo" after its escape and continued line.
    std::string records = be16(5) + z("demo")                   // 60: application
                          + be16(6) + z("1.2.3")                // 67: version
                          + z("[W] %2$s at %1$d") + be16(2)     // 75: message 7
                          + be16(1) + be16(7)                   //     int, string
                          + z("x%*d") + be16(2) + be16(1)       // 98: message 3, the * width
                          + be16(0x4001)                        //     int with a * width
                          + be16(3) + z("L1");                  // 109: label
    std::string index = be32(2) + be32(3) + be32(98) + be32(5)  // 114: rising by number
                        + be32(7) + be32(75) + be32(17);
    std::string header =
        be32(0x10203) + be32(1) + be32(2) + be32(3) + be32(114) + be32(67) + be32(60) + be32(109);
    for (int i = 8; i < 15; ++i) header += be32(0);
    std::string expected = std::string("\x01\x85", 2) + header + records + index;
    EXPECT_EQ(dir.read("out.kmb"), expected);
}

struct Rejection {
    const char* what;
    const char* source;
    const char* report;  // expected on standard error
};

// Each source holds one good message around the fault, which must not
// save the file.
const Rejection kRejections[] = {
    {"bad designator", "#define A 1 /* \"ok\" */\n#define B 2 /* \"[X] what\" */\n",
     "src_msg.h:2: message 2: bad severity designator \"[X]\""},
    {"bad format", "#define A 1 /* \"ok\" */\n#define B 2 /* \"%#d\" */\n",
     "src_msg.h:2: message 2: bad format from \"%#d\""},
    {"missing argument position", "#define A 1 /* \"%3$s %1$s\" */\n",
     "src_msg.h:1: message 1: argument position 2 is left out"},
    {"duplicate number", "#define A 5 /* \"a\" */\n\n#define B 5 /* \"b\" */\n",
     "src_msg.h:3: message 5 is defined twice (first on line 1)"},
    {"version of two parts", "#define V 0 /* \"5.3\" */\n",
     "src_msg.h:1: the version record must read major.minor.patch"},
    {"unclosed text", "#define A 1 /* \"a */\n", "src_msg.h:1: the text has no closing quote"},
    {"writing through an argument", "#define A 1 /* \"%d%ln\" */\n",
     "src_msg.h:1: message 1: an n directive writes through its argument"},
};

TEST(CompilerRejects, EachFaultWithFileAndLineAndNoOutput) {
    for (const Rejection& c : kRejections) {
        SCOPED_TRACE(c.what);
        TempDir dir;
        dir.write("out.kmb", "an old file");
        RunResult r = compile(dir, c.source);
        EXPECT_EQ(r.status, 1);
        EXPECT_NE(r.err.find(c.report), std::string::npos) << r.err;
        EXPECT_FALSE(dir.exists("out.kmb"));
        EXPECT_FALSE(dir.exists("out.kmb.part"));
    }
}

TEST(CompiledLayout, ASourceWithoutMessagesGivesAnEmptyIndex) {
    TempDir dir;
    RunResult r = compile(dir, "#define V 0 /* \"1.0.0\" */\n");
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string file = dir.read("out.kmb");
    ASSERT_EQ(file.size(), 2u + 60 + 8 + 4);
    EXPECT_EQ(file.substr(file.size() - 4), be32(0));
    EXPECT_FALSE(dir.exists("out.kmb.part"));
}

TEST(Signatures, OneTablePerSourceNamedAfterIt) {
    TempDir dir;
    dir.write("first_msg.h", "#define A 2 /* \"%2$s %1$*3$d\" */\n#define B 1 /* \"none\" */\n");
    dir.write("second.h", "#define C 7 /* \"%c%f\" */\n");
    RunResult r =
        runProgram(KMBC_PROGRAM, dir.path(), {"-s", "sig.cpp", "first_msg.h", "second.h"});
    ASSERT_EQ(r.status, 0) << r.err;
    const std::string table = dir.read("sig.cpp");
    for (const char* line : {"    {1, \"\"},\n    {2, \"dsd\"},\n", "    {7, \"cf\"},\n",
                             "{\"first\", kFile0, 2},", "{\"second\", kFile1, 1},"})
        EXPECT_NE(table.find(line), std::string::npos) << line << "\n" << table;
    // A faulty source makes no table.
    dir.write("second.h", "#define C 7 /* \"%hn\" */\n");
    r = runProgram(KMBC_PROGRAM, dir.path(), {"-s", "bad.cpp", "first_msg.h", "second.h"});
    EXPECT_EQ(r.status, 1);
    EXPECT_FALSE(dir.exists("bad.cpp"));
}

}  // namespace
