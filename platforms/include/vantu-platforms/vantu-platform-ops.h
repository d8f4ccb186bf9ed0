// The operations table: everything that the layers above know of the router, they ask through it.
//
// A null slot means that the platform does not provide the operation; a caller that may meet one tests it
// first. Unless a slot says otherwise: integer results are 0 for success and negative for failure; texts that
// are returned belong to the platform and stay valid; lists are made by the caller with the initialiser of
// their record kind, filled by appending, and freed by the caller; MAC addresses are six hexadecimal pairs with
// colons; interfaces are names as "wl0". A stub logs at warning level that the platform does not define the
// operation and touches none of its arguments.
#ifndef VANTU_PLATFORMS_VANTU_PLATFORM_OPS_H
#define VANTU_PLATFORMS_VANTU_PLATFORM_OPS_H

#ifdef __cplusplus
extern "C" {
#endif

// Declared where their modules are; the table only points to them.
typedef struct log_Event log_Event;
typedef struct sclist_t sclist_t;
typedef struct vantu_configuration vantu_configuration;
typedef struct vantu_issue_statistics vantu_issue_statistics;
typedef struct vantu_radio_stats vantu_radio_stats;
typedef struct vantu_router_info vantu_router_info;
typedef struct vantu_sta_stats vantu_sta_stats;
typedef struct vantu_systeminfo vantu_systeminfo;
typedef struct vantu_wan_stats vantu_wan_stats;

typedef struct vantu_platform_ops {
    // ---- The platform itself ----

    // Prepares the platform, once; the composition calls it while it fills the table. The stub answers 0.
    int (*system_setup)(void);

    // Undoes the preparation; the owner of the table calls it before it ends. The stub answers 0.
    int (*system_destroy)(void);

    // ---- Who is this router? ----

    // The router's identifier. The stub answers "Undefined".
    char *(*get_routerid)(void);

    // Fills the router's identity, which the caller has zeroed; what is not known stays empty. The stub
    // answers 0.
    int (*get_router_info)(vantu_router_info *info);

    // ---- Inventory ----

    // Appends one vantu_common_radio per radio. The stub answers 0.
    int (*get_radios)(sclist_t *radios);

    // Empties the list and appends one vantu_ll_dhcp per DHCP lease. The stub answers 0.
    int (*get_dhcpleases)(sclist_t *leases);

    // Appends one vantu_common_device per client device, Wi-Fi and wired. The stub answers 0.
    int (*get_associated_devices)(sclist_t *devices);

    // The name of the network interface towards the provider. The stub answers "Undefined".
    char *(*get_wan_interface_name)(void);

    // 1 when the station is active on the radio, else 0. The stub answers 0.
    int (*is_device_active)(const char *interface, const char *mac);

    // ---- Data rows: the platform's own record of one sample of one station ----

    // Prepares an empty list of rows. The stub answers 0.
    int (*init_data_struct_list)(sclist_t *rows);

    // The size of one row in bytes, so that callers can allocate rows. The stub answers 0.
    int (*get_data_struct_size)(void);

    // Writes the CSV header line of the rows, without a line end, into `header` (4096 characters). The stub
    // answers 0.
    int (*get_data_headers)(char *header);

    // Samples the station on the radio into the zeroed row `indata`. The stub answers 0.
    int (*fill_data_struct)(const char *interface, const char *mac, void *indata);

    // Renders a row as a CSV line, without a line end, into `csvline` (4096 characters). The stub answers 0.
    int (*data_struct_to_csv_string)(const char *interface, const char *mac, char *csvline, void *data);

    // Parses the fields of a split CSV line, in header order, into the row `indata`. The stub answers 0.
    int (*csv_string_to_data_struct)(char **csvline_splitted, void *indata);

    // Turns the counters of the earlier row into their differences to the later one: newer minus older, 0 when
    // that is not positive. The stub answers 0.
    int (*calculate_delta)(void *prevdatain, void *datain);

    // Scores what is wrong with the station's Wi-Fi from a series of rows, appending vantu_issue records to
    // `issues`. The stub answers 0.
    int (*calculate_issues)(sclist_t *data, sclist_t *issues, vantu_issue_statistics *stats, const char *interface,
                            const char *mac);

    // Converts rows into the common statistics records, inserted into `standardized_data` from position 0 on. The stub
    // answers 0.
    int (*convert_to_standard_format)(sclist_t *platform_data, sclist_t *standardized_data, const char *interface,
                                      const char *mac);

    // ---- Statistics samples ----

    // Take one sample of a radio, a station or the WAN interface into the record. With `troubleshoot` non-zero
    // the sample is also written to the debug files. The stubs answer 0.
    int (*sample_radio_stats)(const char *interface, vantu_radio_stats *stats, int troubleshoot);
    int (*sample_sta_stats)(const char *interface, const char *mac, vantu_sta_stats *stats, int troubleshoot);
    int (*sample_wan_stats)(const char *interface, vantu_wan_stats *stats);

    // ---- Steering traffic ----

    // Adds ("A") or deletes ("D", in `opr`) a member of an ipset. The stub answers 0.
    int (*ipset_add_member)(const char *ipset_entry, const char *ipset_name, const char *opr);

    // Appends the members of an ipset as texts. The stub answers 0.
    int (*ipset_get_members)(sclist_t *entries, const char *ipset_name);

    // Install, check for (0 when present) and remove the rules that mark packets. The stubs of the first and the last
    // do nothing; the stub of the check answers 0.
    void (*iptables_setup)(void);
    int (*iptables_check)(void);
    void (*iptables_destroy)(void);

    // Prepares the platform's queues. There is no stub.
    void (*qos_setup)(void);

    // Empties the hardware flow cache. The stub does nothing.
    void (*flush_flows)(void);

    // Read into `count`, and set, how many packets of a flow pass through software before the flow cache takes
    // it. There are no stubs.
    int (*get_sw_defers_pkts)(int *count);
    int (*set_sw_defers_pkts)(int count);

    // ---- Log sinks (see vantu-ll-api/log.h); there are no stubs, since a stub that logs would call itself ----

    // Writes the event to the rotating log file.
    void (*logger_file_callback)(log_Event *ev);

    // Writes the event to the system log.
    void (*logger_syslog_callback)(log_Event *ev);

    // ---- Further questions; without stubs, but for get_conntrack ----

    // The router's own IP address.
    char *(*get_host_ip)(void);

    // Tells the platform the address of the websocket peer.
    void (*set_websocket_ip_address)(const char *address);

    // Empties `list` and appends one vantu_ll_conntrack_flow per tracked connection. `ports` (a list of
    // vantu_proto_port_range) and `maxlen` are each implementation's to interpret. The stub answers 0.
    int (*get_conntrack)(sclist_t *list, sclist_t *ports, int maxlen);

    // Reads the QoS configuration.
    int (*get_qos_config)(vantu_configuration *configuration);

    // Appends one vantu_common_ap_neighbor per access point heard on a band: 2 for 2.4 GHz, 5 for 5 GHz.
    int (*get_ap_neighbors)(int band, sclist_t *neighbors);

    // The router's MAC address, and the one that its others are derived from, as text.
    char *(*get_routermac)(void);
    char *(*get_routerbasemac)(void);

    // Fills load, memory and addresses of the router into the record, which the caller has zeroed.
    int (*get_systeminfo)(vantu_systeminfo *info);

    // Appends one vantu_network per Wi-Fi network.
    int (*get_networks)(sclist_t *networks);
} vantu_platform_ops;

// The process-wide copy of the composed table, through which an implementation calls an operation that another
// one may provide. Written once by platform_init_ops.
extern vantu_platform_ops global_ops;

// Zeroes the table, fills it with the stubs and then with the operations of the platform that this build is
// for, which prepares the platform (system_setup) as well. `platform` is not looked at: the choice is made when
// the program is built. Returns 0.
int vantu_platform_ops_init(vantu_platform_ops *ops, const char *platform);

// Ends the use of a table. Does nothing else (global_ops stays) and returns 0.
int vantu_platform_ops_close(vantu_platform_ops *ops);

// Puts a stub into every slot that has one; sets qos_setup to null. Returns 0.
int platform_init_with_stubs(vantu_platform_ops *ops);

// The composition of this build: stores its operations, calls system_setup, and copies the table to global_ops.
// Returns 0.
int platform_init_ops(vantu_platform_ops *ops);

#ifdef __cplusplus
}
#endif

#endif
