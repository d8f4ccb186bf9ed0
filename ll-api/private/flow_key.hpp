// What makes two connections the same flow, and an index that finds a flow of a snapshot by it.
#pragma once

#include "vantu-ll-api/vantu_ll_wrt.h"
#include "vantu-sclist/sclist.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace vantu
{

inline bool same_address(const vantu_ip &a, const vantu_ip &b)
{
    return memcmp(&a._u.ipv4, &b._u.ipv4, sizeof(a._u.ipv4)) == 0;
}

// Only the first four bytes of each address take part.
inline bool same_flow(const vantu_ll_conntrack_flow &a, const vantu_ll_conntrack_flow &b)
{
    return a.dport == b.dport && a.sport == b.sport && same_address(a.src, b.src) && same_address(a.dst, b.dst) &&
           a.proto == b.proto;
}

// An index over a list of flows, which must not change while it is used. Without memory for the index it falls back to
// locating in the list.
class flow_index
{
public:
    explicit flow_index(sclist_t &list) : list_(list)
    {
        size_t capacity = 16;
        while (capacity < 2 * static_cast<size_t>(sclist_size(&list)))
            capacity *= 2;
        slots_.reset(static_cast<slot *>(calloc(capacity, sizeof(slot))));
        if (slots_ == nullptr)
            return;
        mask_ = capacity - 1;
        const sclist_entry_s *entry = list.head_sentinel;
        // Not by the list's iterator, which the caller may be using.
        for (unsigned int i = 0; i < sclist_size(&list); i++) {
            entry = entry->next;
            auto *flow = static_cast<vantu_ll_conntrack_flow *>(entry->data);
            const uint32_t hash = hash_of(*flow);
            slot &place = at(*flow, hash);
            if (place.flow == nullptr) // the first of several stays
                place = {flow, hash};
        }
    }

    // The first flow of the list that is the same; null when there is none.
    const vantu_ll_conntrack_flow *find(const vantu_ll_conntrack_flow &flow) const
    {
        if (slots_ == nullptr)
            return static_cast<vantu_ll_conntrack_flow *>(sclist_seek(&list_, &flow));
        return at(flow, hash_of(flow)).flow;
    }

private:
    // The hash spares a look at flows that are others, which in a long list are far away in memory.
    struct slot {
        vantu_ll_conntrack_flow *flow; // null: free
        uint32_t hash;
    };
    struct releaser {
        void operator()(slot *slots) const { free(slots); }
    };

    static uint32_t hash_of(const vantu_ll_conntrack_flow &flow)
    {
        uint64_t value = static_cast<uint64_t>(flow.src._u.ipv4.s_addr) << 32 | flow.dst._u.ipv4.s_addr;
        value ^= (static_cast<uint64_t>(flow.sport) << 24 | static_cast<uint64_t>(flow.dport) << 8 | flow.proto) *
                 0x9e3779b97f4a7c15U;
        value = (value ^ value >> 32) * 0x9e3779b97f4a7c15U;
        return static_cast<uint32_t>(value ^ value >> 29);
    }

    // The slot of a flow, or the free one where it would go.
    slot &at(const vantu_ll_conntrack_flow &flow, uint32_t hash) const
    {
        for (size_t place = hash & mask_;; place = (place + 1) & mask_) {
            slot &here = slots_.get()[place];
            if (here.flow == nullptr || (here.hash == hash && same_flow(*here.flow, flow)))
                return here;
        }
    }

    sclist_t &list_;
    std::unique_ptr<slot, releaser> slots_;
    size_t mask_ = 0;
};

} // namespace vantu
