#include "msgwriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>

namespace {
int32_t part(const char* version, int i) {
    int v[3] = {-1, -1, -1};
    if (version) std::sscanf(version, "%d.%d.%d", &v[0], &v[1], &v[2]);
    return v[i];
}

// The bytes of a file behind its two leading ones, most significant first.
struct Bytes {
    std::string data;

    void word(uint32_t v, int width) {
        for (int i = width - 1; i >= 0; --i) data += static_cast<char>((v >> (8 * i)) & 0xFF);
    }
    void int32(int32_t v) { word(static_cast<uint32_t>(v), 4); }
    void int16(int v) { word(static_cast<uint32_t>(v) & 0xFFFF, 2); }
    void text(const std::string& t) { data.append(t).push_back('\0'); }
    int32_t at() const { return static_cast<int32_t>(data.size()); }
};
}  // namespace

void writeMessageFile(const std::string& path, const FileSpec& spec) {
    Bytes b{std::string(4 * KT_MSG_HEADERWORDS, '\0')};
    auto stringRecord = [&](const char* text) -> int32_t {
        if (!text) return 0;
        int32_t at = b.at();
        b.int16(static_cast<int>(std::strlen(text) + 1));
        b.text(text);
        return at;
    };
    int32_t header[KT_MSG_HEADERWORDS] = {};
    header[KT_MSG_HVERSION] = stringRecord(spec.version);
    header[KT_MSG_HAPP] = stringRecord(spec.app);
    header[KT_MSG_HLABEL] = stringRecord(spec.label);
    std::vector<ktMsgIndexEntry> index;
    for (const Message& m : spec.messages) {
        index.push_back({m.number, b.at(), static_cast<int32_t>(m.text.size() + 1)});
        b.text(m.text);
        b.int16(0);  // an empty argument table
    }
    std::sort(index.begin(), index.end(), [](const ktMsgIndexEntry& a, const ktMsgIndexEntry& b) {
        return a.number < b.number;
    });
    if (spec.editIndex) spec.editIndex(index);
    header[KT_MSG_HINDEX] = b.at();
    b.int32(spec.count.value_or(static_cast<int32_t>(index.size())));
    for (const ktMsgIndexEntry& e : index)
        for (int32_t w : {e.number, e.offset, e.length}) b.int32(w);
    header[KT_MSG_HMAGIC] = spec.magic;
    for (int i = 0; i < 3; ++i) header[KT_MSG_HMAJOR + i] = part(spec.version, i);
    Bytes head;
    for (int32_t w : header) head.int32(w);
    b.data.replace(0, head.data.size(), head.data);
    b.data.resize(b.data.size() - std::min(spec.cut, b.data.size()));

    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << "\x01\x85" << b.data;
    out.close();
    ASSERT_TRUE(out) << path;
}
