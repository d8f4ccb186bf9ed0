// What the targets of the configuration store share: contexts, files in memory, and packages as text.
#pragma once

#include "fuzz.hpp"

#include <sys/mman.h>
#include <uci.h>
#include <unistd.h>

namespace fuzz
{

// A file that is in no directory but has a path.
class memory_file
{
public:
    memory_file()
    {
        descriptor_ = memfd_create("fuzz", MFD_CLOEXEC);
        REQUIRE(descriptor_ >= 0);
        path_ = format("/proc/self/fd/%d", descriptor_);
    }
    ~memory_file() { (void)close(descriptor_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    void hold(std::string_view content) const
    {
        REQUIRE(ftruncate(descriptor_, 0) == 0);
        REQUIRE(pwrite(descriptor_, content.data(), content.size(), 0) == static_cast<ssize_t>(content.size()));
    }
    const char *path() const { return path_.c_str(); }

private:
    int descriptor_;
    std::string path_;
};

class store_session
{
public:
    store_session() : context_(uci_alloc_context()) { REQUIRE(context_ != nullptr); }
    ~store_session() { uci_free_context(context_); }
    store_session(const store_session &) = delete;
    store_session &operator=(const store_session &) = delete;

    uci_context *get() const { return context_; }

private:
    uci_context *context_;
};

// Calls `each` with every element of a list, whose links must be whole.
template <typename Each>
void each_element(uci_list &head, Each each)
{
    uci_element *element = nullptr;
    uci_foreach_element(&head, element)
    {
        REQUIRE(element->list.next->prev == &element->list);
        REQUIRE(element->list.prev->next == &element->list);
        REQUIRE(element->name != nullptr);
        each(*element);
    }
}

// Calls `text` with the option's values and whether they are items.
template <typename Text>
void each_value(uci_option &option, Text text)
{
    REQUIRE(option.type == UCI_TYPE_STRING || option.type == UCI_TYPE_LIST);
    if (option.type == UCI_TYPE_STRING) {
        REQUIRE(option.v.string != nullptr);
        text(option.v.string, false);
    } else {
        each_element(option.v.list, [&](uci_element &item) { text(item.name, true); });
    }
}

// All of a package: each section with its options. A list without items counts as none.
inline std::string dump_of(uci_package &package)
{
    std::string out;
    each_element(package.sections, [&](uci_element &e) {
        uci_section &section = *uci_to_section(&e);
        REQUIRE(e.type == UCI_TYPE_SECTION && section.package == &package && section.type != nullptr);
        out += std::string("section ") + section.type + (section.anonymous ? " anonymous " : " ") + e.name + "\n";
        each_element(section.options, [&](uci_element &o) {
            uci_option &option = *uci_to_option(&o);
            REQUIRE(o.type == UCI_TYPE_OPTION && option.section == &section);
            each_value(option, [&](const char *value, bool is_item) {
                out += std::string(o.name) + (is_item ? "|" : "=") + std::to_string(strlen(value)) + value + "\n";
            });
        });
    });
    return out;
}

inline std::string quoted(std::string_view value)
{
    std::string out = "'";
    for (const char c : value)
        out += c == '\'' ? "'\\''" : std::string(1, c);
    return out + "'";
}

// The package as a file, by the rules of the format. A list without items has no place in it.
inline std::string file_of(uci_package &package)
{
    std::string out;
    each_element(package.sections, [&](uci_element &e) {
        uci_section &section = *uci_to_section(&e);
        out += "config " + quoted(section.type) + (section.anonymous ? "" : " " + quoted(e.name)) + "\n";
        each_element(section.options, [&](uci_element &o) {
            each_value(*uci_to_option(&o), [&](const char *value, bool is_item) {
                out += (is_item ? "list " : "option ") + std::string(o.name) + " " + quoted(value) + "\n";
            });
        });
    });
    return out;
}

} // namespace fuzz
