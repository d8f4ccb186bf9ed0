// The gateway as seen from its container: see hobe-lxc/vantu-hobe-lxc.h. The host's answer to "uci get", and nothing at
// all for a key that it does not have:
//
//     {"value":"HB01A0000042"}

#include "hobe-lxc/vantu-hobe-lxc.h"

#include "hobe/router-info.hpp"
#include "hobe/vantu-wifi-hobe.h"
#include "json.hpp"
#include "stream.hpp"
#include "text.hpp"
#include "tool.hpp"

#include <cerrno>
#include <cstring>

namespace
{

constexpr char host_socket[] = "/var/run/lxc_ipc/ubus.sock";
constexpr int reply_size = 1024;

void read_all(FILE *stream, vantu::bounded_text &out)
{
    char line[reply_size];
    vantu::line_source lines(stream);
    while (lines.next(line))
        out.add(line);
}

// The status of the tool; 0 when someone else has seen its end.
int close_command(FILE *stream, const char *command)
{
    const int status = pclose(stream);
    if (status != -1)
        return status;
    if (errno == ECHILD)
        return 0;
    log_error("%s errno:%d, %s", command, errno, strerror(errno));
    return -1;
}

} // namespace

const char *hobe_container_get_system_name(void)
{
    return "hobe-lxc";
}

int hobe_container_get_uci(const char *config, const char *section, const char *option, char *out, int len)
{
    const vantu::json_request<256> request(R"({ "config": "%s", "section": "%s", "option": "%s" })", config, section,
                                           option);
    const vantu::command_line<512> command("ubus call -S -s %s uci get '%s'", host_socket,
                                           vantu::quoted{request.text()});
    log_debug("Running: %s", command.text());
    FILE *stream = vantu::open_tool(command, {nullptr, -1});
    if (stream == nullptr)
        return -1;

    char reply[reply_size];
    vantu::bounded_text text(reply, sizeof(reply));
    read_all(stream, text);
    log_debug("%s", reply);
    const int status = close_command(stream, command.text());

    const vantu::json_text parsed(json_tokener_parse(reply));
    json_object *value = vantu::json_member(parsed.get(), "value", json_type_string);
    if (value == nullptr)
        return status;
    (void)vatnu_strncpy(out, json_object_get_string(value), len);
    // A tool that failed, or an empty text, is no finding.
    if (status == 0 && json_object_get_string_len(value) > 0)
        log_debug("Found %s.%s.%s: %s", config, section, option, out);
    return status;
}

int hobe_container_get_hardware_model(char *out, int len)
{
    return hobe_container_get_uci("env", "var", "prod_number", out, len);
}

int hobe_container_get_firmware_version(char *out, int len)
{
    return hobe_container_get_uci("version", "@version[0]", "version", out, len);
}

int hobe_container_get_base_mac(char *out, int len)
{
    return hobe_container_get_uci("env", "var", "local_eth_mac", out, len);
}

char *hobe_container_get_routerid(void)
{
    static char serial[32];
    if (serial[0] == '\0')
        (void)hobe_container_get_uci("env", "var", "serial", serial, sizeof(serial));
    return serial;
}

char *hobe_container_get_get_wan_if(void)
{
    static char interface[] = "eth3";
    return interface;
}

int hobe_container_get_router_info(vantu_router_info *info)
{
    vantu::fill_router_info(
        *info, {hobe_container_get_hardware_model, hobe_container_get_base_mac, hobe_container_get_firmware_version});
    return 0;
}
