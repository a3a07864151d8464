#include "msgwriter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <regex>
#include <sstream>

#include "ktdufs.h"

namespace {
int32_t part(const char* version, int i) {
    int v[3] = {-1, -1, -1};
    if (version) std::sscanf(version, "%d.%d.%d", &v[0], &v[1], &v[2]);
    return v[i];
}

}  // namespace

void writeMessageFile(const std::string& path, const FileSpec& spec) {
    ktDufsB* f = ktDufsBFopen(path.c_str(), "w");
    ASSERT_NE(f, nullptr);
    if (spec.littleEndian) {
        // The writer follows the handle's order; the description byte says
        // least significant byte first.
        f->swap = std::endian::native == std::endian::big;
        const uint8_t head[2] = {0x01, 0x84};
        ktDufsBFseek(f, -2, SEEK_SET);
        ktDufsBWrite(f, head, 2, KT_DUFS_BYTES);
    }
    int32_t header[KT_MSG_HEADERWORDS] = {};
    ktDufsBFseek(f, 4 * KT_MSG_HEADERWORDS, SEEK_SET);
    auto writeString = [&](const char* text) -> int32_t {
        if (!text) return 0;
        int32_t at = static_cast<int32_t>(ktDufsBFtell(f));
        int16_t length = static_cast<int16_t>(std::strlen(text) + 1);
        ktDufsBWrite(f, &length, 1, KT_DUFS_SHORT);
        ktDufsBWrite(f, text, static_cast<size_t>(length), KT_DUFS_BYTES);
        return at;
    };
    header[KT_MSG_HVERSION] = writeString(spec.version);
    header[KT_MSG_HAPP] = writeString(spec.app);
    header[KT_MSG_HLABEL] = writeString(spec.label);
    std::vector<ktMsgIndexEntry> index;
    for (const Message& m : spec.messages) {
        int32_t at = static_cast<int32_t>(ktDufsBFtell(f));
        index.push_back({m.number, at, static_cast<int32_t>(m.text.size() + 1)});
        ktDufsBWrite(f, m.text.c_str(), m.text.size() + 1, KT_DUFS_BYTES);
        int16_t none = 0;
        ktDufsBWrite(f, &none, 1, KT_DUFS_SHORT);
    }
    std::sort(index.begin(), index.end(), [](const ktMsgIndexEntry& a, const ktMsgIndexEntry& b) {
        return a.number < b.number;
    });
    header[KT_MSG_HINDEX] = static_cast<int32_t>(ktDufsBFtell(f));
    int32_t count = spec.count.value_or(static_cast<int32_t>(index.size()));
    ktDufsBWrite(f, &count, 1, KT_DUFS_INT);
    if (!index.empty()) ktDufsBWrite(f, index.data(), 3 * index.size(), KT_DUFS_INT);
    header[KT_MSG_HMAGIC] = spec.magic;
    for (int i = 0; i < 3; ++i) header[KT_MSG_HMAJOR + i] = part(spec.version, i);
    ktDufsBFseek(f, 0, SEEK_SET);
    ktDufsBWrite(f, header, KT_MSG_HEADERWORDS, KT_DUFS_INT);
    ASSERT_EQ(ktDufsBFclose(f), 0);
    if (spec.cut) std::filesystem::resize_file(path, std::filesystem::file_size(path) - spec.cut);
}


FileSpec messagesFromSource(const std::string& source, std::vector<std::string>& keep) {
    static const std::regex line(
        R"re(^#define[ \t]+\w+[ \t]+(-?[0-9]+)[ \t]+/\*[ \t]*"(.*)"[ \t]*\*/)re");
    FileSpec spec;
    keep.clear();
    keep.reserve(8);
    std::istringstream in(source);
    for (std::string text; std::getline(in, text);) {
        std::smatch m;
        if (!std::regex_search(text, m, line)) continue;
        int number = std::stoi(m[1]);
        std::string value = m[2];
        if (number > 0) {
            spec.messages.push_back({number, value});
        } else if (number == -1 || number == -2 || number == 0) {
            keep.push_back(value);
            const char* kept = keep.back().c_str();
            if (number == -1) spec.app = kept;
            else if (number == -2) spec.label = kept;
            else spec.version = kept;
        }
    }
    return spec;
}
