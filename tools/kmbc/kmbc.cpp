// The message compiler, a tool of the build. It reads a message source and
// writes the compiled message file that the message layer reads (ktmsg.h).
// A source is a C header: each record is a definition of a name to a number
// with its text as a string literal inside a comment,
//
//     #define VOM_WROTE 511 /* "[S] Wrote %s of %s %s to %s." */
//
// so that code names the numbers by including the source, and no number is
// written twice. A backslash at a line end continues the line; lines of any
// other form are passed over. Number 0 is the version record ("5.3.1"), -1
// the application string and -2 the label string; numbers above 0 are
// messages. Every message text is checked: its format by the library's own
// parser, with no argument position left out and none used as two types,
// and a leading "[x]" as a severity designator of a known letter. Numbers
// must be unique. Every fault is reported as "file:line: text"; a source
// with any fault gives exit status 1 and no output file.
//
// The same reading of the sources gives the programs their signatures: for
// each message the letters of the arguments it takes (ktmsg.h), written as
// a C++ table that the foundation library is built with, so that a text
// fetched at run time is formatted only if it takes what the code passes.
//
// Usage: kmbc [-d LETTERS] source output
//        kmbc -s output.cpp source...
//   -d LETTERS   the severity designators the file may use (default DSIWEFZ)
//   -s           write the signatures of every source named; a source
//                "<name>_msg.h" is the message file <name>
#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "ktdufs.h"
#include "kterr.h"
#include "ktex.h"
#include "ktmsg.h"
#include "ktregexp.h"
#include "ktstr.h"

namespace {

constexpr const char kAllDesignators[] = "DSIWEFZ";
constexpr int kVersion = 0, kApplication = -1, kLabel = -2;
constexpr size_t kMaxStringRecord = 32766;  // a 16-bit length that counts the zero

// The definition line, with the name (1) and the number (2); the match ends
// at the literal's opening quote.
constexpr const char kDefine[] =
    "^#[ \t]*define[ \t]+([_a-zA-Z][_a-zA-Z0-9]*)[ \t]+(-[12]|[0-9]+)[ \t]+/\\*[ \t]*\"";
// The same with any number: a literal behind a number out of range is a fault,
// not a line to pass over.
constexpr const char kAnyNumber[] =
    "^#[ \t]*define[ \t]+[_a-zA-Z][_a-zA-Z0-9]*[ \t]+(-?[0-9]+)[ \t]+/\\*[ \t]*\"";
constexpr const char kVersionText[] = "^([0-9]+)\\.([0-9]+)\\.([0-9]+)$";

struct Record {
    int line;    // where its definition begins
    int number;  // see above
    std::string text;
    std::vector<uint16_t> args;  // a message's argument table
    std::string signature;       // its letters
    int32_t offset = 0;          // in the output
};

struct Compiler {
    const char* source = nullptr;
    std::string designators = kAllDesignators;
    std::vector<Record> records;
    std::map<int, int> lines;  // number -> line of its first definition
    int32_t version[3] = {-1, -1, -1};
    int faults = 0;
    ktRegexp* define = nullptr;
    ktRegexp* anyNumber = nullptr;
    ktRegexp* versionText = nullptr;

