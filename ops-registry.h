// The operations that the platform provides, under their names, and the report about them.
#ifndef VANTU_OPS_REGISTRY_H
#define VANTU_OPS_REGISTRY_H

#include "vantu-platforms/vantu-platform-ops.h"

#ifdef __cplusplus
extern "C" {
#endif

// One registered operation.
typedef struct opsfunction {
    const char *funcname;    // not owned
    void *func_ptr;          // what its slot held; null when the platform leaves it empty
    void (*test_func)(void); // no use; null
    struct opsfunction *next;
} opsfunction;

// The last registered operation: a walk from here visits them in reverse order of registration.
extern opsfunction *opsfunc_head;

// Registers a name in front of the others. Without memory for it, nothing is registered and an error is logged.
void add_opsfunc(const char *funcname, void *func_ptr);

// Registers the operations of a table, 39 of its 41 slots.
void fill_opsfunc_table(vantu_platform_ops *ops);

// Logs one record: at debug level with 1 when the operation is there, at warning level with 0 when it is not.
void _print_ops(const opsfunction *record);

// Logs every registered operation, the last registered first. Returns 0.
int test_ops_inis(vantu_platform_ops *ops);

// Frees the records. The head is not reset: nothing may be looked up afterwards.
void free_opsfuncs(void);

#ifdef __cplusplus
}
#endif

#endif
