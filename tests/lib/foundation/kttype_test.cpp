#include "kttype.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <string>

#include "ktlib_msg.h"
#include "ktmem.h"
#include "ktstr.h"
#include "tempdir.h"
#include "thrown.h"

namespace {

using ::testing::HasSubstr;

// The printed text of a value.
std::string print(ktTypeTS* spec, ktTypedata value) {
    std::string out;
    ktTypePrint(
        spec, value, [](const char* text, void* data) { *static_cast<std::string*>(data) = text; },
        &out);
    return out;
}

// What a text becomes under a type: its printed value, or the number of
// the message it was refused with and that message's text.
struct Outcome {
    std::string printed;
    int number = 0;
    std::string text;
};

Outcome convert(ktTypeTS* spec, const char* text) {
    Outcome o;
    ktTypedata value = 0;
    Thrown t = thrown([&] { value = ktTypeParse(spec, text); });
    if (t.tag) {
        o.number = t.number;
        o.text = t.text;
        return o;
    }
    EXPECT_EQ(value, ktTypeReturnDataV);
    o.printed = print(spec, value);
    ktTypeFreeValue(spec, value);
    return o;
}

struct Case {
    ktTypeTS* spec;
    const char* text;
    const char* printed;  // null when refused
    int number;           // the refusal
};

void expectAll(std::initializer_list<Case> cases) {
    for (const Case& c : cases) {
        Outcome o = convert(c.spec, c.text);
        EXPECT_EQ(o.printed, c.printed ? c.printed : "") << c.spec->name << " " << c.text;
        EXPECT_EQ(o.number, c.number) << c.spec->name << " " << c.text << ": " << o.text;
    }
}

TEST(TypeIntegers, RangesScalesAndRefusals) {
    expectAll({
        {&ktUnsignedIntTS, "0", "0", 0},
        {&ktUnsignedIntTS, " 2147483647 ", "2147483647", 0},
        {&ktUnsignedIntTS, "-1", nullptr, KTM_TYPE_INTRANGE},
        {&ktUnsignedIntTS, "2147483648", nullptr, KTM_TYPE_INTRANGE},
        {&ktPositiveIntTS, "0", nullptr, KTM_TYPE_INTRANGE},
        {&ktIntTS, "-2147483647", "-2147483647", 0},
        {&ktIntTS, "-2147483648", nullptr, KTM_TYPE_INTRANGE},
        {&ktCharTS, "1023", "1023", 0},
        {&ktCharTS, "1024", nullptr, KTM_TYPE_INTRANGE},
        {&ktIntTS, "2k", "2000", 0},
        {&ktIntTS, "1.5kilo", "1500", 0},
        {&ktIntTS, "3meg", "3000000", 0},
        {&ktIntTS, "5kohms", "5000", 0},
        {&ktIntTS, "2.5", nullptr, KTM_TYPE_NOTINT},
        {&ktIntTS, "3m", nullptr, KTM_TYPE_NOTINT},  // milli: no whole number
        {&ktIntTS, "12x", nullptr, KTM_TYPE_NOTINT},
        {&ktIntTS, "", nullptr, KTM_TYPE_NOTINT},
        {&ktIntTS, "nan", nullptr, KTM_TYPE_NOTINT},
        {&ktInt64TS, "9223372036854775807", "9223372036854775807", 0},
        {&ktInt64TS, "-9223372036854775807", "-9223372036854775807", 0},
        {&ktInt64TS, "-9223372036854775808", nullptr, KTM_TYPE_INT64RANGE},
        {&ktInt64TS, "99999999999999999999", nullptr, KTM_TYPE_INT64RANGE},
        {&ktInt64TS, "1.5", nullptr, KTM_TYPE_NOTINT},
    });
    // The range is told with the refused text.
    EXPECT_EQ(convert(&ktUnsignedIntTS, "-1").text,
              " -1 is out of range: the value must lie between 0 and 2147483647.");
}

TEST(TypeFloats, RangesAndRefusals) {
    expectAll({
        {&ktFloatTS, "-2.5", "-2.5", 0},
        {&ktFloatTS, "3.3n", "3.3e-09", 0},
        {&ktFloatTS, "1e400", nullptr, KTM_TYPE_FLOATRANGE},
        {&ktFloatTS, "nan", nullptr, KTM_TYPE_FLOATRANGE},
        {&ktFloatTS, "", nullptr, KTM_TYPE_NOTFLOAT},
        {&ktFloatTS, "1.5 x", nullptr, KTM_TYPE_NOTFLOAT},
        {&ktPositiveFloatTS, "0", "0", 0},
        {&ktPositiveFloatTS, "-0.1", nullptr, KTM_TYPE_FLOATRANGE},
    });
    ktTypedata v = ktTypeParse(&ktFloatTS, "0.25");
    ktTypedata copy = ktTypeCopyValue(&ktFloatTS, v);
    EXPECT_NE(copy, v);  // a double is owned: the copy has its own storage
    EXPECT_EQ(*reinterpret_cast<double*>(copy), 0.25);
    ktTypeFreeValue(&ktFloatTS, v);
    ktTypeFreeValue(&ktFloatTS, copy);
}

TEST(TypeScaledNumbers, ScaleAndUnitWords) {
    struct Scaled {
        const char* text;
        double value;
        size_t read;
    };
    for (Scaled s : {Scaled{"1.5k", 1.5e3, 4}, Scaled{"2MEGohm", 2e6, 7}, Scaled{"2M", 2e-3, 2},
                     Scaled{"10u", 1e-5, 3}, Scaled{"1f", 1e-15, 2}, Scaled{"3ns", 3e-9, 3},
                     Scaled{"4Farads", 4, 7}, Scaled{"2amps", 2, 5}, Scaled{"5V", 5, 2},
                     Scaled{"7 k", 7, 1}, Scaled{"5kx", 5e3, 2}, Scaled{"x", 0, 0}}) {
        const char* end = nullptr;
        double v = ktCvtUstrtod(s.text, &end);
        EXPECT_NEAR(v, s.value, std::fabs(s.value) * 1e-12) << s.text;
        EXPECT_EQ(static_cast<size_t>(end - s.text), s.read) << s.text;
    }
}

TEST(TypeEnumerations, AbbreviationsIndexesAndRefusals) {
    expectAll({
        {&ktErrActionTS, "alert", "alertBox", 0},
        {&ktErrActionTS, " STATUSLINE ", "statusLine", 0},
        {&ktErrActionTS, "2", "disabled", 0},
        {&ktErrActionTS, "3", nullptr, KTM_TYPE_NOTWORD},
        {&ktErrActionTS, "", nullptr, KTM_TYPE_NOTWORD},
        {&ktErrSevTS, "w", "Warning", 0},
        {&ktErrCntxTS, "s", nullptr, KTM_TYPE_AMBIGUOUS},  // Stderr, StatusLine
        {&ktErrCntxTS, "stat", "StatusLine", 0},
        {&ktOnOffTS, "on", "On", 0},
        {&ktYesNoTS, "1", "Yes", 0},
        {&ktTrueFalseTS, "maybe", nullptr, KTM_TYPE_NOTWORD},
    });
    EXPECT_EQ(convert(&ktErrActionTS, "alarm").text,
              " alarm is none of the words statusLine, alertBox, disabled.");
}

TEST(TypeStrings, FiltersAndRefusals) {
    expectAll({
        {&ktStringTS, "", "", 0},
        {&ktStringTS, "  keep  blanks ", "  keep  blanks ", 0},
        {&ktStringUpperTS, "abc-1", "ABC-1", 0},
        {&ktStringLowerTS, "AbC", "abc", 0},
        {&ktStringNotEmptyTS, "x", "x", 0},
        {&ktStringNotEmptyTS, "", nullptr, KTM_TYPE_REFUSED},
        {&ktVoidTS, "x", nullptr, KTM_TYPE_REFUSED},
        {&ktAnyTS, "x", nullptr, KTM_TYPE_REFUSED},
    });
    EXPECT_EQ(convert(&ktStringNotEmptyTS, "").text,
              " Type ktStringNotEmptyVT does not accept the value `'.");
}

TEST(TypePaths, MadeAbsoluteAndTested) {
    TempDir dir;
    dir.write("sym/and2.1", "");
    ChdirGuard here(dir.path());
    std::string file = dir.path("sym/and2.1"), sym = dir.path("sym");
    expectAll({
        {&ktFileNameTS, "sym/../sym/x", dir.path("sym/x").c_str(), 0},
        {&ktFileNameTS, "", nullptr, KTM_TYPE_BADPATH},
        {&ktFileReadTS, "sym/and2.1", file.c_str(), 0},
        {&ktFileReadTS, "sym/or2.1", nullptr, KTM_TYPE_NOREAD},
        {&ktFileReadWriteTS, "sym/and2.1", file.c_str(), 0},
        {&ktFileWriteTS, "sym/new.1", dir.path("sym/new.1").c_str(), 0},
        {&ktFileWriteTS, "nodir/new.1", nullptr, KTM_TYPE_NOWRITE},
        {&ktFileWriteTS, "sym", nullptr, KTM_TYPE_NOWRITE},
        {&ktDirTS, "sym", sym.c_str(), 0},
        {&ktDirTS, "sym/and2.1", nullptr, KTM_TYPE_NODIR},
        {&ktDirWriteTS, ".", dir.path().c_str(), 0},
        {&ktDirWriteTS, "none", nullptr, KTM_TYPE_NODIRWRITE},
        {&ktFileNameTS, std::string(300, 'a').c_str(), nullptr, KTM_TYPE_BADPATH},
    });
}

TEST(TypePointers, WordListsBlocksAndTypes) {
    ktTypedata words = ktTypeParse(&ktStrArrayTS, R"( a  "b c" d\"e "" )");
    auto** list = reinterpret_cast<char**>(words);
    ASSERT_NE(list, nullptr);
    EXPECT_STREQ(list[0], "a");
    EXPECT_STREQ(list[1], "b c");
    EXPECT_STREQ(list[2], "d\"e");
    EXPECT_STREQ(list[3], "");
    EXPECT_EQ(list[4], nullptr);
    ktTypedata copy = ktTypeCopyValue(&ktStrArrayTS, words);
    ktTypeFreeValue(&ktStrArrayTS, words);
    EXPECT_EQ(print(&ktStrArrayTS, copy), R"(a "b c" "d\"e" "")");
    ktTypeFreeValue(&ktStrArrayTS, copy);
    expectAll({
        {&ktStrArrayTS, "", "", 0},
        {&ktByteBlockTS, "a|b", "a|b", 0},
        {&ktTypespecTS, "ktonoffvt", "ktOnOffVT", 0},
        {&ktTypespecTS, "ktOnOff", nullptr, KTM_TYPE_REFUSED},
    });
    ktTypedata block = ktTypeParse(&ktByteBlockTS, "xyz");
    EXPECT_EQ(reinterpret_cast<ktTypeByteBlock*>(block)->count, 3);
    ktTypeFreeValue(&ktByteBlockTS, block);

    // A type as a value holds a reference to it.
    ktTypedata spec = ktTypeParse(&ktTypespecTS, "ktIntVT");
    EXPECT_EQ(reinterpret_cast<ktTypeTS*>(spec), &ktIntTS);
    EXPECT_EQ(ktIntTS.refs, 2);
    ktTypeFreeValue(&ktTypespecTS, spec);
    EXPECT_EQ(ktIntTS.refs, 1);
}

int released = 0;
void countRelease(ktTypeTS* spec) {
    ++released;
    ktMemFree(spec->data);
}

TEST(TypeSpecs, TheLastReferenceReleasesDataNameAndSpec) {
    static ktTypeTB table = ktIntTB;
    table.release = countRelease;
    auto* spec = static_cast<ktTypeTS*>(ktMemMalloc(sizeof(ktTypeTS), "test"));
    auto* range = static_cast<ktTypeIntRange*>(ktMemMalloc(sizeof(ktTypeIntRange), "test"));
    *range = {10, 20};
    *spec = {ktStrCpy("tenToTwenty"), &table, range, 1};
    EXPECT_EQ(convert(spec, "9").number, KTM_TYPE_INTRANGE);
    EXPECT_EQ(convert(spec, "20").printed, "20");
    ktTypeTSFree(ktTypeTSCopy(spec));
    EXPECT_EQ(released, 0);
    ktTypeTSFree(spec);  // the address sanitizer sees the name and spec go
    EXPECT_EQ(released, 1);
}

}  // namespace
