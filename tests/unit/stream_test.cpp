// Files that cannot keep the program waiting.

#include "stream.hpp"

#include "support.hpp"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

using namespace support;

namespace
{

std::string first_line(FILE *stream)
{
    char line[64] = "";
    return fgets(line, sizeof(line), stream) != nullptr ? line : "";
}

class OpenFile : public ::testing::Test
{
protected:
    void SetUp() override { ASSERT_EQ(0, mkfifo(fifo.c_str(), 0600)); }

    temp_dir dir;
    const std::string fifo = dir / "fifo";
};

TEST_F(OpenFile, OpensFilesAsFopenDoes)
{
    const std::string path = dir / "file";
    EXPECT_EQ(nullptr, vantu::open_file(path.c_str(), "re"));
    EXPECT_EQ(ENOENT, errno);
    {
        const vantu::file_stream out(vantu::open_file(path.c_str(), "we"));
        ASSERT_NE(nullptr, out);
        EXPECT_LT(0, fputs("one\n", out.get()));
    }
    {
        const vantu::file_stream out(vantu::open_file(path.c_str(), "ae"));
        ASSERT_NE(nullptr, out);
        EXPECT_LT(0, fputs("two\n", out.get()));
    }
    const vantu::file_stream in(vantu::open_file(path.c_str(), "re"));
    ASSERT_NE(nullptr, in);
    EXPECT_EQ("one\n", first_line(in.get()));
    EXPECT_EQ("two\n", first_line(in.get()));
}

TEST_F(OpenFile, IsAnErrorForAFifoThatNobodyWrites)
{
    const size_t before = open_descriptors();
    EXPECT_EQ(nullptr, vantu::open_file(fifo.c_str(), "re"));
    EXPECT_EQ(ENXIO, errno);
    EXPECT_EQ(before, open_descriptors());
}

TEST_F(OpenFile, IsAnErrorForAFifoWhoseWriterSaysNothing)
{
    const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    EXPECT_EQ(nullptr, vantu::open_file(fifo.c_str(), "re"));
    EXPECT_EQ(ENXIO, errno);
    (void)close(writer);
}

TEST_F(OpenFile, IsAnErrorForAFifoThatNobodyReads)
{
    for (const char *mode : {"we", "ae"}) {
        EXPECT_EQ(nullptr, vantu::open_file(fifo.c_str(), mode)) << mode;
        EXPECT_EQ(ENXIO, errno) << mode;
    }
}

TEST_F(OpenFile, ReadsAFifoThatIsWritten)
{
    const int writer = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_EQ(5, write(writer, "text\n", 5));
    const vantu::file_stream in(vantu::open_file(fifo.c_str(), "re"));
    ASSERT_NE(nullptr, in);
    EXPECT_EQ(0, fcntl(fileno(in.get()), F_GETFL) & O_NONBLOCK) << "it waits for what is still to come";
    EXPECT_EQ("text\n", first_line(in.get()));
    (void)close(writer);
}

TEST_F(OpenFile, WritesAFifoThatIsRead)
{
    const int reader = open(fifo.c_str(), O_RDWR | O_CLOEXEC);
    {
        const vantu::file_stream out(vantu::open_file(fifo.c_str(), "we"));
        ASSERT_NE(nullptr, out);
        EXPECT_LT(0, fputs("text\n", out.get()));
    }
    char text[8] = "";
    EXPECT_EQ(5, read(reader, text, sizeof(text)));
    EXPECT_STREQ("text\n", text);
    (void)close(reader);
}

// How many lines of a text of `count` lines a source with the limit `most` gives.
long lines_of(long count, long most, texts &log_lines)
{
    std::string text;
    for (long i = 0; i < count; i++)
        text += "line\n";
    const stream in = stream_of(text);
    const log_capture log;
    vantu::line_source lines(in.get(), most);
    char line[16];
    long given = 0;
    while (lines.next(line))
        given++;
    log_lines = log.lines;
    return given;
}

TEST(LineSource, GivesEveryLineUpToItsLimit)
{
    texts log_lines;
    EXPECT_EQ(0, lines_of(0, 3, log_lines));
    EXPECT_EQ(2, lines_of(2, 3, log_lines));
    EXPECT_EQ(3, lines_of(3, 3, log_lines));
    EXPECT_EQ(texts{}, log_lines);
}

TEST(LineSource, EndsAnEndlessOutputWithAnError)
{
    texts log_lines;
    EXPECT_EQ(3, lines_of(4, 3, log_lines));
    EXPECT_EQ(texts{"ERROR the output does not end: the rest is not read"}, log_lines);
}

TEST(MostLines, AreAllOfAFileAndTheUsualOfADevice)
{
    const support::temp_dir dir;
    support::write_file(dir / "file", "text");
    const vantu::file_stream file(fopen((dir / "file").c_str(), "re"));
    const vantu::file_stream device(fopen("/dev/zero", "re"));
    EXPECT_EQ(LONG_MAX, vantu::most_lines(file.get()));
    EXPECT_EQ(vantu::usual_lines, vantu::most_lines(device.get()));
}

TEST(Finish, TellsWhetherEverythingIsWritten)
{
    const support::temp_dir dir;
    vantu::file_stream file(fopen((dir / "file").c_str(), "we"));
    ASSERT_LT(0, fputs("text", file.get()));
    EXPECT_TRUE(vantu::finish(std::move(file)));
    vantu::file_stream full(fopen("/dev/full", "we"));
    ASSERT_LT(0, fputs("text", full.get()));
    EXPECT_FALSE(vantu::finish(std::move(full)));
    EXPECT_EQ(ENOSPC, errno);
}

} // namespace
