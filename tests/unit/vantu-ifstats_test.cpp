// Interface counters, from the kernel and from interface lists made by hand.

#include "vantu-libs2/vantu-ifstats.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <dlfcn.h>
#include <ifaddrs.h>
#include <linux/if_link.h>
#include <netinet/in.h>
#include <sstream>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

// What getifaddrs answers.
enum class source { kernel, made_up, failure };
source answer = source::kernel;
ifaddrs *made_up_list = nullptr;
int lists_taken = 0;
int lists_given_back = 0;

} // namespace

// Stand before the C library's functions of these names.
extern "C" int getifaddrs(ifaddrs **all) noexcept
{
    if (answer == source::failure) {
        errno = ENOMEM;
        return -1;
    }
    lists_taken++;
    if (answer == source::made_up) {
        *all = made_up_list;
        return 0;
    }
    static const auto real = reinterpret_cast<int (*)(ifaddrs **)>(dlsym(RTLD_NEXT, "getifaddrs"));
    return real(all);
}

extern "C" void freeifaddrs(ifaddrs *all) noexcept
{
    lists_given_back++;
    static const auto real = reinterpret_cast<void (*)(ifaddrs *)>(dlsym(RTLD_NEXT, "freeifaddrs"));
    if (answer == source::kernel)
        real(all);
}

