// The netlink reader's callbacks over entries made by hand; the dump of a live kernel is tested in the gateway.

#include "nf_conntrack/nf_conntrack.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include <arpa/inet.h>
#include <cstring>
#include <endian.h>
#include <gtest/gtest.h>
#include <linux/netfilter/nfnetlink.h>
#include <linux/netfilter/nfnetlink_conntrack.h>
#include <linux/netlink.h>

namespace
{

struct entry_deleter {
    void operator()(nf_conntrack *ct) const { nfct_destroy(ct); }
};
using entry = std::unique_ptr<nf_conntrack, entry_deleter>;

// Appends attributes to a message as the kernel lays them out.
class message
{
public:
    message()
    {
        header()->nlmsg_len = NLMSG_LENGTH(sizeof(nfgenmsg));
        header()->nlmsg_type = (NFNL_SUBSYS_CTNETLINK << 8) | IPCTNL_MSG_CT_NEW;
    }

    nlattr *begin(uint16_t type)
    {
        auto *attribute = reinterpret_cast<nlattr *>(bytes_ + header()->nlmsg_len);
        attribute->nla_type = type;
        attribute->nla_len = NLA_HDRLEN;
        header()->nlmsg_len += NLA_HDRLEN;
        return attribute;
    }
    void end(nlattr *attribute)
    {
        const auto *from = reinterpret_cast<const char *>(attribute);
        attribute->nla_len = static_cast<uint16_t>(bytes_ + header()->nlmsg_len - from);
    }
    template <typename T>
    void add(uint16_t type, T value)
    {
        nlattr *attribute = begin(type);
        memcpy(bytes_ + header()->nlmsg_len, &value, sizeof(value));
        header()->nlmsg_len += sizeof(value);
        end(attribute);
    }
    void add_counters(uint16_t direction, uint64_t packets, uint64_t count)
    {
        nlattr *counters = begin(static_cast<uint16_t>(direction | NLA_F_NESTED));
        add(CTA_COUNTERS_PACKETS, htobe64(packets));
        add(CTA_COUNTERS_BYTES, htobe64(count));
        end(counters);
    }
    nlmsghdr *header() { return reinterpret_cast<nlmsghdr *>(bytes_); }

private:
    alignas(nlmsghdr) char bytes_[512] = {};
};

// Counters and the use count cannot be set by hand: they come from the kernel only.
void set_what_only_the_kernel_sets(nf_conntrack *ct)
{
    message answer;
    answer.add_counters(CTA_COUNTERS_ORIG, 10, 1ULL << 40);
    answer.add_counters(CTA_COUNTERS_REPLY, 20, 2ULL << 40);
    answer.add(CTA_USE, htonl(0x10002U));
    ASSERT_EQ(0, nfct_nlmsg_parse(answer.header(), ct));
}

entry new_entry(uint8_t family, uint8_t proto)
{
    entry ct(nfct_new());
    nfct_set_attr_u8(ct.get(), ATTR_L3PROTO, family);
    nfct_set_attr_u8(ct.get(), ATTR_L4PROTO, proto);
    nfct_set_attr_u16(ct.get(), ATTR_PORT_SRC, htons(50000));
    nfct_set_attr_u16(ct.get(), ATTR_PORT_DST, htons(443));
    set_what_only_the_kernel_sets(ct.get());
    nfct_set_attr_u8(ct.get(), ATTR_TCP_STATE, 3);
    nfct_set_attr_u32(ct.get(), ATTR_MARK, 0x80000001U);
    return ct;
}

entry ipv4_entry(uint8_t proto)
{
    entry ct = new_entry(AF_INET, proto);
    nfct_set_attr_u32(ct.get(), ATTR_IPV4_SRC, inet_addr("192.168.1.23"));
    nfct_set_attr_u32(ct.get(), ATTR_IPV4_DST, inet_addr("203.0.113.5"));
    return ct;
}

entry ipv6_entry(uint8_t proto)
{
    entry ct = new_entry(AF_INET6, proto);
    in6_addr address;
    inet_pton(AF_INET6, "2001:db8::1:23", &address);
    nfct_set_attr(ct.get(), ATTR_IPV6_SRC, &address);
    inet_pton(AF_INET6, "2001:db8:f::5", &address);
    nfct_set_attr(ct.get(), ATTR_IPV6_DST, &address);
    return ct;
}

std::string text(const vantu_ip &ip)
{
    char buffer[INET6_ADDRSTRLEN];
    return vantu_ip_to_string(&ip, buffer, sizeof(buffer));
}

class NfConntrack : public ::testing::Test
{
protected:
    sclist_t flows;
    vantu::list_owner owner{flows, vantu_ll_wrt_conntrack_list_init};

