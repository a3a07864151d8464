// Host values from the kernel's node name and the identity files of the
// machine.
#include "kssysinfo.h"

#include <fcntl.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

namespace {

using File = std::unique_ptr<FILE, decltype(&std::fclose)>;

uint32_t fnv1a(const std::string& text) {
    uint32_t h = 2166136261u;
    for (unsigned char c : text) {
        h ^= c;
        h *= 16777619u;
    }
    return h;
}

std::string nodeName() {
    struct utsname u;
    if (uname(&u) != 0) return {};
    return std::string(u.nodename, strnlen(u.nodename, sizeof u.nodename));
}

// The identifier the system administrator set: four bytes in the
// machine's order, as the C library's sethostid writes them.
bool setHostid(uint32_t* id) {
    File f{std::fopen("/etc/hostid", "rb"), &std::fclose};
    unsigned char raw[5];
    if (!f || std::fread(raw, 1, sizeof raw, f.get()) != 4) return false;
    std::memcpy(id, raw, 4);
    return *id != 0;
}

// The machine id that the system made at installation: 32 hex digits.
bool machineId(uint32_t* id) {
    // One read of the short file, without a stream's look at its size.
    int fd = open("/etc/machine-id", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char line[64];
    ssize_t got = read(fd, line, sizeof line - 1);
    close(fd);
    if (got <= 0) return false;
    line[got] = '\0';
    std::string text(line, std::strcspn(line, "\n"));
    if (text.size() < 16) return false;
    *id = fnv1a(text);
    return true;
}

// The first of: the administrator's identifier, the machine id, the node
// name; never 0, which callers read as no identifier.
std::string hostSerial() {
    uint32_t id = 0;
    if (!setHostid(&id) && !machineId(&id)) {
        std::string node = nodeName();
        if (node.empty()) return {};
        id = fnv1a(node);
    }
    if (id == 0) id = 1;
    return std::to_string(id);
}

}  // namespace

long ksSysinfo(int command, char* buf, long count) {
    std::string value;
    switch (command) {
        case KS_SI_HOSTNAME:
            value = nodeName();
            break;
        case KS_SI_HW_SERIAL:
            value = hostSerial();
            break;
        default:
            return -1;
    }
    if (value.empty()) return -1;
    if (buf && count > 0) {
        size_t n = std::min(value.size(), static_cast<size_t>(count - 1));
        std::memcpy(buf, value.data(), n);
        buf[n] = '\0';
    }
    return static_cast<long>(value.size() + 1);
}
