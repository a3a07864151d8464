#include "qlm.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tempdir.h"

namespace {

// Each test starts with an empty list and directories a, b, c of its own.
class LibList : public ::testing::Test {
protected:
    void SetUp() override {
        qlm_free_all();
        for (const char* d : {"a", "b", "c"}) dir_.mkdir(d);
    }
    void TearDown() override { qlm_free_all(); }

    std::string d(const std::string& rel) const { return dir_.path(rel); }
    // Reads `line` with every "@x" replaced by the path of directory x.
    kqLibDirectory* read(std::string line) const {
        for (size_t at; (at = line.find('@')) != std::string::npos;)
            line.replace(at, 2, d(line.substr(at + 1, 1)));
        return qlm_read(line.c_str());
    }
    // The status of a refused line; 0 when it was taken.
    int status(const std::string& line) const {
        qlm_errno = 0;
        return read(line) ? 0 : qlm_get_status();
    }
    static std::vector<int> numbers() {
        std::vector<int> v;
        for (kqLibDirectory* e = qlm_id_next_dir(nullptr); e; e = qlm_id_next_dir(e))
            v.push_back(e->number);
        return v;
    }

    TempDir dir_;
};

TEST_F(LibList, LettersGiveAccess) {
    kqLibDirectory* m = read("[m] @a (mega)");
    kqLibDirectory* pl = read("[pL] @b (main)");
    ASSERT_TRUE(m && pl) << qlm_errno;
    EXPECT_EQ(qlm_id_writable(m), 0);
    EXPECT_EQ(qlm_id_megafile(m), 1);
    EXPECT_EQ(m->number, -1);
    EXPECT_EQ(pl->flags, unsigned(QLM_PRIMARY | QLM_MARKED));
}

TEST_F(LibList, EachStatusOfARefusedLine) {
    const struct {
        const char* line;
        int status;
    } cases[] = {
        {"  \t\b\v\r\n", QLM_BADLINE},
        {"[w] @a (cells", QLM_BADLINE},
        {"[w @a", QLM_BADLINE},
        {"[w] @a ()", QLM_BADALIAS},
        {"[w] @a (a__b)", QLM_BADALIAS},
        {"[rw] @a", QLM_EXCLUSIVE},
        {"[pm] @a", QLM_EXCLUSIVE},
        {"[x] @a", QLM_BADLETTER},
        {"[l] @a", QLM_NOACCESS},
        {"21 @a", QLM_RANGE},
        {"[w] @a/missing", QLM_NODIR},
        // The first failing test of a line gives its status: the alias
        // before the access, the access before the directory.
        {"[x] @a/missing ()", QLM_BADALIAS},
        {"21 @a/missing", QLM_RANGE},
        {"[rw] @a/missing", QLM_EXCLUSIVE},
        {"[x] @a/missing", QLM_BADLETTER},
    };
    for (const auto& c : cases) EXPECT_EQ(status(c.line), c.status) << c.line;
    EXPECT_EQ(qlm_id_next_dir(nullptr), nullptr);
    // Deep enough that its absolute path no longer fits a path buffer.
    std::string deep = std::string(200, 'x') + "/" + std::string(100, 'y');
    dir_.mkdir(deep);
    EXPECT_EQ(status("[w] " + d(deep)), QLM_NOEXAMINE);
    dir_.write("file", "");
    EXPECT_EQ(status("[w] " + d("file")), QLM_NODIR);
}

TEST_F(LibList, ListRulesComeBeforeTheDirectoryTest) {
    ASSERT_EQ(status("3 @a"), 0);
    EXPECT_EQ(status("[w] @b"), QLM_MIXED);
    EXPECT_EQ(status("[x] @b/missing"), QLM_MIXED);  // mixing is told before the letters
    EXPECT_EQ(status("3 @b/missing"), QLM_SAMENUMBER);
    EXPECT_EQ(status("30 @b"), QLM_RANGE);
    qlm_free_all();
    ASSERT_EQ(status("[p] @a"), 0);
    EXPECT_EQ(status("4 @b"), QLM_MIXED);
    EXPECT_EQ(status("[p] @b/missing"), QLM_SECONDPRIMARY);
    EXPECT_EQ(numbers(), std::vector<int>{-1});
}

TEST_F(LibList, TokenLimitsAndComments) {
    std::string alias32 = "a" + std::string(31, 'b');
    EXPECT_EQ(status("[w] @a (" + alias32 + ")"), 0);
    EXPECT_EQ(status("[w] @b (" + alias32 + "c)"), QLM_BADALIAS);
    // A path token longer than 511 characters is refused, not cut.
    std::string path = "/" + std::string(511, 'x');
    EXPECT_EQ(status("[w] " + path), QLM_BADLINE);
    EXPECT_EQ(status("[w] " + path.substr(1)), QLM_NODIR);
    EXPECT_EQ(status("[wwwwwwwwwwwwwww] @c"), QLM_BADLINE);
    EXPECT_EQ(status("[wwwwwwwwwwwww] @c (z_)"), 0);
    kqLibDirectory* e = read("[w] @c |(not) an alias");
    ASSERT_NE(e, nullptr);
    EXPECT_STREQ(qlm_id_get_name(e), "");
}

TEST_F(LibList, NumbersGiveRankAndAccessWhileTheAliasChainKeepsReadingOrder) {
    kqLibDirectory* six = read("DiR 6 @a (lib)");
    kqLibDirectory* zero = read("dir 0 @b (LIB)");
    kqLibDirectory* five = read("5 @c (lib)");
    ASSERT_TRUE(six && zero && five);
    EXPECT_EQ(numbers(), (std::vector<int>{0, 5, 6}));
    EXPECT_EQ(zero->flags, unsigned(QLM_PRIMARY));
    EXPECT_EQ(qlm_id_writable(five), 1);
    EXPECT_EQ(qlm_id_writable(six), 0);
    EXPECT_EQ(six->nextlib, zero);
    EXPECT_EQ(zero->nextlib, five);
    EXPECT_EQ(five->nextlib, nullptr);
    // The library's directories are visited by rank, all of them.
    std::vector<kqLibDirectory*> walked;
    for (kqLibDirectory* e = qlm_id_next_libdir(nullptr, "Lib"); e;
         e = qlm_id_next_libdir(e, "lib"))
        walked.push_back(e);
    EXPECT_EQ(walked, (std::vector<kqLibDirectory*>{zero, five, six}));
    EXPECT_EQ(qlm_library_exists("LiB"), 1);
    EXPECT_EQ(qlm_library_exists("li"), 0);
}

}  // namespace
