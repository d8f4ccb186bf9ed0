// Flows as members of kernel ipsets: see vantu-libs2/ipsethelpers.h. "ipset list vantuvi":
//
//     Name: vantuvi
//     Type: hash:ip,port,ip
//     Revision: 6
//     Header: family inet hashsize 1024 maxelem 65536
//     Size in memory: 312
//     References: 1
//     Number of entries: 1
//     Members:
//     203.0.113.5,udp:443,192.168.1.23

#include "vantu-libs2/ipsethelpers.h"

#include "flow_key.hpp"
#include "json.hpp"
#include "list_owner.hpp"
#include "stream.hpp"
#include "tool.hpp"
#include "typed_list.hpp"
#include "vantu-libs2/utils.h"
#include "vantu-ll-api/log.h"

#include <cerrno>

namespace
{

constexpr size_t entry_size = 128;
// Twice what a set holds unless it is told otherwise.
constexpr long most_members = 1 << 17;

constexpr auto _flow_size = vantu::record_size<vantu_flow>;

int _flow_seeker(const void *element, const void *key)
{
    char entry[entry_size];
    (void)vantu_get_ipset_entry_from_flow(static_cast<const vantu_flow *>(element), entry, sizeof(entry));
    return strcasecmp(entry, static_cast<const char *>(key)) == 0 ? 1 : 0;
}

int _flow_comparator(const void *a, const void *b)
{
    const auto &first = *static_cast<const vantu_flow *>(a);
    const auto &second = *static_cast<const vantu_flow *>(b);
    const bool equal = vantu::same_address(first.src, second.src) && vantu::same_address(first.dst, second.dst) &&
                       first.dport == second.dport && first.sport == second.sport && first.proto == second.proto;
    return equal ? 0 : 1;
}

const char *protocol_of(const vantu_flow &flow)
{
    switch (flow.proto) {
    case IPPROTO_TCP:
        return "tcp";
    case IPPROTO_UDP:
        return "udp";
    default:
        return "err";
    }
}

// Takes a line of the header; false when it is none.
bool take_header(const char *line, ipset_set &set)
{
    return sscanf(line, "Name: %15s", set.name) == 1 || sscanf(line, "Type:  %15s", set.type) == 1 ||
           sscanf(line, "Revision: %u", &set.revision) == 1 || sscanf(line, "Header: %63s", set.header) == 1 ||
           sscanf(line, "Size in memory: %u", &set.size_in_memory) == 1 ||
           sscanf(line, "References: %u", &set.references) == 1 ||
           sscanf(line, "Number of entries: %u", &set.number_of_entries) == 1;
}

// Appends the texts of the reply's array "members"; -1 when there is none.
int append_members(sclist_t *list, const char *reply)
{
    const vantu::json_text root(json_tokener_parse(reply));
    json_object *members = vantu::json_member(root.get(), "members", json_type_array);
    if (members == nullptr)
        return -1;
    const size_t count = json_object_array_length(members);
    for (size_t i = 0; i < count; i++) {
        json_object *member = json_object_array_get_idx(members, i);
        if (json_object_is_type(member, json_type_string) != 0)
            (void)sclist_append(list, json_object_get_string(member));
    }
    return 0;
}

} // namespace

int vantu_flow_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, _flow_size, _flow_seeker, _flow_comparator);
}

int vantu_ipset_entry_list_init(sclist_t *list)
{
    return vantu::init_typed_list(list, sclist_meter_string, nullptr, sclist_comparator_string);
}

int vantu_get_ipset_entry_from_flow(const vantu_flow *flow, char *buffer, int length)
{
    char src[64] = "";
    char dst[64] = "";
    (void)vantu_ip_to_string(&flow->src, src, sizeof(src));
    (void)vantu_ip_to_string(&flow->dst, dst, sizeof(dst));
    return snprintf(buffer, static_cast<size_t>(length), "%s,%s:%d,%s", dst, protocol_of(*flow), flow->dport, src);
}

