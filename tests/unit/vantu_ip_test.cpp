// The address value, its two conversions, and the two functions through which every reader opens its input.

#include "support.hpp"
#include "vantu-ll-api/testfile.h"
#include "vantu-ll-api/vantu_ip.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <type_traits>
#include <unistd.h>

using namespace support;

namespace
{

static_assert(std::is_trivially_copyable_v<vantu_ip>, "lists copy the records that hold it byte for byte");
static_assert(offsetof(vantu_ip, _u) == 0 && sizeof(vantu_ip::_u) == 16);

// What a failed parse must overwrite.
constexpr int UNSET = 99;

vantu_ip filled_with(unsigned char byte)
{
    vantu_ip ip;
    memset(&ip, byte, sizeof(ip));
    ip.ip_version = UNSET;
    return ip;
}

vantu_ip address(int family, const char *text)
{
    vantu_ip ip = filled_with(0);
    EXPECT_EQ(string_to_vantu_ip(family, text, &ip), 1) << text;
    return ip;
}

TEST(VantuIp, Ipv4FormOccupiesTheFirstFourBytesInNetworkOrder)
{
    vantu_ip ip = filled_with(0xee);
    ASSERT_EQ(string_to_vantu_ip(AF_INET, "10.20.30.40", &ip), 1);

    const unsigned char want[16] = {10,   20,   30,   40,   0xee, 0xee, 0xee, 0xee,
                                    0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee, 0xee};
    EXPECT_EQ(memcmp(ip._u.ipv6.s6_addr, want, sizeof(want)), 0) << "the other twelve bytes are not touched";
    EXPECT_EQ(static_cast<void *>(&ip._u.ipv4), static_cast<void *>(&ip._u.ipv6));
    EXPECT_EQ(ntohl(ip._u.ipv4.s_addr), 0x0a141e28U);
}

TEST(VantuIp, Ipv6FormOccupiesSixteenBytes)
{
    const vantu_ip ip = address(AF_INET6, "2001:db8:1:2:3:4:5:6");
    const unsigned char want[16] = {0x20, 0x01, 0x0d, 0xb8, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6};
    EXPECT_EQ(memcmp(ip._u.ipv6.s6_addr, want, sizeof(want)), 0);
    EXPECT_EQ(ip.ip_version, 6);
}

struct parse_case {
    const char *name;
    int family;
    const char *text;
    int result;
    int version;
};

const parse_case parse_cases[] = {
    {"IPv4 text as IPv4", AF_INET, "10.0.0.1", 1, 4},
    {"highest IPv4 address", AF_INET, "255.255.255.255", 1, 4},
    {"lowest IPv4 address", AF_INET, "0.0.0.0", 1, 4},
    {"IPv6 loopback as IPv6", AF_INET6, "::1", 1, 6},
    {"unspecified IPv6 address", AF_INET6, "::", 1, 6},
    {"upper-case IPv6 digits", AF_INET6, "2001:DB8::A", 1, 6},
    {"IPv4 mapped into IPv6", AF_INET6, "::ffff:192.0.2.1", 1, 6},

    {"IPv6 text as IPv4 still sets the version", AF_INET, "fe80::1", 0, 4},
    {"IPv4 text as IPv6 still sets the version", AF_INET6, "10.0.0.1", 0, 6},
    {"empty text as IPv4", AF_INET, "", 0, 4},
    {"empty text as IPv6", AF_INET6, "", 0, 6},
    {"an octet too large", AF_INET, "10.0.0.256", 0, 4},
    {"an octet missing", AF_INET, "10.0.1", 0, 4},
    {"an octet too many", AF_INET, "10.0.0.1.2", 0, 4},
    {"blank before", AF_INET, " 10.0.0.1", 0, 4},
    {"blank behind", AF_INET, "10.0.0.1 ", 0, 4},
    {"line end behind", AF_INET, "10.0.0.1\n", 0, 4},
    {"port behind", AF_INET, "10.0.0.1:80", 0, 4},
    {"prefix length behind", AF_INET6, "2001:db8::/32", 0, 6},
    {"zone behind", AF_INET6, "fe80::1%br-lan", 0, 6},
    {"a letter beyond f", AF_INET6, "fe80::g", 0, 6},
    {"a group of five digits", AF_INET6, "fe800::1", 0, 6},
    {"two gaps", AF_INET6, "fe80::1::2", 0, 6},
    {"a group too many", AF_INET6, "1:2:3:4:5:6:7:8:9", 0, 6},
    {"shell text", AF_INET, "$(reboot)", 0, 4},
    {"host name", AF_INET, "gateway.example", 0, 4},

    {"unsupported family counts as 4", AF_UNIX, "10.0.0.1", -1, 4},
    {"no family counts as 4", AF_UNSPEC, "::1", -1, 4},
};

TEST(VantuIp, ParsingSetsTheVersionWhateverTheResult)
{
    for (const parse_case &row : parse_cases) {
        vantu_ip ip = filled_with(0);
        EXPECT_EQ(string_to_vantu_ip(row.family, row.text, &ip), row.result) << row.name;
        EXPECT_EQ(ip.ip_version, row.version) << row.name;
    }
}

struct format_case {
    const char *name;
    int family;
    const char *text;
};

const format_case format_cases[] = {
    {"short IPv4", AF_INET, "1.2.3.4"},
    {"longest IPv4", AF_INET, "255.255.255.255"},
    {"shortest IPv6", AF_INET6, "::"},
    {"ordinary IPv6", AF_INET6, "2001:db8::1"},
    {"longest IPv6", AF_INET6, "2001:db8:1111:2222:3333:4444:5555:6666"},
};

TEST(VantuIp, FormattingNeedsTheTextAndItsTerminator)
{
    for (const format_case &row : format_cases) {
        const vantu_ip ip = address(row.family, row.text);
        const size_t needed = strlen(row.text) + 1;
        char buf[INET6_ADDRSTRLEN + 1];

        memset(buf, '#', sizeof(buf));
        EXPECT_EQ(vantu_ip_to_string(&ip, buf, static_cast<socklen_t>(needed)), buf) << row.name;
        EXPECT_STREQ(buf, row.text) << row.name << ", exactly large enough";
        EXPECT_EQ(buf[needed], '#') << row.name << ": written beyond the buffer";

        for (size_t size = 0; size < needed; size++) {
            memset(buf, '#', sizeof(buf));
            EXPECT_EQ(vantu_ip_to_string(&ip, buf, static_cast<socklen_t>(size)), nullptr)
                << row.name << ", size " << size;
            EXPECT_EQ(buf[size], '#') << row.name << ": written beyond size " << size;
        }
    }
}

TEST(VantuIp, EveryVersionButSixIsFormattedAsIpv4)
{
    vantu_ip ip = address(AF_INET6, "c000:0205::7");
    char buf[INET6_ADDRSTRLEN];
    for (const int version : {0, 4, 5, 7, 46, -6}) {
        ip.ip_version = version;
        EXPECT_STREQ(vantu_ip_to_string(&ip, buf, sizeof(buf)), "192.0.2.5") << "version " << version;
    }
    ip.ip_version = 6;
    EXPECT_STREQ(vantu_ip_to_string(&ip, buf, sizeof(buf)), "c000:205::7");
}

TEST(VantuIp, TextOfAnAddressParsesToTheSameAddress)
{
    for (const format_case &row : format_cases) {
        const vantu_ip ip = address(row.family, row.text);
        char buf[INET6_ADDRSTRLEN];
        ASSERT_NE(vantu_ip_to_string(&ip, buf, sizeof(buf)), nullptr) << row.name;
        const vantu_ip again = address(row.family, buf);
        EXPECT_EQ(memcmp(ip._u.ipv6.s6_addr, again._u.ipv6.s6_addr, 16), 0) << row.name;
        EXPECT_EQ(ip.ip_version, again.ip_version) << row.name;
    }
}

TEST(CommandSource, CommandOutputIsReadThroughTheShell)
{
    FILE *stream = _ll_popen_cmd_or_testfile("printf 'one\\ntwo\\n'; echo $((40 + 2))", "sample.txt");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(rest_of(stream), "one\ntwo\n42\n");
    EXPECT_EQ(pclose(stream), 0);
}

TEST(CommandSource, ExitStatusOfTheCommandComesBackFromPclose)
{
    FILE *stream = _ll_popen_cmd_or_testfile("exit 3", "sample.txt");
    ASSERT_NE(stream, nullptr);
    const int status = pclose(stream);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 3);
}

