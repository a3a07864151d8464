// Message routing. An output's format is the caller's text around one
// "%s"; it is applied by hand, never handed to a formatter as a format.
#include "iwmsg.h"

#include <cstdarg>
#include <cstring>
#include <string_view>

#include "iwmem.h"
#include "iwsession.h"
#include "kterr.h"
#include "ktmem.h"
#include "ktstr.h"

ktMsgHandle* MsgFileID = nullptr;

namespace {

struct Output {
    Output* next;
    FILE* stream;
    char* format;  // pooled
    int mask;
};

constexpr int kScratch = 16384;

Output* outputs_ = nullptr;
unsigned counters_[3] = {0, 0, 0};
int severity_ = 0;  // of the message being shown
void (*function_)(const char* text) = nullptr;

void defaultFunction(const char* text) {
    iwmsgout(severity_, "%s\n", text);
}

// The report's text in the error layer's buffer.
const char* build(int number, va_list args) {
    ktErrObject* err = ktErrBuildVa(nullptr, MsgFileID, number, args);
    const char* text = ktErrString(err, Stderr);
    ktErrDestroy(err);
    return text;
}

void writeThrough(const Output* o, const char* text) {
    std::string_view f = o->format;
    size_t at = f.find("%s");
    if (at == std::string_view::npos) at = f.size();
    std::fwrite(f.data(), 1, at, o->stream);
    std::fputs(text, o->stream);
    if (at < f.size()) std::fwrite(f.data() + at + 2, 1, f.size() - at - 2, o->stream);
    std::fflush(o->stream);
}

}  // namespace

void iwmsghndlr(int severity, int number, ...) {
    va_list args;
    va_start(args, number);
    // The text is copied: the function may report again.
    char* text = ktStrCpy(build(number, args));
    va_end(args);
    severity_ = severity;
    if (!function_) iwregmsgdflt();
    function_(text);
    ktStrFree(text);
}

const char* iwmsggen(int number, ...) {
    va_list args;
    va_start(args, number);
    const char* text = build(number, args);
    va_end(args);
    return text;
}

const char* iwmsggenv(int number, va_list args) {
    return build(number, args);
}

void iwmsgout(int severity, const char* format, ...) {
    if (!(severity & IW_CONTINUE))
        for (int i = 0; i < 3; ++i)
            if (severity & (1 << i)) ++counters_[i];
    if (!outputs_) return;
    char* text = static_cast<char*>(iwqkalloc(kScratch));
    va_list args;
    va_start(args, format);
    std::vsnprintf(text, kScratch, format, args);
    va_end(args);
    for (const Output* o = outputs_; o; o = o->next)
        if (o->mask & severity) writeThrough(o, text);
    iwqkfree(text);
}

int iwmsgsetup(int mask, FILE* stream, const char* format) {
    if (!iwinidone("IWMSGSETUP") || !stream) return 0;
    auto* o = static_cast<Output*>(ktMemMalloc(sizeof(Output), "Lark:iwmsgsetup()"));
    o->stream = stream;
    o->format = ktStrCpy(format && *format ? format : "%s");
    o->mask = mask;
    o->next = outputs_;
    outputs_ = o;
    return 1;
}

int iwmsgcount(int mask) {
    int sum = 0;
    for (int i = 0; i < 3; ++i)
        if (mask & (1 << i)) sum += static_cast<int>(counters_[i]);
    return sum;
}

void iwmsgclose() {
    while (Output* o = outputs_) {
        outputs_ = o->next;
        ktStrFree(o->format);
        ktMemFree(o);
    }
    counters_[0] = counters_[1] = counters_[2] = 0;
}

void iwregmsgdflt() {
    if (!function_) function_ = defaultFunction;
}