int ipset_add_member(const char *entry, const char *set, vantu_platform_ops *ops)
{
    return ops->ipset_add_member(entry, set, "A");
}

int ipset_remove_member(const char *entry, const char *set, vantu_platform_ops *ops)
{
    return ops->ipset_add_member(entry, set, "D");
}

int ipset_get_members(sclist_t *list, const char *set, vantu_platform_ops *ops)
{
    return ops->ipset_get_members(list, set);
}

int add_flows_to_ipset(sclist_t *flows, const char *set, vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    sclist_t members;
    const vantu::list_owner owner(members, vantu_ipset_entry_list_init);
    (void)ipset_get_members(&members, set, ops);
    int added = 0;
    SCLIST_FOREACH(vantu_flow, flow, flows) {
        char entry[entry_size];
        (void)vantu_get_ipset_entry_from_flow(flow, entry, sizeof(entry));
        if (sclist_contains(&members, entry) != 0)
            continue;
        if (ipset_add_member(entry, set, ops) == 0)
            added++;
        else
            log_error("Member already in set %s", entry);
    }
    SCLIST_FOREACH_END(flows);
    return added;
}

int clean_flows_from_ipset(sclist_t *flows, const char *set, vantu_platform_ops *ops)
{
    log_trace("%s", __func__);
    sclist_t members;
    const vantu::list_owner owner(members, vantu_ipset_entry_list_init);
    (void)ipset_get_members(&members, set, ops);
    int removed = 0;
    SCLIST_FOREACH(char, member, &members) {
        if (sclist_seek(flows, member) != nullptr)
            continue;
        if (ipset_remove_member(member, set, ops) == 0)
            removed++;
        else
            log_error("Failed to remove from set %s\n", member);
    }
    SCLIST_FOREACH_END(&members);
    return removed;
}

int vantu_ipset_cmd_add_member(const char *entry, const char *set, const char *op)
{
    const vantu::command_line<512> command("/usr/sbin/ipset -%s %s %s", op, set, entry);
    log_trace("ipset add member: running: %s", command.text());
    const int status = vantu::run_command(command);
    if (status == -1)
        log_error("command %s failed with errno %d", command.text(), errno);
    return status == 0 ? 0 : -1;
}

int internal_vantu_ipset_get_members(FILE *stream, sclist_t *list)
{
    ipset_set set = {};
    bool in_members = false;
    char line[1035];
    char member[entry_size] = "";
    vantu::line_source lines(stream, most_members);
    while (lines.next(line)) {
        if (in_members) {
            // A blank line scans nothing, and the member before it is taken again.
            (void)sscanf(line, "%127s", member);
            (void)sclist_append(list, member);
        } else if (!take_header(line, set) && strcmp(line, "Members:") != 0) {
            // The line "Members:" itself comes here, with its line end.
            in_members = true;
        }
    }
    log_trace("Got %d members", static_cast<int>(sclist_size(list)));
    return 0;
}

int vantu_ipset_cmd_get_members(sclist_t *list, const char *set)
{
    const vantu::command_line<256> command("/usr/sbin/ipset list %s", set);
    const auto report = [](const char *) { log_error("Failed to run command"); };
    FILE *stream = vantu::open_tool(command, {nullptr, -1, report});
    if (stream == nullptr)
        return -1;
    const int result = internal_vantu_ipset_get_members(stream, list);
    (void)pclose(stream);
    return result;
}

int vantu_ipset_ubuscmd_add_member(const char *entry, const char *set, const char *op)
{
    const vantu::json_request<512> request(R"({ "name": "%s","entry":"%s","operation":"%s"})", set, entry, op);
    char reply[256];
    return ubus_cmd_call("ipset", "add_member", request.text(), reply, sizeof(reply));
}

int vantu_ipset_ubuscmd_get_members(sclist_t *list, const char *set)
{
    const vantu::json_request<256> request(R"({ "name": "%s" })", set);
    char reply[10000];
    const int result = ubus_cmd_call("ipset", "list_members", request.text(), reply, sizeof(reply));
    return append_members(list, reply) == 0 ? result : -1;
}
