// Compiled message files written directly, for tests of the readers: any
// text may stand in them, also texts our compiler would refuse, with a
// damaged head or index, or a cut tail.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "ktmsg.h"

struct Message {
    int number;
    std::string text;
};

// What a test file holds; by default a sound file.
struct FileSpec {
    std::vector<Message> messages;  // in record order; the index is sorted
    const char* version = nullptr;  // "5.3.1"
    const char* app = nullptr;
    const char* label = nullptr;
    int32_t magic = KT_MSG_MAGIC;
    std::optional<int32_t> count;  // the count written in the index, if not the true one
    size_t cut = 0;                // bytes taken off the end
    // Changes the sorted index before it is written: a damaged file.
    std::function<void(std::vector<ktMsgIndexEntry>&)> editIndex;
};

// Writes a compiled message file byte by byte, as the compiler lays it out
// (big-endian). Argument tables are written empty: the reader skips them.
void writeMessageFile(const std::string& path, const FileSpec& spec);
