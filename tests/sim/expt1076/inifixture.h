// A translator in a directory of its own, ready to read an entgen.ini that
// the test writes there. The reports of a reading are kept as a short text,
// "605@3 609@7", each number with the line the report names.
#pragma once
#include <gtest/gtest.h>

#include <regex>
#include <string>

#include "kspath.h"
#include "tempdir.h"
#include "vofixture.h"
#include "voreadini.h"

class IniTest : public TranslatorTest {
protected:
    // The search takes the current directory from a cache.
    void SetUp() override {
        TranslatorTest::SetUp();
        ksGetdefReset();
    }
    void TearDown() override {
        TranslatorTest::TearDown();
        ksGetdefReset();
    }

    // Writes `text` as entgen.ini and reads it; gives the reports.
    std::string read(const std::string& text) {
        dir.write("entgen.ini", text);
        return readOnly();
    }
    // Reads whatever stands there, or nothing.
    std::string readOnly() {
        testing::internal::CaptureStderr();
        found = voreadini("entgen.ini");
        err = testing::internal::GetCapturedStderr();
        return reports(err);
    }
    // A file of the version line and `statements`.
    std::string readStatements(const std::string& statements) {
        return read("ENTGEN 5.3.1\n" + statements);
    }

    static std::string reports(const std::string& text) {
        static const std::regex report(R"(entgen: \w+ (\d+):  :  (?:entgen\.ini, line (\d+):)?)");
        std::string out;
        for (std::sregex_iterator it(text.begin(), text.end(), report), end; it != end; ++it) {
            if (!out.empty()) out += ' ';
            out += (*it)[1].str();
            if ((*it)[2].matched) out += '@' + (*it)[2].str();
        }
        return out;
    }

    voini* ini() const { return vo->ini; }
    // Forgets what was read, for the next file of the same test.
    void reset() {
        voinifree(vo->ini);
        vo->ini = nullptr;
    }

    TempDir dir;
    ChdirGuard here{dir.path()};
    int found = -1;
    std::string err;
};
