// The registered operations and the report about them: see ops-registry.h.

#include "ops-registry.h"

#include "harness.h"
#include "platform-slots.hpp"
#include "vantu-ll-api/log.h"

#include <cstdlib>

opsfunction *opsfunc_head;

namespace
{

// The slot with a place in the registry; null behind the last.
const platform_slot *slot_at(int place)
{
    for (const platform_slot &slot : platform_slots) {
        if (slot.place == place)
            return &slot;
    }
    return nullptr;
}

} // namespace

int _check_funcptr(const char *funcname, void *funcptr)
{
    if (funcptr != nullptr)
        return 0;
    log_debug("\033[31m  function %s not implemented!\033[0m", funcname);
    return -1;
}

void add_opsfunc(const char *funcname, void *func_ptr)
{
    auto *record = static_cast<opsfunction *>(calloc(1, sizeof(opsfunction)));
    if (record == nullptr) {
        log_error("no memory to register %s", funcname);
        return;
    }
    record->funcname = funcname;
    record->func_ptr = func_ptr;
    record->next = opsfunc_head;
    opsfunc_head = record;
}

void fill_opsfunc_table(vantu_platform_ops *ops)
{
    for (int place = 0; const platform_slot *slot = slot_at(place); place++)
        add_opsfunc(slot->registered_as, slot->value(*ops));
}

void _print_ops(const opsfunction *record)
{
    if (record->func_ptr != nullptr)
        log_debug("%-30s %d", record->funcname, 1);
    else
        log_warn("%-30s %d", record->funcname, 0);
}

int test_ops_inis(vantu_platform_ops *ops)
{
    (void)ops;
    log_debug("function pointers after platform_platform_init_ops(): (1=set, 0=not set)");
    for (const opsfunction *record = opsfunc_head; record != nullptr; record = record->next)
        _print_ops(record);
    return 0;
}

void free_opsfuncs(void)
{
    for (opsfunction *record = opsfunc_head; record != nullptr;) {
        opsfunction *next = record->next;
        free(record);
        record = next;
    }
}