    void fault(int line, const std::string& text) {
        std::fprintf(stderr, "%s:%d: %s\n", source, line, text.c_str());
        ++faults;
    }
};

// ---- the argument table of a format

// Fills the record's argument table and signature, or gives the problem.
std::string checkFormat(Record& r) {
    ktMsgArgs args;
    if (!ktMsgArgsOf(r.text.c_str(), &args)) return args.problem;
    r.args.assign(args.types, args.types + args.count);
    r.signature = args.signature;
    return {};
}

std::string checkDesignator(const Compiler& c, const std::string& text) {
    if (text.size() < 3 || text[0] != '[' || text[2] != ']') return {};
    char letter = text[1];
    if (!letter || !std::strchr(kAllDesignators, letter))
        return std::string("bad severity designator \"") + text.substr(0, 3) +
               "\": the letters are D, S, I, W, E, F and Z";
    if (c.designators.find(letter) == std::string::npos)
        return std::string("severity designator \"") + text.substr(0, 3) +
               "\" is not allowed in this file (allowed: " + c.designators + ")";
    return {};
}

// ---- reading the source

// The literal from its opening quote at `open`: decoded into `text`, with
// the rest of the line checked. Empty result, or the fault.
std::string readLiteral(const char* open, std::string& text) {
    std::vector<char> out(std::strlen(open) + 1);
    const char* after = ktStrCvtFromLiteral(open, out.data(), static_cast<int>(out.size()), 0, 0);
    if (!after) return "the text has no closing quote";
    // The source is also a C header: the comment must not end, or a new one
    // begin, inside the text.
    std::string raw(open, after);
    if (raw.find("*/") != std::string::npos) return "the text holds \"*/\", which ends the comment";
    if (raw.find("/*") != std::string::npos) return "the text holds \"/*\" inside a comment";
    const char* p = after;
    while (*p == ' ' || *p == '\t' || *p == '\r') ++p;
    if (std::strncmp(p, "*/", 2) != 0) return "\"*/\" must follow the text";
    for (p += 2; *p == ' ' || *p == '\t' || *p == '\r'; ++p) {
    }
    if (*p) return "nothing may follow the comment";
    text = out.data();
    return {};
}

void addStringRecord(Compiler& c, Record& r) {
    static const char* const kinds[] = {"label", "application", "version"};
    const char* kind = kinds[r.number + 2];
    if (c.lines.count(r.number)) {
        c.fault(r.line, std::string("a second ") + kind + " record (the first is on line " +
                            std::to_string(c.lines[r.number]) + ")");
        return;
    }
    c.lines[r.number] = r.line;
    if (r.text.size() > kMaxStringRecord) {
        c.fault(r.line, std::string("the ") + kind + " text is longer than 32766 characters");
        return;
    }
    if (r.number == kVersion) {
        ktRegexpMatch m;
        if (!ktRegexpExec(c.versionText, &m, r.text.c_str())) {
            c.fault(r.line,
                    "the version record must read major.minor.patch, such as 5.3.1, not \"" +
                        r.text + "\"");
            return;
        }
        for (int i = 0; i < 3; ++i) {
            long long n = 0;
            for (const char* p = m.startp[i + 1]; p < m.endp[i + 1] && n <= INT32_MAX; ++p)
                n = n * 10 + (*p - '0');
            if (n > INT32_MAX) {
                c.fault(r.line, "a part of the version is too large");
                return;
            }
            c.version[i] = static_cast<int32_t>(n);
        }
    }
    c.records.push_back(std::move(r));
}

void addMessage(Compiler& c, Record& r) {
    if (c.lines.count(r.number)) {
        c.fault(r.line, "message " + std::to_string(r.number) +
                            " is defined twice (first on line " +
                            std::to_string(c.lines[r.number]) + ")");
        return;
    }
    // Taken even if faulty, so that a later definition of it is still a second one.
    c.lines[r.number] = r.line;
    std::string problem = checkDesignator(c, r.text);
    if (problem.empty()) problem = checkFormat(r);
    if (!problem.empty()) {
        c.fault(r.line, "message " + std::to_string(r.number) + ": " + problem);
        return;
    }
    c.records.push_back(std::move(r));
}

void scanLine(Compiler& c, const std::string& line, int lineNumber) {
    ktRegexpMatch m;
    if (!ktRegexpExec(c.define, &m, line.c_str())) {
        if (ktRegexpExec(c.anyNumber, &m, line.c_str()))
            c.fault(lineNumber, "number " + std::string(m.startp[1], m.endp[1]) +
                                    " is out of range: messages are numbered from 1, and -1, -2 "
                                    "and 0 are the application, label and version");
        return;
    }
    Record r;
    r.line = lineNumber;
    std::string digits(m.startp[2], m.endp[2]);
    long long n = 0;
    for (char d : digits.substr(digits[0] == '-' ? 1 : 0)) {
        n = n * 10 + (d - '0');
        if (n > INT32_MAX) {
            c.fault(lineNumber, "number " + digits + " is too large");
            return;
        }
    }
    r.number = static_cast<int>(digits[0] == '-' ? -n : n);
    std::string problem = readLiteral(m.endp[0] - 1, r.text);
    if (!problem.empty()) {
        c.fault(lineNumber, problem);
        return;
    }
    if (r.number <= 0)
        addStringRecord(c, r);
    else
        addMessage(c, r);
}

// Splits the source into logical lines, joining a line that ends in a
// backslash with the next, and scans each.
void scanSource(Compiler& c, const std::string& source) {
    std::istringstream in(source);
    std::string physical, logical;
    int number = 0, first = 0;
    while (std::getline(in, physical)) {
        ++number;
        if (logical.empty()) first = number;
        size_t end = physical.size();
        if (end && physical[end - 1] == '\r') --end;
        if (end && physical[end - 1] == '\\') {
            logical.append(physical, 0, end - 1);
            continue;
        }
        logical += physical;
        scanLine(c, logical, first);
        logical.clear();
    }
    if (!logical.empty()) scanLine(c, logical, first);
}

// ---- writing the compiled file

// Lays the records out behind the header; false if the file would be too large.
bool layOut(Compiler& c, int32_t* indexOffset) {
    long long off = KT_MSG_HEADERWORDS * 4;
    for (Record& r : c.records) {
        r.offset = static_cast<int32_t>(off);
        off += static_cast<long long>(r.text.size()) + 1;
        off += r.number <= 0 ? 2 : 2 * (1 + static_cast<long long>(r.args.size()));
        if (off > INT32_MAX) return false;
    }
    *indexOffset = static_cast<int32_t>(off);
    return true;
}

bool writeRecords(ktDufsB* f, const Compiler& c) {
    for (const Record& r : c.records) {
        size_t bytes = r.text.size() + 1;
        if (r.number <= 0) {
            int16_t length = static_cast<int16_t>(bytes);
            if (ktDufsBWrite(f, &length, 1, KT_DUFS_SHORT) != 1) return false;
        }
        if (ktDufsBWrite(f, r.text.c_str(), bytes, KT_DUFS_BYTES) != bytes) return false;
        if (r.number <= 0) continue;
        std::vector<int16_t> table;
        table.push_back(static_cast<int16_t>(r.args.size()));
        for (uint16_t a : r.args) table.push_back(static_cast<int16_t>(a));
        if (ktDufsBWrite(f, table.data(), table.size(), KT_DUFS_SHORT) != table.size())
            return false;
    }
    return true;
}

std::vector<const Record*> messagesByNumber(const Compiler& c) {
    std::vector<const Record*> messages;
    for (const Record& r : c.records)
        if (r.number > 0) messages.push_back(&r);
    std::sort(messages.begin(), messages.end(),
              [](const Record* a, const Record* b) { return a->number < b->number; });
    return messages;
}

bool writeIndex(ktDufsB* f, const Compiler& c) {
    std::vector<int32_t> words;
    for (const Record* r : messagesByNumber(c))
        words.insert(words.end(), {r->number, r->offset, static_cast<int32_t>(r->text.size() + 1)});
    int32_t count = static_cast<int32_t>(words.size() / 3);
    if (ktDufsBWrite(f, &count, 1, KT_DUFS_INT) != 1) return false;
    // A source without messages has an index of its count alone.
    return words.empty() ||
           ktDufsBWrite(f, words.data(), words.size(), KT_DUFS_INT) == words.size();
}

int32_t offsetOf(const Compiler& c, int number) {
    for (const Record& r : c.records)
        if (r.number == number) return r.offset;
    return 0;
}

// The handle of the file being written, closed on every way out: a throw
// of the binary writer included.
struct Output {
    ktDufsB* f = nullptr;
    ~Output() {
        if (f) ktDufsBFclose(f);
    }
    int close() {
        ktDufsB* h = f;
        f = nullptr;
        return ktDufsBFclose(h);
    }
};

// Writes the whole message file to `path`; false, with a message, on any failure.
bool writeMessageFile(const Compiler& c, const char* path, int32_t indexOffset) {
    int32_t header[KT_MSG_HEADERWORDS] = {};
    header[KT_MSG_HMAGIC] = KT_MSG_MAGIC;
    header[KT_MSG_HMAJOR] = c.version[0];
    header[KT_MSG_HMINOR] = c.version[1];
    header[KT_MSG_HPATCH] = c.version[2];
    header[KT_MSG_HINDEX] = indexOffset;
    header[KT_MSG_HVERSION] = offsetOf(c, kVersion);
    header[KT_MSG_HAPP] = offsetOf(c, kApplication);
    header[KT_MSG_HLABEL] = offsetOf(c, kLabel);

    Output out;
    out.f = ktDufsBFopen(path, "w");
    if (!out.f) {
        std::fprintf(stderr, "kmbc: can't create %s: %s\n", path, std::strerror(errno));
        return false;
    }
    bool ok = ktDufsBWrite(out.f, header, KT_MSG_HEADERWORDS, KT_DUFS_INT) == KT_MSG_HEADERWORDS &&
              writeRecords(out.f, c) && writeIndex(out.f, c);
    ok = out.close() == 0 && ok;
    if (!ok) std::fprintf(stderr, "kmbc: can't write %s\n", path);
    return ok;
}

// "ktlib" of ".../ktlib_msg.h"; a source of another form names the file
// after its name without extension.
std::string fileNameOf(const char* source) {
    std::string name = source;
    size_t slash = name.rfind('/');
    if (slash != std::string::npos) name.erase(0, slash + 1);
    const std::string suffix = "_msg.h";
    if (name.size() > suffix.size() && name.ends_with(suffix))
        return name.substr(0, name.size() - suffix.size());
    return name.substr(0, name.find('.'));
}

// The signatures of every source as the C++ table of ktMsgSignatureSetsV.
bool writeSignatures(const std::vector<Compiler>& sources, const char* path) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << "// The arguments of every message, made by the message compiler from the\n"
           "// message sources; a change belongs in the sources.\n"
           "#include \"ktmsg.h\"\n\nnamespace {\n";
    for (size_t i = 0; i < sources.size(); ++i) {
        out << "constexpr ktMsgSignature kFile" << i << "[] = {\n";
        for (const Record* r : messagesByNumber(sources[i]))
            out << "    {" << r->number << ", \"" << r->signature << "\"},\n";
        // A file without messages still needs a table of one element.
        if (messagesByNumber(sources[i]).empty()) out << "    {0, \"\"},\n";
        out << "};\n";
    }
    out << "}  // namespace\n\nextern const ktMsgSignatureSet ktMsgSignatureSetsV[] = {\n";
    for (size_t i = 0; i < sources.size(); ++i)
        out << "    {\"" << fileNameOf(sources[i].source) << "\", kFile" << i << ", "
            << messagesByNumber(sources[i]).size() << "},\n";
    out << "    {nullptr, nullptr, 0},\n};\n";
    out.close();
    if (!out) std::fprintf(stderr, "kmbc: can't write %s\n", path);
    return static_cast<bool>(out);
}

