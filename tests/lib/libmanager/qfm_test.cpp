#include "qfm.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qlm.h"
#include "tempdir.h"

namespace {

// A library list of the test's own directories.
class FileSearch : public ::testing::Test {
protected:
    void SetUp() override {
        qlm_free_all();
        qfm_errno = 0;
    }
    void TearDown() override { qlm_free_all(); }

    kqLibDirectory* lib(const std::string& access, const std::string& rel,
                        const std::string& alias = "") {
        dir_.mkdir(rel);
        std::string line =
            access + " " + dir_.path(rel) + (alias.empty() ? "" : " (" + alias + ")");
        kqLibDirectory* d = qlm_read(line.c_str());
        EXPECT_NE(d, nullptr) << line << ": " << qlm_errno;
        return d;
    }
    // An index record: the text, padded with blanks to 30 bytes.
    static std::string record(const std::string& text) {
        return text + std::string(30 - text.size(), ' ');
    }
    // Every file the loop hands over, in order.
    std::vector<std::string> walk(const char* library, int kind, const char* name,
                                  const char* ext) {
        std::vector<std::string> seen;
        int r = qfm_file_loop(
            library, kind, name, ext,
            [](const char* file, void* data) {
                static_cast<std::vector<std::string>*>(data)->push_back(file);
                return 0;
            },
            &seen);
        EXPECT_EQ(r, 0);
        return seen;
    }

    TempDir dir_;
};

TEST_F(FileSearch, DirectoriesOfALibraryInOrder) {
    kqLibDirectory* one = lib("[w]", "one", "cells");
    kqLibDirectory* two = lib("[r]", "two", "cells");
    lib("[w]", "other", "gates");
    dir_.write("two/sym/or3.1", "");
    dir_.write("one/sym/and2.1", "");
    dir_.write("two/sym/and2.1", "");
    dir_.write("other/sym/xor2.1", "");
    EXPECT_EQ(qfm_find_directory("cells", 1, "or3", "1"), two);
    EXPECT_EQ(qfm_find_directory("CELLS", 1, "and2", "1"), one);
    EXPECT_EQ(qfm_find_directory("cells", 1, "xor2", "1"), nullptr);
    qfm_errno = 0;
    // The whole list is searched without a library; a library that isn't
    // there finds nothing, though the file exists elsewhere.
    EXPECT_NE(qfm_find_directory(nullptr, 1, "xor2", "1"), nullptr);
    EXPECT_NE(qfm_find_directory("", 1, "xor2", "1"), nullptr);
    EXPECT_EQ(qfm_errno, 0);
    EXPECT_EQ(qfm_find_directory("nolib", 1, "xor2", "1"), nullptr);
    EXPECT_EQ(qfm_errno, QFM_NOLIB);
}

TEST_F(FileSearch, MegaIndexOfThirtyByteRecords) {
    kqLibDirectory* d = lib("[m]", "mega", "packed");
    lib("[m]", "empty", "packed");
    lib("[m]", "nodata", "packed");
    lib("[m]", "last", "packed");
    dir_.write("mega/sym.tbl", record("OR3.2\t120") + record("xor2.1 -1") + record("junk") +
                                   record("inv.1 121") + record("buf.1 99999999999999999999") +
                                   "nand2.1 9");
    dir_.write("mega/sym.lib", std::string(121, 'd'));
    dir_.write("empty/sym.tbl", "");                   // no hits, no failure
    dir_.write("nodata/sym.tbl", record("and2.1 5"));  // no data file: no hit
    dir_.write("last/sym.tbl", record("and2.1 7") + "x");
    dir_.write("last/sym.lib", "12345678");
    qfm_id* id = qfm_find_file("packed", 1, "Or3", "2");
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->position, 120);
    EXPECT_EQ(id->directory, d);
    EXPECT_STREQ(id->name, "or3");
    EXPECT_GT(id->time, 1u);
    qfm_free_id(id);
    // A negative offset doesn't count, nor one past the data or too large
    // to read, and a short tail is no record.
    for (const char* name : {"xor2", "inv", "buf", "nand2"})
        EXPECT_EQ(qfm_find_directory("packed", 1, name, "1"), nullptr) << name;
    id = qfm_find_file("packed", 1, "and2", "1");
    ASSERT_NE(id, nullptr);
    EXPECT_EQ(id->position, 7);
    qfm_free_id(id);
    // A loop walks each index in its own order, with or without a data file.
    EXPECT_EQ(walk("packed", 1, "*", "*"),
              (std::vector<std::string>{"or3.2", "inv.1", "and2.1", "and2.1"}));
    EXPECT_EQ(walk("packed", 1, "O*", "2"), (std::vector<std::string>{"or3.2"}));
    // The index only covers kinds that may be packed; others are plain.
    dir_.write("mega/doc/notes.1", "");
    EXPECT_NE(qfm_find_directory("packed", 2, "notes", "1"), nullptr);
}

TEST_F(FileSearch, LoopOverPlainDirectoriesSorted) {
    lib("[w]", "one", "cells");
    lib("[w]", "two", "cells");
    dir_.write("one/sym/or3.1", "");
    dir_.write("one/sym/and2.2", "");
    dir_.write("one/sym/and2.1", "");
    dir_.write("one/sym/sub.1/x", "");  // a directory is no file
    dir_.write("two/sym/buf.1", "");
    dir_.write("two/sym/and2.pin", "");
    EXPECT_EQ(walk("cells", 1, "*", "*"),
              (std::vector<std::string>{"and2.1", "and2.2", "or3.1", "and2.pin", "buf.1"}));
    EXPECT_EQ(walk("cells", 1, "and2", "*"),
              (std::vector<std::string>{"and2.1", "and2.2", "and2.pin"}));
    EXPECT_EQ(walk("cells", 1, "*", "1"), (std::vector<std::string>{"and2.1", "or3.1", "buf.1"}));
    EXPECT_EQ(walk("cells", 4, "*", "1"), (std::vector<std::string>{"and2.pin"}));
    // A callback's non-zero answer ends the loop and is its result.
    int calls = 0;
    auto stop = [](const char*, void* data) { return ++*static_cast<int*>(data) == 1 ? 7 : 0; };
    EXPECT_EQ(qfm_file_loop("cells", 1, "*", "*", stop, &calls), 7);
    EXPECT_EQ(qfm_file_loop("nolib", 1, "*", "*", stop, &calls), QFM_NOLIB);
    EXPECT_EQ(qfm_file_loop(nullptr, 1, "*", "*", stop, &calls), QFM_NOLIB);
    EXPECT_EQ(calls, 1);
}

}  // namespace
