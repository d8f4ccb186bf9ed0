// A build that reads stored samples (VANTU_SAMPLE_FILES): the readers take the files of a directory for the outputs of
// tools and for the system's files. This program is compiled with the definition, and so is its own copy of the
// command output source.

#include "vantu-ll-api/listinits.h"
#include "vantu-ll-api/testfile.h"
#include "vantu-ll-api/vantu_ll_wlctl.h"
#include "vantu-ll-api/vantu_ll_wrt.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#ifndef VANTU_SAMPLE_FILES
#error "this test is for builds with VANTU_SAMPLE_FILES"
#endif

using namespace support;

namespace
{

// The directory of the samples for a while; null: none.
class samples_from
{
public:
    explicit samples_from(const char *directory)
    {
        if (directory == nullptr)
            (void)unsetenv("VANTU_SAMPLE_FILES");
        else
            (void)setenv("VANTU_SAMPLE_FILES", directory, 1);
    }
    explicit samples_from(const std::string &directory) : samples_from(directory.c_str()) {}
    ~samples_from() { (void)unsetenv("VANTU_SAMPLE_FILES"); }
    samples_from(const samples_from &) = delete;
    samples_from &operator=(const samples_from &) = delete;
};

int init_station_list(sclist_t *list)
{
    vantu_ll_wlctl_assoclist_sclist_init(list);
    return 0;
}

// What a command's stream yields; "(none)" without a stream.
std::string output_of(const char *command, const char *sample)
{
    FILE *stream = _ll_popen_cmd_or_testfile(command, sample);
    if (stream == nullptr)
        return "(none)";
    std::string out = rest_of(stream);
    EXPECT_NE(pclose(stream), -1) << sample;
    return out;
}

std::string text_of(const std::string &file, const char *sample)
{
    const stream opened(_ll_fopen_text_or_testfile(file.c_str(), sample));
    return opened == nullptr ? "(none)" : rest_of(opened.get());
}

TEST(SampleFiles, TakeThePlaceOfCommandsAndFiles)
{
    const temp_dir dir;
    write_file(dir / "live.txt", "live\n");
    write_file(dir / "stored.txt", "stored\n");
    std::filesystem::create_directory(dir / "fcctl");
    write_file(dir / "fcctl/status.txt", "stored below\n");
    const samples_from samples(dir.path());
    EXPECT_EQ(output_of("echo live", "stored.txt"), "stored\n");
    EXPECT_EQ(output_of("echo live", "fcctl/status.txt"), "stored below\n");
    EXPECT_EQ(text_of(dir / "live.txt", "stored.txt"), "stored\n");
    EXPECT_EQ(text_of(dir / "live.txt", "fcctl/status.txt"), "stored below\n");
}

TEST(SampleFiles, AreNotReadWithoutADirectory)
{
    const temp_dir dir;
    write_file(dir / "live.txt", "live\n");
    for (const char *none : {static_cast<const char *>(nullptr), ""}) {
        const samples_from samples(none);
        EXPECT_EQ(output_of("echo live", "live.txt"), "live\n");
        EXPECT_EQ(text_of(dir / "live.txt", "stored.txt"), "live\n");
        EXPECT_EQ(text_of(dir / "none.txt", "live.txt"), "(none)");
    }
}

TEST(SampleFiles, ThatAreMissingNeverLeadToTheLiveSource)
{
    const temp_dir dir;
    write_file(dir / "live.txt", "live\n");
    const samples_from samples(dir.path());
    std::string output;
    const std::string complaint =
        standard_error_of([&output] { output = output_of("echo live", "wlctl_assoclist.txt"); });
    EXPECT_EQ(output, "");
    EXPECT_NE(complaint.find("wlctl_assoclist.txt"), std::string::npos) << complaint;
    EXPECT_EQ(text_of(dir / "live.txt", "wrt_conntrack.txt"), "(none)");
}

TEST(SampleFiles, HaveADirectoryThatMeansNothingToTheShell)
{
    const temp_dir dir;
    for (const char *name :
         {"with blanks", "it's \"quoted\"", "$(touch evil)`touch evil`", "a;touch evil", "-n", "*"}) {
        std::filesystem::create_directory(dir / name);
        write_file(dir / name + "/stored.txt", name);
        const samples_from samples(dir / name);
        EXPECT_EQ(output_of("echo live", "stored.txt"), name);
        EXPECT_EQ(text_of("/dev/null", "stored.txt"), name);
    }
    EXPECT_FALSE(std::filesystem::exists("evil"));
}

TEST(SampleFiles, HaveNamesThatLeadNowhereElse)
{
    const temp_dir dir;
    write_file(dir / "live.txt", "live\n");
    std::filesystem::create_directory(dir / "samples");
    const samples_from samples(dir / "samples");
    const std::string absolute = dir / "live.txt";
    const char *const names[] = {
        "../live.txt", "fcctl/../../live.txt", absolute.c_str(), "", nullptr, "x;echo evil", "$(echo evil)",
        "a b",         "\"; echo x",           "x\nls"};
    for (const char *name : names) {
        errno = 0;
        EXPECT_EQ(output_of("echo live", name), "(none)") << (name == nullptr ? "(null)" : name);
        EXPECT_EQ(errno, EINVAL);
        EXPECT_EQ(text_of("/dev/null", name), "(none)") << (name == nullptr ? "(null)" : name);
    }
}

TEST(SampleFiles, MayHaveAPathAsLongAsTheSystemAllows)
{
    const std::string name = "stored.txt";
    const struct {
        const char *name;
        size_t length; // of the whole path
        int reason;
    } rows[] = {
        {"longest", PATH_MAX - 1, ENOENT},
        {"one too long", PATH_MAX, ENAMETOOLONG},
    };
    for (const auto &row : rows) {
        std::string directory = "/tmp";
        while (directory.length() + 2 < row.length - name.length())
            directory += "/.";
        directory.append(row.length - name.length() - 1 - directory.length(), '/');
        const samples_from samples(directory);
        errno = 0;
        EXPECT_EQ(text_of("/dev/null", name.c_str()), "(none)") << row.name;
        EXPECT_EQ(errno, row.reason) << row.name;
    }
    const samples_from samples("/tmp");
    const std::string longest = std::string(PATH_MAX, 'x');
    errno = 0;
    EXPECT_EQ(output_of("echo live", longest.c_str()), "(none)");
    EXPECT_EQ(errno, ENAMETOOLONG);
}

TEST(SampleFiles, FeedTheReaders)
{
    const temp_dir dir;
    write_file(dir / "wlctl_assoclist.txt", "assoclist 02:00:00:00:00:A1\nassoclist 02:00:00:00:00:A2\n");
    write_file(dir / "wrt_dhcp_leases.txt", "1767225600 02:00:00:00:00:a1 192.168.1.21 tablet *\n");
    write_file(dir / "wrt_conntrack.txt",
               "ipv4     2 udp      17 29 src=192.168.1.21 dst=192.0.2.5 sport=4000 dport=53 packets=1 bytes=60 "
               "src=192.0.2.5 dst=192.168.1.21 sport=53 dport=4000 packets=1 bytes=90 mark=0 use=2\n");
    const samples_from samples(dir.path());
    const quiet_log quiet;

    support::list<init_station_list> stations;
    EXPECT_EQ(vantu_ll_wlctl_assoclist("wl0", &stations), 0);
    EXPECT_EQ(sclist_size(&stations), 2u);

    support::list<vantu_ll_wrt_dhcp_list_init> leases;
    EXPECT_EQ(vantu_ll_wrt_get_dhcp(&leases), 0);
    EXPECT_EQ(sclist_size(&leases), 1u);

    support::list<vantu_ll_wrt_conntrack_list_init> flows;
    EXPECT_EQ(vantu_ll_wrt_get_conntrack(&flows), 0);
    EXPECT_EQ(sclist_size(&flows), 1u);
    EXPECT_EQ(vantu_ll_wrt_get_conntrack_from_tools(&flows), 0);
    EXPECT_EQ(sclist_size(&flows), 1u);
}

} // namespace