bool readWhole(const char* path, std::string& text) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::ostringstream s;
    s << in.rdbuf();
    text = s.str();
    return !in.bad();
}

int usage() {
    std::fprintf(stderr,
                 "usage: kmbc [-d LETTERS] source output\n       kmbc -s output.cpp source...\n");
    return 2;
}

// Reads and checks one source; false when it has faults.
bool scan(Compiler& c) {
    std::string source;
    if (!readWhole(c.source, source)) {
        std::fprintf(stderr, "kmbc: can't read %s: %s\n", c.source, std::strerror(errno));
        return false;
    }
    scanSource(c, source);
    size_t messages = c.lines.size() - c.lines.count(kVersion) - c.lines.count(kApplication) -
                      c.lines.count(kLabel);
    if (messages > static_cast<size_t>(KT_MSG_MAXCOUNT)) {
        std::fprintf(stderr, "%s: %zu messages; a file holds at most 200000\n", c.source, messages);
        ++c.faults;
    }
    return c.faults == 0;
}

// Writes `output` under another name and renames it, so that no reader
// ever sees half a file under the real one; the partial file goes on every
// way out, a throw included.
template <typename Write>
bool writeAtomically(const char* output, Write write) {
    struct Partial {
        std::string path;
        bool kept = false;
        ~Partial() {
            if (!kept) std::remove(path.c_str());
        }
    } partial{std::string(output) + ".part"};
    if (!write(partial.path.c_str())) return false;
    if (std::rename(partial.path.c_str(), output) != 0) {
        std::fprintf(stderr, "kmbc: can't rename %s to %s: %s\n", partial.path.c_str(), output,
                     std::strerror(errno));
        return false;
    }
    partial.kept = true;
    return true;
}

