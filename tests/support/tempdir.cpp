#include "tempdir.h"

#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "kspath.h"

namespace fs = std::filesystem;

namespace {
void setEnv(const std::string& name, const char* value) {
    value ? setenv(name.c_str(), value, 1) : unsetenv(name.c_str());
    if (name == "TZ") tzset();
}
}  // namespace

TempDir::TempDir() {
    std::string tmpl = (fs::temp_directory_path() / "entgen-test-XXXXXX").string();
    if (!mkdtemp(tmpl.data())) throw std::runtime_error("mkdtemp failed");
    root_ = tmpl;
}

TempDir::~TempDir() {
    std::error_code ec;
    // A test may leave read-only directories behind; open them up first.
    for (auto it = fs::recursive_directory_iterator(root_, ec);
         !ec && it != fs::recursive_directory_iterator(); it.increment(ec))
        fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, ec);
    fs::remove_all(root_, ec);
}

void TempDir::write(const std::string& rel, const std::string& text) const {
    fs::path p = fs::path(root_) / rel;
    fs::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << text;
}

void TempDir::mkdir(const std::string& rel) const { fs::create_directories(fs::path(root_) / rel); }

std::string TempDir::read(const std::string& rel) const {
    std::ifstream in(fs::path(root_) / rel, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

bool TempDir::exists(const std::string& rel) const { return fs::exists(fs::path(root_) / rel); }

ChdirGuard::ChdirGuard(const std::string& dir) : old_(fs::current_path().string()) {
    fs::current_path(dir);
    ksGetdefReset();
}

ChdirGuard::~ChdirGuard() {
    std::error_code ec;
    fs::current_path(old_, ec);
    ksGetdefReset();
}

EnvGuard::EnvGuard(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    setEnv(name_, value);
}

EnvGuard::~EnvGuard() { setEnv(name_, old_ ? old_->c_str() : nullptr); }
