// The client devices of the gateway as CSV: a program in C that stands on the installed library.

#include <vantu-libs2/csv.h>
#include <vantu-libs2/sclists-functions.h>
#include <vantu-libs2/vantu-wifi-common.h>
#include <vantu-ll-api/log.h>
#include <vantu-platforms/vantu-platform-ops.h>

#include <stdio.h>

static void print_devices(sclist_t *devices)
{
    vantu_common_device one;
    sclist_t columns;
    char line[4096];
    (void)vantu_csv_init_csv_table(&columns);
    (void)vantu_csv_add_sized_table_row(&columns, "mac", VANTU_TYPE_STRING, one.mac, sizeof(one.mac), VANTU_OPR_NONE);
    (void)vantu_csv_add_sized_table_row(&columns, "interface", VANTU_TYPE_STRING, one.interface, sizeof(one.interface),
                                        VANTU_OPR_NONE);
    (void)vantu_csv_get_header(&columns, line);
    (void)printf("%s\n", line);
    SCLIST_FOREACH(vantu_common_device, device, devices) {
        one = *device;
        (void)vantu_csv_table_to_csv(&columns, line);
        (void)printf("%s\n", line);
    }
    SCLIST_FOREACH_END(devices);
    sclist_destroy(&columns);
}

int main(void)
{
    vantu_platform_ops ops;
    sclist_t devices;
    log_set_level(LOG_C_ERROR);
    if (vantu_platform_ops_init(&ops, "") != 0 || vantu_common_device_list_init(&devices) != 0)
        return 1;
    // What the platform copied is what the table holds, whether it is linked in or loaded.
    if (global_ops.get_associated_devices != ops.get_associated_devices)
        return 1;
    (void)ops.get_associated_devices(&devices);
    print_devices(&devices);
    (void)vantu_common_device_list_free(&devices);
    (void)ops.system_destroy();
    return vantu_platform_ops_close(&ops);
}