struct Patterns {
    ktRegexp* define = ktRegexpCompile(kDefine);
    ktRegexp* anyNumber = ktRegexpCompile(kAnyNumber);
    ktRegexp* versionText = ktRegexpCompile(kVersionText);
    ~Patterns() {
        ktRegexpDestroy(define);
        ktRegexpDestroy(anyNumber);
        ktRegexpDestroy(versionText);
    }
    void lend(Compiler& c) const {
        c.define = define;
        c.anyNumber = anyNumber;
        c.versionText = versionText;
    }
};

int compileFile(Compiler& c, const char* output) {
    Patterns patterns;
    patterns.lend(c);
    if (!scan(c)) return 1;
    int32_t indexOffset = 0;
    if (!layOut(c, &indexOffset)) {
        std::fprintf(stderr, "%s: the compiled file would pass 2 GB\n", c.source);
        return 1;
    }
    return writeAtomically(output,
                           [&](const char* path) { return writeMessageFile(c, path, indexOffset); })
               ? 0
               : 1;
}

int compileSignatures(const char* output, char** sources, int count) {
    Patterns patterns;
    std::vector<Compiler> all(static_cast<size_t>(count));
    bool ok = true;
    for (int i = 0; i < count; ++i) {
        all[i].source = sources[i];
        patterns.lend(all[i]);
        ok = scan(all[i]) && ok;
    }
    if (!ok) return 1;
    return writeAtomically(output, [&](const char* path) { return writeSignatures(all, path); })
               ? 0
               : 1;
}

