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
// Usage: kmbc [-d LETTERS] source output
//   -d LETTERS   the severity designators the file may use (default DSIWEFZ)
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
#include "ktfmt.h"
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
    int32_t offset = 0;          // in the output
};

struct Compiler {
    const char* source;
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

struct FormatCheck {
    std::vector<int> types;  // by position - 1; 0 while unused
    int next = 1;            // the position a plain directive takes next
    std::string problem;
};

void useArgument(FormatCheck& fc, int position, int type) {
    if (position < 1 || position > KT_MSG_MAXARGS) {
        fc.problem = "more than 128 arguments";
        return;
    }
    if (static_cast<size_t>(position) > fc.types.size()) fc.types.resize(position, 0);
    int& slot = fc.types[position - 1];
    if (slot && slot != type)
        fc.problem = "argument " + std::to_string(position) + " is used as two types";
    slot = type;
}

int firstUnused(const FormatCheck& fc) {
    for (size_t i = 0; i < fc.types.size(); ++i)
        if (!fc.types[i]) return static_cast<int>(i) + 1;
    return 0;
}

int onFormatPiece(const ktSpFmtDesc* d, void* data) {
    auto& fc = *static_cast<FormatCheck*>(data);
    int kind = ktSpFmtDescIs(d);
    if (kind == KT_SPFMT_TEXT) return 1;
    if (kind == KT_SPFMT_INVALID) {
        const char* rest = ktSpFmtDescStr(d);
        // The parser finds a gap in the positions only at the format's end.
        if (rest && *rest == '\0' && firstUnused(fc))
            fc.problem = "argument position " + std::to_string(firstUnused(fc)) + " is left out";
        else
            fc.problem = std::string("bad format from \"") + (rest ? rest : "") + "\"";
        return 0;
    }
    int type = ktSpFmtArgIs(d);
    int position = ktSpFmtArgPosition(d);
    // A `*` takes an argument of its own: ahead of the value in a plain
    // format, at its own position in a numbered one.
    if (position < 0) {
        if (type & KT_SPFMT_STARWIDTH) useArgument(fc, fc.next++, KT_SPFMT_INT);
        if (type & KT_SPFMT_STARPREC) useArgument(fc, fc.next++, KT_SPFMT_INT);
        useArgument(fc, fc.next++, type);
    } else {
        if (type & KT_SPFMT_STARWIDTH) useArgument(fc, ktSpFmtArgWidth(d), KT_SPFMT_INT);
        if (type & KT_SPFMT_STARPREC) useArgument(fc, ktSpFmtArgPrecision(d), KT_SPFMT_INT);
        useArgument(fc, position, type);
    }
    return fc.problem.empty() ? 1 : 0;
}

// Fills the record's argument table, or gives the problem.
std::string checkFormat(Record& r) {
    FormatCheck fc;
    ktSpFmtParse(r.text.c_str(), onFormatPiece, &fc);
    if (fc.problem.empty() && firstUnused(fc))
        fc.problem = "argument position " + std::to_string(firstUnused(fc)) + " is left out";
    if (!fc.problem.empty()) return fc.problem;
    r.args.assign(fc.types.begin(), fc.types.end());
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

bool writeIndex(ktDufsB* f, const Compiler& c) {
    std::vector<const Record*> messages;
    for (const Record& r : c.records)
        if (r.number > 0) messages.push_back(&r);
    std::sort(messages.begin(), messages.end(),
              [](const Record* a, const Record* b) { return a->number < b->number; });
    std::vector<int32_t> words;
    for (const Record* r : messages)
        words.insert(words.end(), {r->number, r->offset, static_cast<int32_t>(r->text.size() + 1)});
    int32_t count = static_cast<int32_t>(messages.size());
    if (ktDufsBWrite(f, &count, 1, KT_DUFS_INT) != 1) return false;
    return ktDufsBWrite(f, words.data(), words.size(), KT_DUFS_INT) == words.size();
}

int32_t offsetOf(const Compiler& c, int number) {
    for (const Record& r : c.records)
        if (r.number == number) return r.offset;
    return 0;
}

// Writes the whole file to `path`; false, with a message, on any failure.
bool writeFile(const Compiler& c, const char* path, int32_t indexOffset) {
    int32_t header[KT_MSG_HEADERWORDS] = {};
    header[KT_MSG_HMAGIC] = KT_MSG_MAGIC;
    header[KT_MSG_HMAJOR] = c.version[0];
    header[KT_MSG_HMINOR] = c.version[1];
    header[KT_MSG_HPATCH] = c.version[2];
    header[KT_MSG_HINDEX] = indexOffset;
    header[KT_MSG_HVERSION] = offsetOf(c, kVersion);
    header[KT_MSG_HAPP] = offsetOf(c, kApplication);
    header[KT_MSG_HLABEL] = offsetOf(c, kLabel);

    ktDufsB* f = ktDufsBFopen(path, "w");
    if (!f) {
        std::fprintf(stderr, "kmbc: can't create %s: %s\n", path, std::strerror(errno));
        return false;
    }
    bool ok = ktDufsBWrite(f, header, KT_MSG_HEADERWORDS, KT_DUFS_INT) == KT_MSG_HEADERWORDS &&
              writeRecords(f, c) && writeIndex(f, c);
    ok = ktDufsBFclose(f) == 0 && ok;
    if (!ok) std::fprintf(stderr, "kmbc: can't write %s\n", path);
    return ok;
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
    std::fprintf(stderr, "usage: kmbc [-d LETTERS] source output\n");
    return 2;
}

int compile(Compiler& c, const char* output) {
    std::string source;
    if (!readWhole(c.source, source)) {
        std::fprintf(stderr, "kmbc: can't read %s: %s\n", c.source, std::strerror(errno));
        return 1;
    }
    scanSource(c, source);
    size_t messages = c.lines.size() - c.lines.count(kVersion) - c.lines.count(kApplication) -
                      c.lines.count(kLabel);
    if (messages > static_cast<size_t>(KT_MSG_MAXCOUNT)) {
        std::fprintf(stderr, "%s: %zu messages; a file holds at most 200000\n", c.source, messages);
        ++c.faults;
    }
    int32_t indexOffset = 0;
    if (!c.faults && !layOut(c, &indexOffset)) {
        std::fprintf(stderr, "%s: the compiled file would pass 2 GB\n", c.source);
        ++c.faults;
    }
    if (c.faults) return 1;
    // Written under another name and renamed, so that no reader ever sees
    // half a file under the real one.
    std::string partial = std::string(output) + ".part";
    if (!writeFile(c, partial.c_str(), indexOffset)) {
        std::remove(partial.c_str());
        return 1;
    }
    if (std::rename(partial.c_str(), output) != 0) {
        std::fprintf(stderr, "kmbc: can't rename %s to %s: %s\n", partial.c_str(), output,
                     std::strerror(errno));
        std::remove(partial.c_str());
        return 1;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
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

    int status = ktExCatch(
        KT_EX_ALL,
        [&] {
            c.define = ktRegexpCompile(kDefine);
            c.anyNumber = ktRegexpCompile(kAnyNumber);
            c.versionText = ktRegexpCompile(kVersionText);
            return compile(c, output);
        },
        [&](uint32_t, ktErrObject* err) {
            std::fprintf(stderr, "kmbc: %s\n", err && err->text ? err->text : "failure");
            ktExSwallow();
            return 1;
        });
    ktRegexpDestroy(c.define);
    ktRegexpDestroy(c.anyNumber);
    ktRegexpDestroy(c.versionText);
    // A source with faults leaves no file that a build could take for done.
    if (status != 0) std::remove(output);
    return status;
}
