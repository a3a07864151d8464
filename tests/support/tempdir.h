// A fresh temporary directory for one test, removed with everything in it
// when the test ends.
#pragma once
#include <string>

class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::string& path() const { return root_; }
    std::string path(const std::string& rel) const { return root_ + "/" + rel; }
    // Writes `text` to the file `rel`, making its directories.
    void write(const std::string& rel, const std::string& text) const;
    void mkdir(const std::string& rel) const;
    std::string read(const std::string& rel) const;
    bool exists(const std::string& rel) const;

private:
    std::string root_;
};

// Changes the working directory for the life of the guard.
class ChdirGuard {
public:
    explicit ChdirGuard(const std::string& dir);
    ~ChdirGuard();
    ChdirGuard(const ChdirGuard&) = delete;
    ChdirGuard& operator=(const ChdirGuard&) = delete;

private:
    std::string old_;
};
