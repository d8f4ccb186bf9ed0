// A normal build has no stored samples: whatever the environment says, the live source is read.

#include "vantu-ll-api/testfile.h"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cstdlib>

using namespace support;

namespace
{

TEST(SampleFilesOff, ANormalBuildReadsTheLiveSourceWhateverTheEnvironmentSays)
{
    const temp_dir dir;
    write_file(dir / "live.txt", "live\n");
    write_file(dir / "stored.txt", "stored\n");
    ASSERT_EQ(setenv("VANTU_SAMPLE_FILES", dir.path().c_str(), 1), 0);

    for (const char *sample : {"stored.txt", "missing.txt", "../stored.txt", "", static_cast<const char *>(nullptr)}) {
        FILE *pipe = _ll_popen_cmd_or_testfile("echo live", sample);
        ASSERT_NE(pipe, nullptr);
        EXPECT_EQ(rest_of(pipe), "live\n");
        EXPECT_EQ(pclose(pipe), 0);
        const stream file(_ll_fopen_text_or_testfile((dir / "live.txt").c_str(), sample));
        ASSERT_NE(file, nullptr);
        EXPECT_EQ(rest_of(file.get()), "live\n");
    }
    EXPECT_EQ(_ll_fopen_text_or_testfile((dir / "none.txt").c_str(), "stored.txt"), nullptr);
    (void)unsetenv("VANTU_SAMPLE_FILES");
}

} // namespace
