// Host values: the node name and the host identifier, whole or cut to the
// caller's buffer, and the path layer's calls on them.
#include "kssysinfo.h"

#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdlib>
#include <string>

#include "kspath.h"

namespace {

TEST(HostValues, TheNodeNameWholeOrCut) {
    struct utsname u;
    ASSERT_EQ(uname(&u), 0);
    const std::string node = u.nodename;
    char buf[256];
    EXPECT_EQ(ksSysinfo(KS_SI_HOSTNAME, buf, sizeof buf), static_cast<long>(node.size() + 1));
    EXPECT_EQ(buf, node);
    // A short buffer takes what fits; the result tells the whole size.
    char small[3] = "xx";
    EXPECT_EQ(ksSysinfo(KS_SI_HOSTNAME, small, sizeof small), static_cast<long>(node.size() + 1));
    EXPECT_EQ(std::string(small), node.substr(0, 2));
    EXPECT_EQ(ksSysinfo(99, buf, sizeof buf), -1);
    if (node.size() < 64) {
        EXPECT_EQ(std::string(ksGethostname()), node);
    }
}

TEST(HostValues, TheIdentifierIsANumberThatStays) {
    char text[24];
    long need = ksSysinfo(KS_SI_HW_SERIAL, text, sizeof text);
    ASSERT_GT(need, 1);
    ASSERT_LE(need, 11);  // an unsigned 32-bit number
    EXPECT_EQ(ksGethostid(), std::strtoul(text, nullptr, 10));
    EXPECT_NE(ksGethostid(), 0u);
    EXPECT_EQ(ksGethostid(), ksGethostid());
}

}  // namespace
