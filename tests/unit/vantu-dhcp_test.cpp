// The lease lookups: which lease a text finds, and what is copied of it.

#include "vantu-libs2/vantu-dhcp.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-ll-api/listinits.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

using namespace support;

namespace
{

vantu_ll_dhcp lease_of(const std::string &mac, const std::string &ip, const std::string &hostname, uint32_t expires = 0)
{
    vantu_ll_dhcp lease = {};
    put(lease.mac_address, mac);
    put(lease.ip_address, ip);
    put(lease.hostname, hostname);
    lease.expires = expires;
    return lease;
}

struct leases : sclist_t {
    leases() : owner(*this, vantu_ll_wrt_dhcp_list_init) {}
    void add(const vantu_ll_dhcp &lease) { ASSERT_EQ(sclist_append(this, &lease), 1); }
    vantu::list_owner owner;
};

class Leases : public testing::Test
{
protected:
    void SetUp() override
    {
        list.add(lease_of("02:00:00:00:00:aa", "192.0.2.1", "tablet", 11));
        list.add(lease_of("02:00:00:00:00:BB", "2001:db8::AB", "phone", 22));
        list.add(lease_of("02:00:00:00:00:bb", "192.0.2.3", "the same MAC again", 33));
        list.add(lease_of("02:00:00:00:00:cc", "192.0.2.1", "the same address again", 44));
        list.add(lease_of("192.0.2.9", "02:00:00:00:00:dd", "swapped", 55));
    }

