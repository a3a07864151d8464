// Host values: the node name, whole or cut to the caller's buffer, and the
// host identifier, as the path layer hands them on.
#include "kssysinfo.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <string>

#include "kspath.h"

TEST(HostValues, NameAndIdentifier) {
    struct utsname u;
    ASSERT_EQ(uname(&u), 0);
    const std::string node = u.nodename;
    const long need = static_cast<long>(node.size() + 1);
    char small[3] = "xx";
    EXPECT_EQ(ksSysinfo(KS_SI_HOSTNAME, small, sizeof small), need);
    EXPECT_EQ(std::string(small), node.substr(0, 2));
    EXPECT_EQ(ksSysinfo(99, small, sizeof small), -1);
    EXPECT_EQ(std::string(ksGethostname()), node.size() < 64 ? node : "localhost");
    char serial[24];
    ASSERT_GT(ksSysinfo(KS_SI_HW_SERIAL, serial, sizeof serial), 1);
    EXPECT_EQ(ksGethostid(), std::strtoul(serial, nullptr, 10));
}