namespace
{

class IfStats : public testing::Test
{
protected:
    void SetUp() override
    {
        answer = source::kernel;
        lists_taken = lists_given_back = 0;
    }
    void TearDown() override
    {
        EXPECT_EQ(lists_given_back, lists_taken);
        answer = source::kernel;
    }
};

using IfStatsDeathTest = IfStats;

bool is_zero(const vantu_byte_stats &stats)
{
    return stats.tx_bytes == 0 && stats.rx_bytes == 0 && stats.tx_pkts == 0 && stats.rx_pkts == 0;
}

// The counters of "/proc/net/dev", in 64 bits; false when the interface is not there.
bool read_proc(const std::string &ifname, vantu_byte_stats &out)
{
    std::ifstream file("/proc/net/dev");
    for (std::string line; std::getline(file, line);) {
        const size_t colon = line.find(':');
        if (colon == std::string::npos || line.substr(0, colon).find_last_of(' ') + 1 + ifname.size() != colon ||
            line.compare(colon - ifname.size(), ifname.size(), ifname) != 0)
            continue;
        std::istringstream columns(line.substr(colon + 1));
        uint64_t ignored = 0;
        columns >> out.rx_bytes >> out.rx_pkts;
        for (int i = 0; i < 6; i++)
            columns >> ignored;
        columns >> out.tx_bytes >> out.tx_pkts;
        return !columns.fail();
    }
    return false;
}

// `counter`, the low 32 bits of a counter that grows, lies between two readings of it in 64 bits.
bool lies_between(uint64_t before, uint64_t counter, uint64_t after)
{
    return counter <= UINT32_MAX && ((counter - before) & UINT32_MAX) <= after - before;
}

TEST_F(IfStats, OfAnUnknownInterfaceAreZero)
{
    for (const char *name : {"no-such-if0", "", "l", "lo0", "LO", "lo "}) {
        const vantu_byte_stats *stats = vantu_get_if_stats(name);
        ASSERT_NE(stats, nullptr) << name;
        EXPECT_TRUE(is_zero(*stats)) << name;
    }
}

TEST_F(IfStats, OfAnUnknownInterfaceAreZeroAfterThoseOfAKnownOne)
{
    const vantu_byte_stats *stats = vantu_get_if_stats("lo");
    (void)vantu_get_if_stats("no-such-if0");
    EXPECT_TRUE(is_zero(*stats));
}

TEST_F(IfStats, AreTheModulesRecordEachTime)
{
    EXPECT_EQ(vantu_get_if_stats("lo"), vantu_get_if_stats("no-such-if0"));
}

TEST_F(IfStats, OfTheLoopbackAreTheKernelsLow32Bits)
{
    vantu_byte_stats before = {};
    vantu_byte_stats after = {};
    if (!read_proc("lo", before))
        GTEST_SKIP() << "no loopback interface";
    const vantu_byte_stats got = *vantu_get_if_stats("lo");
    ASSERT_TRUE(read_proc("lo", after));
    EXPECT_TRUE(lies_between(before.tx_bytes, got.tx_bytes, after.tx_bytes)) << got.tx_bytes;
    EXPECT_TRUE(lies_between(before.rx_bytes, got.rx_bytes, after.rx_bytes)) << got.rx_bytes;
    EXPECT_TRUE(lies_between(before.tx_pkts, got.tx_pkts, after.tx_pkts)) << got.tx_pkts;
    EXPECT_TRUE(lies_between(before.rx_pkts, got.rx_pkts, after.rx_pkts)) << got.rx_pkts;
}

TEST_F(IfStats, OfTheLoopbackGrowByWhatIsSentOverIt)
{
    const int receiver = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (bind(receiver, reinterpret_cast<const sockaddr *>(&address), length) != 0) {
        (void)close(receiver);
        GTEST_SKIP() << "the loopback interface is down";
    }
    ASSERT_EQ(getsockname(receiver, reinterpret_cast<sockaddr *>(&address), &length), 0);

    const vantu_byte_stats before = *vantu_get_if_stats("lo");
    const char datagram[1000] = {};
    char received[1000];
    for (int i = 0; i < 10; i++) {
        ASSERT_EQ(sendto(receiver, datagram, sizeof(datagram), 0, reinterpret_cast<const sockaddr *>(&address), length),
                  static_cast<ssize_t>(sizeof(datagram)));
        ASSERT_EQ(recv(receiver, received, sizeof(received), 0), static_cast<ssize_t>(sizeof(received)));
    }
    const vantu_byte_stats after = *vantu_get_if_stats("lo");
    (void)close(receiver);
    EXPECT_GE((after.tx_bytes - before.tx_bytes) & UINT32_MAX, 10000U);
    EXPECT_GE((after.rx_bytes - before.rx_bytes) & UINT32_MAX, 10000U);
    EXPECT_GE((after.tx_pkts - before.tx_pkts) & UINT32_MAX, 10U);
    EXPECT_GE((after.rx_pkts - before.rx_pkts) & UINT32_MAX, 10U);
}

// One entry of a list made by hand.
struct entry {
    const char *name;
    int family; // 0: no address
    bool has_counters;
    rtnl_link_stats counters;
};

// The answer for "wan" when getifaddrs gives `entries`.
vantu_byte_stats of_wan(std::vector<entry> entries)
{
    std::vector<sockaddr> addresses(entries.size());
    std::vector<ifaddrs> list(entries.size());
    for (size_t i = 0; i < entries.size(); i++) {
        addresses[i].sa_family = static_cast<sa_family_t>(entries[i].family);
        list[i] = {};
        list[i].ifa_next = i + 1 < entries.size() ? &list[i + 1] : nullptr;
        list[i].ifa_name = const_cast<char *>(entries[i].name);
        list[i].ifa_addr = entries[i].family != 0 ? &addresses[i] : nullptr;
        list[i].ifa_data = entries[i].has_counters ? &entries[i].counters : nullptr;
    }
    made_up_list = list.empty() ? nullptr : list.data();
    answer = source::made_up;
    return *vantu_get_if_stats("wan");
}

rtnl_link_stats counters(uint32_t tx_bytes, uint32_t rx_bytes, uint32_t tx_packets, uint32_t rx_packets)
{
    rtnl_link_stats out;
    memset(&out, 0x5a, sizeof(out)); // what does not count
    out.tx_bytes = tx_bytes;
    out.rx_bytes = rx_bytes;
    out.tx_packets = tx_packets;
    out.rx_packets = rx_packets;
    return out;
}

TEST_F(IfStats, ComeFromTheEntryWithTheNameTheFamilyAndCounters)
{
    const rtnl_link_stats right = counters(1, 2, 3, 4);
    const rtnl_link_stats wrong = counters(5, 6, 7, 8);
    const struct {
        const char *name;
        std::vector<entry> entries;
        bool found;
    } rows[] = {
        {"no entry", {}, false},
        {"the entry", {{"wan", AF_PACKET, true, right}}, true},
        {"no address", {{"wan", 0, true, wrong}}, false},
        {"another name", {{"wan0", AF_PACKET, true, wrong}}, false},
        {"name in capitals", {{"WAN", AF_PACKET, true, wrong}}, false},
        {"another family", {{"wan", AF_INET, true, wrong}}, false},
        {"another family, IPv6", {{"wan", AF_INET6, true, wrong}}, false},
        {"no counters", {{"wan", AF_PACKET, false, wrong}}, false},
        {"first of several", {{"wan", AF_PACKET, true, right}, {"lan", AF_PACKET, true, wrong}}, true},
        {"behind others of its name",
         {{"wan", 0, true, wrong},
          {"wan", AF_INET, true, wrong},
          {"wan", AF_PACKET, false, wrong},
          {"lan", AF_PACKET, true, wrong},
          {"wan", AF_PACKET, true, right}},
         true},
        {"before others of its name",
         {{"wan", AF_PACKET, true, right}, {"wan", AF_INET, true, wrong}, {"wan", AF_PACKET, false, wrong}},
         true},
    };
    for (const auto &row : rows) {
        const vantu_byte_stats got = of_wan(row.entries);
        EXPECT_EQ(got.tx_bytes, row.found ? 1U : 0U) << row.name;
        EXPECT_EQ(got.rx_bytes, row.found ? 2U : 0U) << row.name;
        EXPECT_EQ(got.tx_pkts, row.found ? 3U : 0U) << row.name;
        EXPECT_EQ(got.rx_pkts, row.found ? 4U : 0U) << row.name;
    }
}

TEST_F(IfStats, AreWidenedWithoutSign)
{
    const vantu_byte_stats got =
        of_wan({{"wan", AF_PACKET, true, counters(UINT32_MAX, 0x80000000, 0xfffffffe, 0x7fffffff)}});
    EXPECT_EQ(got.tx_bytes, 4294967295U);
    EXPECT_EQ(got.rx_bytes, 2147483648U);
    EXPECT_EQ(got.tx_pkts, 4294967294U);
    EXPECT_EQ(got.rx_pkts, 2147483647U);
}

TEST_F(IfStatsDeathTest, WhenGetifaddrsFailsTheProcessEndsWithStatusOneAndAMessage)
{
    answer = source::failure;
    EXPECT_EXIT((void)vantu_get_if_stats("lo"), testing::ExitedWithCode(1), "ERROR.* getifaddrs\n");
}

// Descriptors that ran out are what makes it fail in practice.
[[noreturn]] void ask_without_descriptors()
{
    // A search for leaks at the end of the process would want to open files.
    (void)on_exit([](int status, void *) { _exit(status); }, nullptr);
    support::forbid_new_descriptors();
    (void)vantu_get_if_stats("lo");
    _exit(0);
}

TEST_F(IfStatsDeathTest, WithoutDescriptorsTheProcessEndsWithStatusOne)
{
    EXPECT_EXIT(ask_without_descriptors(), testing::ExitedWithCode(1), "getifaddrs\n");
}

} // namespace