    const vantu_ll_conntrack_flow &flow(unsigned int index)
    {
        return *static_cast<vantu_ll_conntrack_flow *>(sclist_get_at(&flows, index));
    }
};

TEST_F(NfConntrack, AnIpv4ConnectionIsTakenWithEveryField)
{
    EXPECT_EQ(NFCT_CB_CONTINUE, cb_ipv4only(NFCT_T_UPDATE, ipv4_entry(IPPROTO_TCP).get(), &flows));
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ(4, flow(0).src.ip_version);
    EXPECT_EQ(4, flow(0).dst.ip_version);
    EXPECT_EQ("192.168.1.23", text(flow(0).src));
    EXPECT_EQ("203.0.113.5", text(flow(0).dst));
    EXPECT_EQ(IPPROTO_TCP, flow(0).proto);
    EXPECT_EQ(10U, flow(0).tx_packets);
    EXPECT_EQ(1ULL << 40, flow(0).tx_bytes);
    EXPECT_EQ(20U, flow(0).rx_packets);
    EXPECT_EQ(2ULL << 40, flow(0).rx_bytes);
    EXPECT_EQ(3U, flow(0).tcp_state);
    EXPECT_EQ(0x80000001U, flow(0).mark);
    EXPECT_EQ(0U, flow(0).zone);
    EXPECT_EQ(0, flow(0).has_delta);
}

TEST_F(NfConntrack, AnIpv6ConnectionKeepsItsSixteenByteAddresses)
{
    EXPECT_EQ(NFCT_CB_CONTINUE, cb_ipv6only(NFCT_T_UPDATE, ipv6_entry(IPPROTO_TCP).get(), &flows));
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ(6, flow(0).src.ip_version);
    EXPECT_EQ(6, flow(0).dst.ip_version);
    EXPECT_EQ("2001:db8::1:23", text(flow(0).src));
    EXPECT_EQ("2001:db8:f::5", text(flow(0).dst));
    EXPECT_EQ(3U, flow(0).tcp_state);
}

TEST_F(NfConntrack, PortsAreInHostByteOrder)
{
    (void)cb_ipv4only(NFCT_T_UPDATE, ipv4_entry(IPPROTO_UDP).get(), &flows);
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ(50000, flow(0).sport);
    EXPECT_EQ(443, flow(0).dport);
}

TEST_F(NfConntrack, TheTcpStateOfOtherProtocolsIsZeroWhateverTheEntryHolds)
{
    (void)cb_ipv4only(NFCT_T_UPDATE, ipv4_entry(IPPROTO_UDP).get(), &flows);
    (void)cb_ipv6only(NFCT_T_UPDATE, ipv6_entry(IPPROTO_UDP).get(), &flows);
    ASSERT_EQ(2U, sclist_size(&flows));
    EXPECT_EQ(0U, flow(0).tcp_state);
    EXPECT_EQ(0U, flow(1).tcp_state);
}

TEST_F(NfConntrack, TheUseCountKeepsItsLowSixteenBits)
{
    (void)cb_ipv4only(NFCT_T_UPDATE, ipv4_entry(IPPROTO_TCP).get(), &flows);
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ(2, flow(0).use);
}

TEST_F(NfConntrack, IcmpAndIgmpAreLeftOutInEitherFamilyAndIcmpv6IsKept)
{
    for (const uint8_t proto : {IPPROTO_ICMP, IPPROTO_IGMP}) {
        EXPECT_EQ(NFCT_CB_CONTINUE, cb_ipv4only(NFCT_T_UPDATE, ipv4_entry(proto).get(), &flows));
        EXPECT_EQ(NFCT_CB_CONTINUE, cb_ipv6only(NFCT_T_UPDATE, ipv6_entry(proto).get(), &flows));
    }
    EXPECT_EQ(0U, sclist_size(&flows));
    (void)cb_ipv6only(NFCT_T_UPDATE, ipv6_entry(IPPROTO_ICMPV6).get(), &flows);
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ(IPPROTO_ICMPV6, flow(0).proto);
}

TEST_F(NfConntrack, AnEntryWithoutPortsAndCountersHasZeroesThere)
{
    const entry bare(nfct_new());
    nfct_set_attr_u8(bare.get(), ATTR_L4PROTO, 47);
    (void)cb_ipv4only(NFCT_T_UPDATE, bare.get(), &flows);
    ASSERT_EQ(1U, sclist_size(&flows));
    EXPECT_EQ("0.0.0.0", text(flow(0).src));
    EXPECT_EQ(0, flow(0).sport);
    EXPECT_EQ(0, flow(0).dport);
    EXPECT_EQ(0U, flow(0).tx_packets);
    EXPECT_EQ(0U, flow(0).rx_bytes);
    EXPECT_EQ(0U, flow(0).mark);
}

// Runs in a child, since the limit cannot be lifted again.
int read_without_descriptors(const char *wanted_line)
{
    sclist_t flows;
    (void)vantu_ll_wrt_conntrack_list_init(&flows);
    const vantu_ll_conntrack_flow old = {};
    (void)sclist_append(&flows, &old);

    support::forbid_new_descriptors();
    support::log_capture log;
    const int result = nfconntrack_get_conntrack(&flows, nullptr, 10);
    const bool as_wanted =
        result == -1 && sclist_size(&flows) == 0 && log.lines.size() == 1 && log.lines[0] == wanted_line;
    sclist_destroy(&flows);
    return as_wanted ? 0 : 1;
}

TEST(NfConntrackReader, WithoutANetlinkSocketTheListIsEmptyAndTheResultIsMinusOne)
{
    EXPECT_EXIT(_exit(read_without_descriptors("ERROR nfct_open failed")), ::testing::ExitedWithCode(0), "");
}

} // namespace
