// Regular expressions: the first line of the input is the expression, the
// rest the text it searches. A match must lie inside the text, each group
// must be a part of it, and a copy must agree with the positions.
#include <cstring>
#include <memory>
#include <string>

#include "fuzzsupport.h"
#include "ktregexp.h"

namespace {
void checkMatch(const ktRegexpMatch& m, const char* text) {
    const char* end = text + std::strlen(text);
    FUZZ_CHECK(m.startp[0] && m.endp[0]);
    for (int i = 0; i < KT_REGEXP_NSUB; ++i) {
        if (!m.startp[i]) continue;
        FUZZ_CHECK(m.endp[i]);
        FUZZ_CHECK(text <= m.startp[i] && m.startp[i] <= m.endp[i] && m.endp[i] <= end);
        FUZZ_CHECK(m.startp[0] <= m.startp[i] && m.endp[i] <= m.endp[0]);
        char out[8];
        int r = ktRegexpGetMatch(&m, i, out, sizeof out);
        size_t len = static_cast<size_t>(m.endp[i] - m.startp[i]);
        FUZZ_CHECK(r == (len == 0 ? 0 : len < sizeof out ? 1 : -1));
        FUZZ_CHECK(std::strncmp(out, m.startp[i], std::strlen(out)) == 0);
    }
}

void search(const ktRegexp* prog, const char* text) {
    ktRegexpMatch m;
    // A text the matcher can't finish within its limits is refused by a throw.
    fuzzRefused([&] {
        if (ktRegexpExec(prog, &m, text)) checkMatch(m, text);
    });
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzSetup();
    std::string input = fuzzText(data, size);
    size_t cut = input.find('\n');
    std::string expression = input.substr(0, cut);
    std::string text = cut == std::string::npos ? "" : input.substr(cut + 1);

    ktRegexp* compiled = nullptr;
    if (fuzzRefused([&] { compiled = ktRegexpCompile(expression.c_str()); })) return 0;
    std::unique_ptr<ktRegexp, void (*)(ktRegexp*)> prog{compiled, ktRegexpDestroy};
    search(prog.get(), text.c_str());
    return 0;
}
