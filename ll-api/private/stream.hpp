// Owners of streams: what is opened is closed on every way out.
#pragma once

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
// The output of a command from popen. Where the tool's end matters, release() it and call pclose.
using pipe_stream = std::unique_ptr<FILE, pipe_closer>;

} // namespace vantu
