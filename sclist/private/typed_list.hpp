// The callbacks of a list of records, written once: a module that owns a record kind names its key members.
//
//     constexpr auto _dhcp_size = record_size<vantu_ll_dhcp>;
//     constexpr auto _dhcp_seeker = seek_text<&vantu_ll_dhcp::mac_address, &vantu_ll_dhcp::ip_address>;
//     constexpr auto _dhcp_comparator = compare_text<&vantu_ll_dhcp::mac_address>;
//
//     return init_typed_list(list, _dhcp_size, _dhcp_seeker, _dhcp_comparator);
//
// Keys are sought without regard to case (a MAC is written in either), records are equal only when their texts
// are identical; the difference is deliberate.
#pragma once

#include "vantu-sclist/sclist.h"

#include <cstddef>
#include <cstring>
#include <strings.h>
#include <type_traits>

namespace vantu
{

template <typename Member>
struct member_owner;
template <typename Record, typename Field>
struct member_owner<Field Record::*> {
    using type = Record;
};

// The record type that a pointer to member belongs to.
template <auto Member>
using owner_of = typename member_owner<decltype(Member)>::type;

template <typename Record>
size_t record_size(const void *)
{
    static_assert(std::is_trivially_copyable_v<Record>, "a list copies its records byte for byte");
    return sizeof(Record);
}

// Matches when any of the text members, tried in order, equals the key text, ignoring case.
template <auto First, auto... More>
int seek_text(const void *element, const void *key)
{
    const auto *record = static_cast<const owner_of<First> *>(element);
    const auto *text = static_cast<const char *>(key);
    return strcasecmp(record->*First, text) == 0 || (... || (strcasecmp(record->*More, text) == 0)) ? 1 : 0;
}

template <auto Member>
int compare_text(const void *a, const void *b)
{
    using record = owner_of<Member>;
    return strcmp(static_cast<const record *>(a)->*Member, static_cast<const record *>(b)->*Member);
}

// An empty list that copies its records. 0, or -1 when memory is short.
inline int init_typed_list(sclist_t *list, element_meter size, element_seeker seeker = nullptr,
                           element_comparator comparator = nullptr)
{
    if (sclist_init(list) != 0 || sclist_attributes_copy(list, size, 1) != 0)
        return -1;
    (void)sclist_attributes_seeker(list, seeker);
    (void)sclist_attributes_comparator(list, comparator);
    return 0;
}

} // namespace vantu
