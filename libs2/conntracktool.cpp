// Port ranges of named services: see vantu-libs2/conntracktool.h.

#include "vantu-libs2/conntracktool.h"

#include "typed_list.hpp"

namespace
{

constexpr auto vantu_proto_port_range_size = vantu::record_size<vantu_proto_port_range>;

int vantu_proto_port_range_comparator(const void *a, const void *b)
{
    const auto *first = static_cast<const vantu_proto_port_range *>(a);
    const auto *second = static_cast<const vantu_proto_port_range *>(b);
    return first->start_port <= second->start_port ? 1 : 0;
}

} // namespace

int vantu_init_port_range_list(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu_proto_port_range_size, nullptr, vantu_proto_port_range_comparator);
}