    leases list;
};

const struct {
    const char *key;
    const char *hostname; // null: nothing is found
} lookups[] = {
    {"02:00:00:00:00:aa", "tablet"},
    {"02:00:00:00:00:AA", "tablet"},
    {"192.0.2.1", "tablet"},
    {"02:00:00:00:00:bb", "phone"},
    {"2001:db8::ab", "phone"},
    {"2001:DB8::AB", "phone"},
    {"192.0.2.3", "the same MAC again"},
    {"02:00:00:00:00:cc", "the same address again"},
    {"192.0.2.9", "swapped"},
    {"02:00:00:00:00:DD", "swapped"},
    {"", nullptr},
    {"192.0.2", nullptr},
    {"192.0.2.11", nullptr},
    {" 192.0.2.1", nullptr},
    {"tablet", nullptr},
    {"2001:db8:0::ab", nullptr}, // the same address in another text
};

TEST_F(Leases, AreFoundByMacOrAddressInAnyCaseAndCopiedWhole)
{
    for (const auto &row : lookups) {
        vantu_ll_dhcp found = lease_of("old mac", "old ip", "old name", 99);
        const int result = _vantu_utils_get_dhcp_device_by_key(&list, row.key, &found);
        EXPECT_EQ(result, row.hostname != nullptr ? 0 : -1) << row.key;
        EXPECT_STREQ(found.hostname, row.hostname != nullptr ? row.hostname : "old name") << row.key;
        const vantu_ll_dhcp *stored = nullptr;
        for (unsigned int i = 0; i < sclist_size(&list); i++) {
            const auto *lease = static_cast<const vantu_ll_dhcp *>(sclist_get_at(&list, i));
            if (strcmp(lease->hostname, found.hostname) == 0)
                stored = lease;
        }
        if (row.hostname == nullptr) {
            EXPECT_STREQ(found.mac_address, "old mac") << row.key;
            EXPECT_STREQ(found.ip_address, "old ip") << row.key;
            EXPECT_EQ(found.expires, 99U) << row.key;
        } else {
            ASSERT_NE(stored, nullptr) << row.key;
            EXPECT_STREQ(found.mac_address, stored->mac_address) << row.key;
            EXPECT_STREQ(found.ip_address, stored->ip_address) << row.key;
            EXPECT_EQ(found.expires, stored->expires) << row.key;
        }
    }
}

TEST_F(Leases, MacByIpTakesEitherKeyAndLeavesTheTextWhenNothingIsFound)
{
    const struct {
        const char *key;
        const char *mac; // null: nothing is found
    } rows[] = {
        {"192.0.2.1", "02:00:00:00:00:aa"},
        {"2001:DB8::ab", "02:00:00:00:00:BB"},
        {"02:00:00:00:00:CC", "02:00:00:00:00:cc"},
        {"02:00:00:00:00:dd", "192.0.2.9"},
        {"192.0.2.2", nullptr},
        {"", nullptr},
    };
    for (const auto &row : rows) {
        char mac[32] = "old";
        EXPECT_EQ(vantu_get_mac_by_ip(&list, row.key, mac), row.mac != nullptr ? 0 : -1) << row.key;
        EXPECT_STREQ(mac, row.mac != nullptr ? row.mac : "old") << row.key;
    }
}

TEST_F(Leases, IpByMacTakesEitherKeyAndLeavesTheTextsWhenNothingIsFound)
{
    const struct {
        const char *key;
        const char *ip; // null: nothing is found
        const char *hostname;
    } rows[] = {
        {"02:00:00:00:00:AA", "192.0.2.1", "tablet"},     {"02:00:00:00:00:bb", "2001:db8::AB", "phone"},
        {"192.0.2.3", "192.0.2.3", "the same MAC again"}, {"192.0.2.9", "02:00:00:00:00:dd", "swapped"},
        {"02:00:00:00:00:ee", nullptr, nullptr},          {"", nullptr, nullptr},
    };
    for (const auto &row : rows) {
        char ip[40] = "old ip";
        char hostname[256] = "old name";
        EXPECT_EQ(vantu_get_ip_by_mac(&list, row.key, ip, hostname), row.ip != nullptr ? 0 : -1) << row.key;
        EXPECT_STREQ(ip, row.ip != nullptr ? row.ip : "old ip") << row.key;
        EXPECT_STREQ(hostname, row.ip != nullptr ? row.hostname : "old name") << row.key;
    }
}

TEST(LeaseTexts, OfFullLengthJustFitTheBuffersThatAreAskedFor)
{
    const std::string mac_text(31, 'm');
    const std::string ip_text(39, 'i');
    const std::string name_text(255, 'n');
    leases list;
    list.add(lease_of(mac_text, ip_text, name_text));

    // From the heap, so that a write beyond the end is seen.
    const std::unique_ptr<char[]> mac(new char[32]);
    EXPECT_EQ(vantu_get_mac_by_ip(&list, ip_text.c_str(), mac.get()), 0);
    EXPECT_EQ(mac_text, mac.get());
    const std::unique_ptr<char[]> ip(new char[40]);
    const std::unique_ptr<char[]> hostname(new char[256]);
    EXPECT_EQ(vantu_get_ip_by_mac(&list, mac_text.c_str(), ip.get(), hostname.get()), 0);
    EXPECT_EQ(ip_text, ip.get());
    EXPECT_EQ(name_text, hostname.get());
}

TEST(LeaseTexts, EmptyOnesAreCopiedAsSuch)
{
    leases list;
    list.add(lease_of("02:00:00:00:00:01", "", ""));
    char ip[40] = "old";
    char hostname[256] = "old";
    EXPECT_EQ(vantu_get_ip_by_mac(&list, "02:00:00:00:00:01", ip, hostname), 0);
    EXPECT_STREQ(ip, "");
    EXPECT_STREQ(hostname, "");
}

TEST(LeaseLookups, FindNothingInAnEmptyListAndLeaveTheIteratorAlone)
{
    leases list;
    vantu_ll_dhcp lease = {};
    char text[256];
    EXPECT_EQ(_vantu_utils_get_dhcp_device_by_key(&list, "", &lease), -1);
    EXPECT_EQ(vantu_get_mac_by_ip(&list, "192.0.2.1", text), -1);
    EXPECT_EQ(vantu_get_ip_by_mac(&list, "02:00:00:00:00:01", text, text), -1);
    EXPECT_EQ(list.iter_active, 0);
}

} // namespace
