// What a kt throw carried, taken by a frame of every tag and swallowed, so
// a test looks at the error after the frame is gone.
#pragma once
#include <cstdint>
#include <string>

#include "kterr.h"
#include "ktex.h"

struct Thrown {
    uint32_t tag = 0;  // 0: nothing was thrown
    int number = -1;
    int severity = -1;
    std::string app, location, text;
};

template <typename Body>
Thrown thrown(Body body) {
    Thrown t;
    auto str = [](const char* s) { return std::string(s ? s : ""); };
    ktExCatch(
        KT_EX_ALL, [&] { body(); },
        [&](uint32_t tag, ktErrObject* err) {
            t = {tag,           err->number,        err->severity,
                 str(err->app), str(err->location), str(err->text)};
            ktExSwallow();
        });
    return t;
}
