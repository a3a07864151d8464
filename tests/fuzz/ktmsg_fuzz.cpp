// Message files: the input is a compiled message file. It is opened under
// the translator's name, so that its texts are held to the arguments the
// translator's messages take, as the translator opens it (no identity or
// version demanded); every message its index names is fetched raw, copied,
// and formatted with arguments that fit its directives where they all take
// one kind, and a number the index lacks is asked for too. Then it is
// opened under a name of no known messages, with the identity and version
// bounds that the library's own file must meet. The handle is closed after
// each opening, so nothing of one input stays for the next.
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "fuzzsupport.h"
#include "ktdufs.h"
#include "ktmsg.h"
#include "ktstr.h"

namespace {
// The numbers the file's index names, read as the module reads them; at
// most a few hundred, which is all a file of a fuzzer's size holds.
std::vector<int32_t> indexNumbers(const std::string& path) {
    std::vector<int32_t> numbers;
    fuzzRefused([&] {
        // A read may throw: the handle is closed on every way out.
        std::unique_ptr<ktDufsB, int (*)(ktDufsB*)> f{ktDufsBFopen(path.c_str(), "r"),
                                                      ktDufsBFclose};
        int32_t head[KT_MSG_HEADERWORDS], count = 0;
        if (!f ||
            ktDufsBRead(f.get(), head, KT_MSG_HEADERWORDS, KT_DUFS_INT, 1) != KT_MSG_HEADERWORDS ||
            ktDufsBFseek(f.get(), head[KT_MSG_HINDEX], SEEK_SET) != 0 ||
            ktDufsBRead(f.get(), &count, 1, KT_DUFS_INT, 1) != 1)
            return;
        ktMsgIndexEntry e;
        for (int32_t i = 0; i < count && i < 512; ++i) {
            if (ktDufsBRead(f.get(), &e, 3, KT_DUFS_INT, 1) != 3) break;
            numbers.push_back(e.number);
        }
    });
    numbers.push_back(INT_MAX);
    return numbers;
}

void fetchEach(ktMsgHandle* h, const std::vector<int32_t>& numbers) {
    for (int32_t n : numbers) {
        char small[8];
        ktMsgBuffer buffer{small, sizeof small};
        if (fuzzRefused([&] { ktMsgText(h, n, ktMsgCopyToBuffer, &buffer); })) continue;
        FUZZ_CHECK(std::memchr(small, '\0', sizeof small));
        char* raw = nullptr;
        fuzzRefused([&] { ktMsgText(h, n, ktMsgCopyAlloc, &raw); });
        if (!raw) continue;
        int cls = fuzzArgClass(raw);
        ktStrFree(raw);
        // A text whose directives the arguments can't fit is not formatted:
        // a caller passes what its message needs.
        if (!cls) continue;
        fuzzRefused([&] {
            fuzzWithArgs(cls, [&](auto... args) { FUZZ_CHECK(ktMsgStatic(h, n, args...)); });
        });
    }
}
// Opens the file under `name`, fetches its messages and closes it again.
void openAndFetch(const char* name, const std::vector<int32_t>& numbers, const char* app,
                  const char* label, const char* minver, const char* maxver) {
    ktMsgHandle* h = nullptr;
    if (fuzzRefused([&] { h = ktMsgFileOpen(name, app, label, minver, maxver); })) return;
    fetchEach(h, numbers);
    ktMsgFileClose(h);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzzSetup();
    // The search for support files looks in the current directory first.
    FuzzInWorkDir here;
    fuzzWriteFile("entgen.kmb", data, size);
    std::vector<int32_t> numbers = indexNumbers(fuzzWriteFile("fuzzmsg.kmb", data, size));
    openAndFetch("entgen", numbers, nullptr, nullptr, nullptr, nullptr);
    openAndFetch("fuzzmsg", numbers, "ktlib", "5.0", "5.0.0", "5.9");
    return 0;
}
