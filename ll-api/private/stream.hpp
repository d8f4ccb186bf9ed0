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

// A stream from fopen.
using file_stream = std::unique_ptr<FILE, file_closer>;
// The output of a command from popen. Where the tool's end matters, release() it and call pclose.
using pipe_stream = std::unique_ptr<FILE, pipe_closer>;

} // namespace vantu
