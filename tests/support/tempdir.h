// Scoped helpers for tests: a fresh temporary directory, removed with
// everything in it when the test ends; a changed working directory; a
// changed environment variable.
#pragma once
#include <optional>
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

// Changes the working directory for the life of the guard; the path
// layer's remembered default directory is dropped at both changes.
class ChdirGuard {
public:
    explicit ChdirGuard(const std::string& dir);
    ~ChdirGuard();
    ChdirGuard(const ChdirGuard&) = delete;
    ChdirGuard& operator=(const ChdirGuard&) = delete;

private:
    std::string old_;
};

// Sets (or, with null, unsets) an environment variable for the life of the
// guard, and then puts the old value back.
class EnvGuard {
public:
    EnvGuard(const char* name, const char* value);
    ~EnvGuard();
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;

private:
    std::string name_;
    std::optional<std::string> old_;
};