// Any throw of the library is a failure of the run, told on standard error.
template <typename Body>
int reported(Body body) {
    return ktExCatch(KT_EX_ALL, body, [](uint32_t, ktErrObject* err) {
        std::fprintf(stderr, "kmbc: %s\n", err && err->text ? err->text : "failure");
        ktExSwallow();
        return 1;
    });
}

}  // namespace

// The compiler makes the signatures, so it has none of its own: the
// messages it reads are checked by its own rules alone.
extern const ktMsgSignatureSet ktMsgSignatureSetsV[] = {{nullptr, nullptr, 0}};

int main(int argc, char** argv) {
    if (argc >= 3 && std::strcmp(argv[1], "-s") == 0)
        return reported([&] { return compileSignatures(argv[2], argv + 3, argc - 3); });

    Compiler c{};
    int i = 1;
    if (i < argc && std::strcmp(argv[i], "-d") == 0) {
        if (i + 1 >= argc) return usage();
        c.designators = argv[i + 1];
        for (char l : c.designators)
            if (!std::strchr(kAllDesignators, l)) return usage();
        i += 2;
    }
    if (argc - i != 2) return usage();
    c.source = argv[i];
    const char* output = argv[i + 1];
    int status = reported([&] { return compileFile(c, output); });
    // A source with faults leaves no file that a build could take for done.
    if (status != 0) std::remove(output);
    return status;
}
