// Owners of streams: what is opened is closed on every way out.
#pragma once

#include "vantu-ll-api/log.h"

#include <cstdio>
#include <memory>

namespace vantu
{

struct file_closer {
    void operator()(FILE *stream) const { (void)fclose(stream); }
};

struct pipe_closer {
    void operator()(FILE *stream) const { (void)pclose(stream); }
};

// As fopen, but a FIFO at whose other end nobody is does not keep the program waiting: after a second at most it is an
// error, ENXIO.
FILE *open_file(const char *path, const char *mode);

// A stream from open_file or fopen.
using file_stream = std::unique_ptr<FILE, file_closer>;

// Closes a stream that was written to. False with errno when not everything could be written.
bool finish(file_stream stream);

// The output of a command from popen. Where the tool's end matters, release() it and call pclose.
using pipe_stream = std::unique_ptr<FILE, pipe_closer>;

// No report of a tool comes near this number of lines.
constexpr long usual_lines = 16384;

// How many lines to read at most of what a caller has named: all, but not of a device, which may have no end.
long most_lines(FILE *stream);

// Reads lines as fgets does, but not for ever: a tool that goes wrong may print without end, and then its reader has to
// come back. Who may read a larger table says so.
class line_source
{
public:
    explicit line_source(FILE *stream, long most = usual_lines) : stream_(stream), left_(most) {}

    template <size_t N>
    bool next(char (&line)[N])
    {
        if (fgets(line, N, stream_) == nullptr)
            return false;
        if (left_-- > 0)
            return true;
        left_ = 0;
        gave_up_ = true;
        log_error("the output does not end: the rest is not read");
        return false;
    }

    bool gave_up() const { return gave_up_; }

private:
    FILE *stream_;
    long left_; // lines, or pieces of longer ones
    bool gave_up_ = false;
};

} // namespace vantu
