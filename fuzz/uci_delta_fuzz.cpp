// Pending changes, applied to a package: twice, with a change behind them, and written by the rules of the format and
// read again.

#include "fuzz.hpp"
#include "store.hpp"
#include "uci_world.hpp"

#include <sys/file.h>

static constexpr char before[] = "config rule 'main'\n\toption a 'x'\n\tlist b '1'\n\tlist b '2'\nconfig rule\n"
                                 "\toption a 'y'\nconfig zone 'lan'\n\tlist b '3'\n";

FUZZ_TARGET(std::string_view input)
{
    static fuzz::memory_file config;
    static fuzz::memory_file pending;
    const fuzz::store_session session;
    store::context &context = store::of(*session.get());
    config.hold(before);
    pending.hold(input);

    store::file source;
    REQUIRE(source.open_locked(config.path(), O_RDONLY, LOCK_SH));
    store::file changes;
    REQUIRE(changes.open_locked(pending.path(), O_RDWR, LOCK_EX));
    const store::package_owner package(store::new_package(context, "wifi", config.path()));
    REQUIRE(store::read_package(context, *package, source) == UCI_OK);

    size_t applied = 0;
    bool committed = true;
    REQUIRE(store::apply_pending(changes, *package, applied, committed) == UCI_OK);
    REQUIRE(applied <= fuzz::reads_of(input, SIZE_MAX));
    REQUIRE(!committed || applied == 0);
    (void)fuzz::dump_of(*package);
    size_t again = 0;
    REQUIRE(store::apply_pending(changes, *package, again, committed) == UCI_OK);
    REQUIRE(store::renumber(*package));
    // A change behind them is heard, whatever they end with.
    REQUIRE(store::append_records(changes, *package, "wifi.probe='heard'\n") == UCI_OK);
    REQUIRE(store::apply_pending(changes, *package, again, committed) == UCI_OK);
    const uci_section *probe = store::find_section(*package, "probe");
    REQUIRE(probe != nullptr && strcmp(probe->type, "heard") == 0);

    REQUIRE(store::renumber(*package));
    const std::string dump = fuzz::dump_of(*package);
    config.hold(fuzz::file_of(*package));
    const store::package_owner copy(store::new_package(context, "wifi", config.path()));
    REQUIRE(store::read_package(context, *copy, source) == UCI_OK);
    REQUIRE(fuzz::dump_of(*copy) == dump);
}
