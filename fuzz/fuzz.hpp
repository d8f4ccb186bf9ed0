// What the fuzz targets share: streams and tools that yield the input, checks, lists, and takers of random values.
#pragma once

#include "vantu-ll-api/log.h"
#include "vantu-sclist/sclist.h"

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// Ends the run with a message that the fuzzer takes for a crash.
#define REQUIRE(condition)                                                                       \
    do {                                                                                         \
        if (!(condition)) {                                                                      \
            (void)fprintf(stderr, "%s:%d: does not hold: %s\n", __FILE__, __LINE__, #condition); \
            abort();                                                                             \
        }                                                                                        \
    } while (0)

// A target is `FUZZ_TARGET(std::string_view input) { ... }`.
#define FUZZ_TARGET(parameter)                                                \
    static void fuzz_one(parameter);                                          \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t length) \
    {                                                                         \
        log_set_quiet(true);                                                  \
        fuzz_one({reinterpret_cast<const char *>(data), length});             \
        return 0;                                                             \
    }                                                                         \
    static void fuzz_one(parameter)

namespace fuzz
{

struct closer {
    void operator()(FILE *stream) const { (void)fclose(stream); }
};
using stream = std::unique_ptr<FILE, closer>;

// A stream that yields `text`, which must outlive it.
stream stream_of(std::string_view text);

// From now on every tool that is started prints `output`, which must live on, and ends with `status`.
void tools_print(std::string_view output, int status = 0);

// From now on a file of that name holds `content`, which must live on. What is written to a file named "written" is
// kept until it is opened the next time.
void file_holds(const char *name, std::string_view content);
const std::string &written();

// A parser that takes a stream, called with a text.
template <typename Parser, typename... Arguments>
auto parse(std::string_view text, Parser parser, Arguments... arguments)
{
    const stream from = stream_of(text);
    return parser(from.get(), arguments...);
}

// A list of records that lasts as long as its owner.
template <typename Record>
class list
{
public:
    template <typename Init>
    explicit list(Init init)
    {
        (void)init(&list_);
    }
    ~list() { sclist_destroy(&list_); }
    list(const list &) = delete;
    list &operator=(const list &) = delete;

    sclist_t *get() { return &list_; }
    size_t size() const { return sclist_size(&list_); }
    const Record &at(size_t i) { return *static_cast<Record *>(sclist_get_at(&list_, static_cast<unsigned>(i))); }

    // All records, in constant time each.
    std::vector<Record *> records()
    {
        std::vector<Record *> out;
        SCLIST_FOREACH(Record, record, &list_)
            out.push_back(record);
        SCLIST_FOREACH_END(&list_);
        return out;
    }

private:
    sclist_t list_;
};

template <size_t Size>
bool is_terminated(const char (&text)[Size])
{
    return memchr(text, '\0', Size) != nullptr;
}

// How many times fgets with a buffer of `size` yields something.
inline size_t reads_of(std::string_view text, size_t size)
{
    size_t reads = 0;
    while (!text.empty()) {
        const size_t end = text.find('\n');
        text.remove_prefix(std::min({size - 1, text.size(), end == text.npos ? end : end + 1}));
        reads++;
    }
    return reads;
}

// Formats like printf.
__attribute__((format(printf, 1, 2))) std::string format(const char *pattern, ...);

// A text of a small alphabet, so that equal and nearly equal ones occur.
inline std::string take_name(FuzzedDataProvider &in, size_t longest)
{
    static constexpr char letters[] = "aAbB0:. ";
    std::string out;
    for (size_t left = in.ConsumeIntegralInRange<size_t>(0, longest); left > 0; left--)
        out += letters[in.ConsumeIntegralInRange<size_t>(0, sizeof(letters) - 2)];
    return out;
}

// Copies a text into a field and terminates it.
template <size_t Size>
void fill(char (&field)[Size], const std::string &text)
{
    (void)snprintf(field, Size, "%s", text.c_str());
}

} // namespace fuzz