TEST(CommandSource, MissingCommandStillYieldsAnEmptyStream)
{
    const log_capture log;
    FILE *stream = _ll_popen_cmd_or_testfile("/nonexistent/wlctl assoclist 2>/dev/null", "sample.txt");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fgetc(stream), EOF);
    EXPECT_TRUE(feof(stream));
    EXPECT_EQ(WEXITSTATUS(pclose(stream)), 127);
    EXPECT_TRUE(log.lines.empty());
}

TEST(CommandSource, FileIsReadAsItStands)
{
    const memory_file file("line\r\nlast without end");
    FILE *stream = _ll_fopen_text_or_testfile(file.path(), "sample.txt");
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(rest_of(stream), "line\r\nlast without end");
    EXPECT_EQ(fclose(stream), 0);
}

TEST(CommandSource, FileIsOpenedForReadingOnly)
{
    const memory_file file("text");
    const support::stream stream(_ll_fopen_text_or_testfile(file.path(), "sample.txt"));
    ASSERT_NE(stream, nullptr);
    EXPECT_EQ(fcntl(fileno(stream.get()), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fputc('x', stream.get()), EOF);
}

TEST(CommandSource, MissingFileIsANullStreamAndNoLogLine)
{
    const log_capture log;
    errno = 0;
    EXPECT_EQ(_ll_fopen_text_or_testfile("/nonexistent/leases", "sample.txt"), nullptr);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_TRUE(log.lines.empty());
}

// While it lives, this process can open nothing: every descriptor number is beyond the limit.
class no_descriptors
{
public:
    no_descriptors()
    {
        if (getrlimit(RLIMIT_NOFILE, &before_) != 0)
            abort();
        rlimit none = before_;
        none.rlim_cur = 0;
        if (setrlimit(RLIMIT_NOFILE, &none) != 0)
            abort();
    }
    ~no_descriptors() { (void)setrlimit(RLIMIT_NOFILE, &before_); }
    no_descriptors(const no_descriptors &) = delete;
    no_descriptors &operator=(const no_descriptors &) = delete;

private:
    rlimit before_ = {};
};

TEST(CommandSource, TooManyOpenFilesIsANullStreamAndNoLogLine)
{
    const log_capture log;
    FILE *command = nullptr;
    FILE *file = nullptr;
    {
        const no_descriptors limit;
        command = _ll_popen_cmd_or_testfile("echo unreachable", "sample.txt");
        file = _ll_fopen_text_or_testfile("/dev/null", "sample.txt");
    }
    EXPECT_EQ(command, nullptr);
    EXPECT_EQ(file, nullptr);
    EXPECT_TRUE(log.lines.empty());
}

// Samples are not selected in this build, not even when a file of that very name lies there to be read.
TEST(CommandSource, NameOfTheSampleIsIgnored)
{
    const memory_file sample("the sample");
    const memory_file live("the live text");
    for (const char *name : {sample.path(), "/nonexistent/sample.txt", "", static_cast<const char *>(nullptr)}) {
        FILE *command = _ll_popen_cmd_or_testfile("printf 'the live text'", name);
        ASSERT_NE(command, nullptr);
        EXPECT_EQ(rest_of(command), "the live text");
        EXPECT_EQ(pclose(command), 0);

        const support::stream file(_ll_fopen_text_or_testfile(live.path(), name));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(rest_of(file.get()), "the live text");
    }
}

// Whether a child that is started now gets this descriptor. The child is started with system, since popen
// closes the streams of other popen calls in its child by itself.
bool inherited(int fd)
{
    char command[64];
    (void)snprintf(command, sizeof(command), "[ -e /proc/self/fd/%d ]", fd);
    const int status = system(command);
    EXPECT_TRUE(WIFEXITED(status));
    return WEXITSTATUS(status) == 0;
}

TEST(CommandSource, OpenStreamsAreNotInheritedByChildren)
{
    const support::stream plain(fopen("/dev/null", "r"));
    ASSERT_NE(plain, nullptr);
    ASSERT_TRUE(inherited(fileno(plain.get()))) << "the check itself must see an inherited descriptor";

    const support::stream file(_ll_fopen_text_or_testfile("/dev/null", "sample.txt"));
    ASSERT_NE(file, nullptr);
    EXPECT_FALSE(inherited(fileno(file.get())));

    FILE *command = _ll_popen_cmd_or_testfile("echo text", "sample.txt");
    ASSERT_NE(command, nullptr);
    EXPECT_FALSE(inherited(fileno(command)));
    EXPECT_EQ(rest_of(command), "text\n");
    EXPECT_EQ(pclose(command), 0);
}

TEST(CommandSource, ToolStartedWhileAFileIsOpenDoesNotSeeIt)
{
    const temp_dir dir;
    write_file(dir / "leases", "lease");
    const support::stream file(_ll_fopen_text_or_testfile((dir / "leases").c_str(), "sample.txt"));
    ASSERT_NE(file, nullptr);
    FILE *command = _ll_popen_cmd_or_testfile("ls -l /proc/self/fd", "sample.txt");
    ASSERT_NE(command, nullptr);
    const std::string listing = rest_of(command);
    EXPECT_EQ(pclose(command), 0);
    EXPECT_NE(listing.find("pipe:"), std::string::npos) << listing;
    EXPECT_EQ(listing.find(dir.path()), std::string::npos) << listing;
}

} // namespace
