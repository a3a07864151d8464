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

RunResult compile(const TempDir& dir, const std::string& source,
                  const std::vector<std::string>& options = {}) {
    dir.write("src_msg.h", source);
    std::vector<std::string> args = options;
    args.insert(args.end(), {"src_msg.h", "out.kmb"});
    return runProgram(KMBC_PROGRAM, dir.path(), args);
}

TEST(CompiledLayout, SmallSourceByteForByte) {
    TempDir dir;
    RunResult r = compile(dir, R"(/* a header, as the sources are */
#define T_APP -1 /* "demo" */
#define T_VER 0 /* "1.2.3" */
#define T_LATER 7 /* "[W] %2$s at %1$d" */
#define T_EARLIER 3 /* "x%*d" */
#define NOT_A_MESSAGE 12
#define T_LABEL -2 /* "L1" */
)");
    ASSERT_EQ(r.status, 0) << r.err;

    // Records in source order from offset 60, behind the 15 header words.
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

TEST(CompiledLayout, NoVersionRecordLeavesItsWordsAtMinusOne) {
    TempDir dir;
    ASSERT_EQ(compile(dir, "#define A 1 /* \"a\" */\n").status, 0);
    std::string file = dir.read("out.kmb");
    EXPECT_EQ(file.substr(2 + 4, 12), be32(-1) + be32(-1) + be32(-1));
    EXPECT_EQ(file.substr(2 + 20, 12), be32(0) + be32(0) + be32(0));
}

TEST(SourceForm, ContinuedLinesEscapesAndOtherLines) {
    TempDir dir;
    RunResult r = compile(dir,
                          "#  define\tA 1 /*\t\"one \\\n"
                          "two\\t\\\"q\\\"\\101\" */\r\n"
                          "# define B 2 /* not a text */\n"
                          "#define C -1 /* \"app\" */ \n"
                          "int x; /* \"#define D 4 /* \\\"x\\\" */\" */\n");
    ASSERT_EQ(r.status, 0) << r.err;
    std::string file = dir.read("out.kmb");
    EXPECT_NE(file.find(z("one two\t\"q\"A")), std::string::npos);
    EXPECT_NE(file.find(be16(4) + z("app")), std::string::npos);
    EXPECT_EQ(file.substr(file.size() - 16), be32(1) + be32(1) + be32(60) + be32(13))
        << "one message in the index";
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
    {"lower-case designator", "#define B 2 /* \"[w] what\" */\n",
     "src_msg.h:1: message 2: bad severity designator \"[w]\""},
    {"bad format", "#define A 1 /* \"ok\" */\n#define B 2 /* \"%#d\" */\n",
     "src_msg.h:2: message 2: bad format from \"%#d\""},
    {"dangling percent", "#define B 2 /* \"50%\" */\n",
     "src_msg.h:1: message 2: bad format from \"%\""},
    {"missing argument position", "#define A 1 /* \"%3$s %1$s\" */\n",
     "src_msg.h:1: message 1: argument position 2 is left out"},
    {"argument of two types", "#define A 1 /* \"%1$s %1$d\" */\n",
     "src_msg.h:1: message 1: argument 1 is used as two types"},
    {"duplicate number", "#define A 5 /* \"a\" */\n\n#define B 5 /* \"b\" */\n",
     "src_msg.h:3: message 5 is defined twice (first on line 1)"},
    {"duplicate of a faulty message", "#define A 5 /* \"%\" */\n#define B 5 /* \"b\" */\n",
     "src_msg.h:2: message 5 is defined twice (first on line 1)"},
    {"version of two parts", "#define V 0 /* \"5.3\" */\n",
     "src_msg.h:1: the version record must read major.minor.patch"},
    {"version with words", "#define V 0 /* \"5.3.1 beta\" */\n",
     "src_msg.h:1: the version record must read major.minor.patch"},
    {"second version record", "#define V 0 /* \"5.3.1\" */\n#define W 0 /* \"5.3.2\" */\n",
     "src_msg.h:2: a second version record (the first is on line 1)"},
    {"number out of range", "#define A -3 /* \"a\" */\n", "src_msg.h:1: number -3 is out of range"},
    {"number too large", "#define A 2147483648 /* \"a\" */\n",
     "src_msg.h:1: number 2147483648 is too large"},
    {"unclosed text", "#define A 1 /* \"a */\n", "src_msg.h:1: the text has no closing quote"},
    {"comment end in the text", "#define A 1 /* \"a */ b\" */\n",
     "src_msg.h:1: the text holds \"*/\""},
    {"text behind the comment", "#define A 1 /* \"a\" */ 2\n",
     "src_msg.h:1: nothing may follow the comment"},
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

TEST(CompilerRejects, EveryFaultOfASourceIsReported) {
    TempDir dir;
    RunResult r = compile(dir,
                          "#define A 1 /* \"[Q]\" */\n#define B 1 /* \"b\" */\n"
                          "#define C 3 /* \"%s %\" */\n");
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("src_msg.h:1:"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("src_msg.h:2:"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("src_msg.h:3:"), std::string::npos) << r.err;
}

TEST(CompilerRejects, DesignatorsTheFileMayNotUse) {
    TempDir dir;
    const char* source = "#define A 1 /* \"[F] the end\" */\n";
    EXPECT_EQ(compile(dir, source).status, 0);
    RunResult r = compile(dir, source, {"-d", "SIWE"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("src_msg.h:1: message 1: severity designator \"[F]\" is not allowed"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(dir.exists("out.kmb"));
}

TEST(CompilerRejects, UsageAndUnreadableSource) {
    TempDir dir;
    EXPECT_EQ(runProgram(KMBC_PROGRAM, dir.path(), {"only-one"}).status, 2);
    EXPECT_EQ(runProgram(KMBC_PROGRAM, dir.path(), {"-d", "SQ", "a", "b"}).status, 2);
    RunResult r = runProgram(KMBC_PROGRAM, dir.path(), {"missing_msg.h", "out.kmb"});
    EXPECT_EQ(r.status, 1);
    EXPECT_NE(r.err.find("can't read missing_msg.h"), std::string::npos) << r.err;
}

}  // namespace
