// The temporary directory, under base directories of the tests' own and at its real place.

#include "vantu-libs2/temporary-storage.h"

#include "../../libs2/temporary-storage_internal.h"
#include "support.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace support;

// How often the module has looked at a path.
namespace
{
int looks;
} // namespace

extern "C" {
int __real_stat(const char *path, struct stat *info);

int __wrap_stat(const char *path, struct stat *info)
{
    looks++;
    return __real_stat(path, info);
}
}

namespace
{

struct outcome {
    std::string path;
    std::string messages; // on standard error
};

outcome find_or_create(const std::string &base)
{
    char path[64] = "";
    const std::string messages = standard_error_of([&] { find_or_create_tmp_path(base.c_str(), path, sizeof(path)); });
    return {path, messages};
}

TEST(FindOrCreateTmpPath, CreatesTheDirectoryWithAMessage)
{
    const temp_dir base;
    const mode_t mask = umask(022);
    const outcome got = find_or_create(base.path());
    (void)umask(mask);
    EXPECT_EQ(got.path, base / "vantu");
    EXPECT_EQ(got.messages, "create folder\n");
    struct stat info = {};
    ASSERT_EQ(stat((base / "vantu").c_str(), &info), 0);
    EXPECT_TRUE(S_ISDIR(info.st_mode));
    EXPECT_EQ(info.st_mode & 07777U, 0755U);
}

TEST(FindOrCreateTmpPath, CreatesTheDirectoryWithAllRightsThatTheMaskLeaves)
{
    const temp_dir base;
    const mode_t mask = umask(0);
    (void)find_or_create(base.path());
    (void)umask(mask);
    struct stat info = {};
    ASSERT_EQ(stat((base / "vantu").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777U, 0777U);
}

TEST(FindOrCreateTmpPath, FindsAnExistingDirectorySilently)
{
    const temp_dir base;
    fs::create_directory(base / "vantu");
    write_file(base / "vantu/file", "kept");
    const outcome got = find_or_create(base.path());
    EXPECT_EQ(got.path, base / "vantu");
    EXPECT_EQ(got.messages, "");
    EXPECT_TRUE(fs::exists(base / "vantu/file"));
}

TEST(FindOrCreateTmpPath, RefusesALinkToADirectorySinceAnyoneMayHavePlantedIt)
{
    const temp_dir base;
    fs::create_directory(base / "elsewhere");
    fs::create_symlink("elsewhere", base / "vantu");
    const outcome got = find_or_create(base.path());
    EXPECT_EQ(got.path, "");
    EXPECT_EQ(got.messages, "error: " + (base / "vantu") + " exists, but is not a directory\n");
}

TEST(FindOrCreateTmpPath, LeavesThePathEmptyWhenSomethingElseStandsThere)
{
    const temp_dir base;
    write_file(base / "vantu", "kept");
    const outcome got = find_or_create(base.path());
    EXPECT_EQ(got.path, "");
    EXPECT_EQ(got.messages, "error: " + (base / "vantu") + " exists, but is not a directory\n");
    EXPECT_TRUE(fs::is_regular_file(base / "vantu"));
}

TEST(FindOrCreateTmpPath, LeavesThePathEmptySilentlyWithoutBaseDirectory)
{
    const temp_dir base;
    write_file(base / "file", "kept");
    for (const std::string &path : {base / "missing", base / "file", std::string()}) {
        const outcome got = find_or_create(path);
        EXPECT_EQ(got.path, "") << path;
        EXPECT_EQ(got.messages, "") << path;
    }
    EXPECT_FALSE(fs::exists(base / "missing"));
}

TEST(FindOrCreateTmpPath, LeavesThePathEmptyWhenTheDirectoryCannotBeCreated)
{
    const outcome nowhere = find_or_create("/proc/self");
    EXPECT_EQ(nowhere.path, "");
    EXPECT_EQ(nowhere.messages, "create folder\nerror: failed to create /proc/self/vantu\n");

    // A link to nothing stands in the way.
    const temp_dir base;
    fs::create_symlink("missing", base / "vantu");
    const outcome dangling = find_or_create(base.path());
    EXPECT_EQ(dangling.path, "");
    EXPECT_EQ(dangling.messages, "error: " + (base / "vantu") + " exists, but is not a directory\n");
}

TEST(FindOrCreateTmpPath, LeavesAPathThatIsLongerThanItsBufferEmptySinceItsBeginningIsAnotherPlace)
{
    const temp_dir base;
    const std::string whole = base / "vantu";
    fs::create_directory(whole);
    for (const size_t size : {size_t{1}, size_t{2}, whole.size(), whole.size() + 1, whole.size() + 2}) {
        char path[64];
        memset(path, '#', sizeof(path));
        path[0] = '\0';
        find_or_create_tmp_path(base.path().c_str(), path, size);
        EXPECT_EQ(path, size > whole.size() ? whole : "") << size;
        EXPECT_EQ(path[size], '#') << size;
    }
}

TEST(FindOrCreateTmpPath, ABaseOfAnyLengthWritesNothingBehindTheBuffer)
{
    const temp_dir base;
    std::string deep = base.path();
    while (deep.size() < 600) {
        deep += "/" + std::string(20, 'd');
        fs::create_directory(deep);
        char path[33];
        memset(path, '#', sizeof(path));
        path[0] = '\0';
        testing::internal::CaptureStderr();
        find_or_create_tmp_path(deep.c_str(), path, 32);
        (void)testing::internal::GetCapturedStderr();
        ASSERT_NE(memchr(path, '\0', 32), nullptr) << deep.size();
        ASSERT_EQ(path[32], '#') << deep.size();
        // Whatever is reported is the beginning of a path under the base.
        ASSERT_EQ(deep.compare(0, strlen(path), path), 0) << deep.size();
    }
}

// The directory stays behind: other programs on this machine may just have found it.
TEST(GetOrCreateTmpPath, GivesTheModulesTextEachTimeAndIsSilentOnceThePathIsKnown)
{
    testing::internal::CaptureStderr();
    char *const first = vantu_get_or_create_tmp_path();
    (void)testing::internal::GetCapturedStderr();
    ASSERT_NE(first, nullptr);
    EXPECT_STREQ(first, fs::is_directory("/tmp/vantu") ? "/tmp/vantu" : "");
    if (first[0] == '\0')
        GTEST_SKIP() << "/tmp/vantu cannot be created here";

    testing::internal::CaptureStderr();
    looks = 0;
    EXPECT_EQ(vantu_get_or_create_tmp_path(), first);
    EXPECT_EQ(looks, 0) << "the path is found once and kept";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    EXPECT_STREQ(first, "/tmp/vantu");
}

} // namespace
