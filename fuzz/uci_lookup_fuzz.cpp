// Lookups, each line of the input one, and changes at what they find: by its first character a line is looked up, set,
// deleted, or an item added or deleted. Nothing is saved.

#include "fuzz.hpp"
#include "uci_world.hpp"

static constexpr char content[] = "config rule 'main'\n\toption a 'x'\n\tlist b '1'\n\tlist b '2'\nconfig rule\n"
                                  "\toption a 'y'\nconfig zone 'lan'\n\tlist b '3'\n";

static void check(const uci_ptr &ptr, int result)
{
    if (result != UCI_OK)
        return;
    REQUIRE((ptr.flags & uci_ptr::UCI_LOOKUP_DONE) != 0 && ptr.p != nullptr && ptr.last != nullptr);
    REQUIRE(ptr.o == nullptr || (ptr.s != nullptr && ptr.o->section == ptr.s));
    REQUIRE(ptr.s == nullptr || ptr.s->package == ptr.p);
    const bool complete = (ptr.flags & uci_ptr::UCI_LOOKUP_COMPLETE) != 0;
    REQUIRE(complete == ((ptr.section == nullptr || ptr.s != nullptr) && (ptr.option == nullptr || ptr.o != nullptr)));
}

static void run(uci_context *context, std::string line)
{
    const char how = line.empty() ? ' ' : line[0];
    if (!line.empty())
        line.erase(0, 1);
    const std::unique_ptr<char, decltype(&free)> text(strdup(line.c_str()), free);
    uci_ptr ptr;
    memset(static_cast<void *>(&ptr), 0x5a, sizeof(ptr));
    const int result = uci_lookup_ptr(context, &ptr, text.get(), how != '!');
    check(ptr, result);
    if (result != UCI_OK)
        return;
    switch (how) {
    case '=':
        (void)uci_set(context, &ptr);
        break;
    case '-':
        (void)uci_delete(context, &ptr);
        break;
    case '|':
        (void)uci_add_list(context, &ptr);
        break;
    case '~':
        (void)uci_del_list(context, &ptr);
        break;
    case '+': {
        uci_section *section = nullptr;
        (void)uci_add_section(context, ptr.p, ptr.value, &section);
        break;
    }
    default:
        break;
    }
}

FUZZ_TARGET(std::string_view input)
{
    static fuzz::memory_file file;
    file.hold(content);
    const fuzz::store_session session;
    // No directory: other packages are not found.
    REQUIRE(uci_set_confdir(session.get(), "/dev/null") == UCI_OK);
    uci_package *package = nullptr;
    REQUIRE(uci_load(session.get(), file.path(), &package) == UCI_OK);
    const std::string name = package->e.name;
    while (!input.empty()) {
        const size_t end = std::min(input.find('\n'), input.size());
        std::string line(input.substr(0, end));
        input.remove_prefix(std::min(end + 1, input.size()));
        // "$" stands for the package's name, which is the number of a descriptor.
        for (size_t at = line.find('$'); at != line.npos; at = line.find('$', at + name.size()))
            line.replace(at, 1, name);
        run(session.get(), line);
    }
    (void)fuzz::dump_of(*package);
}
