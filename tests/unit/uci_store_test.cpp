// The configuration store as the access layer uses it. Asserts only what every store with this header promises, so
// that the same tests run against the system's own library.

#include <uci.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace fs = std::filesystem;
using namespace std::string_literals;

namespace
{

constexpr unsigned done = uci_ptr::UCI_LOOKUP_DONE;
constexpr unsigned complete = uci_ptr::UCI_LOOKUP_COMPLETE;
constexpr unsigned extended = uci_ptr::UCI_LOOKUP_EXTENDED;

// A lookup and the text that its strings point into.
struct lookup {
    std::string text;
    uci_ptr ptr = {};
    int rc = 0;
    unsigned flags() const { return ptr.flags; }
};

std::string printable(const std::string &text)
{
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        char hex[8];
        (void)snprintf(hex, sizeof(hex), "\\x%02x", byte);
        out += c == '\n' ? "\\n" : c == '\t' ? "\\t" : byte < ' ' || byte >= 0x7f ? hex : std::string(1, c);
    }
    return out;
}

std::string items_of(const uci_option &o)
{
    std::string out;
    uci_element *item = nullptr;
    uci_foreach_element(&o.v.list, item)
    {
        EXPECT_EQ(item->type, UCI_TYPE_ITEM);
        out += (out.empty() && item->list.prev == &o.v.list ? "" : "|") + std::string(item->name);
    }
    return out;
}

std::string dump(const uci_package &p)
{
    std::string out;
    uci_element *e = nullptr;
    uci_foreach_element(&p.sections, e)
    {
        const uci_section &s = *uci_to_section(e);
        EXPECT_EQ(e->type, UCI_TYPE_SECTION);
        EXPECT_EQ(s.package, &p);
        out += "section "s + s.type + (s.anonymous ? " anonymous " : " ") + e->name + "\n";
        uci_element *i = nullptr;
        uci_foreach_element(&s.options, i)
        {
            const uci_option &o = *uci_to_option(i);
            EXPECT_EQ(i->type, UCI_TYPE_OPTION);
            EXPECT_EQ(o.section, &s);
            const bool is_list = o.type == UCI_TYPE_LIST;
            out += (is_list ? "list "s : "option "s) + i->name + "=" +
                   printable(is_list ? items_of(o) : std::string(o.v.string)) + "\n";
        }
    }
    return out;
}

// A context on the directories of the test.
class session
{
public:
    session(const fs::path &conf, const fs::path &save) : ctx(uci_alloc_context())
    {
        if (ctx == nullptr)
            abort();
        EXPECT_EQ(uci_set_confdir(ctx, conf.c_str()), 0);
        EXPECT_EQ(uci_set_savedir(ctx, save.c_str()), 0);
    }
    ~session() { uci_free_context(ctx); }
    session(const session &) = delete;
    session &operator=(const session &) = delete;

    lookup look(const std::string &text, bool is_extended = true)
    {
        lookup l;
        look(l, text, is_extended);
        return l;
    }
    void look(lookup &l, const std::string &text, bool is_extended = true)
    {
        // The strings of the pointer point into this text, which must not move.
        l.text = text;
        l.text.reserve(64);
        memset(static_cast<void *>(&l.ptr), 0x7b, sizeof(l.ptr)); // need not be initialised
        l.rc = uci_lookup_ptr(ctx, &l.ptr, l.text.data(), is_extended);
        EXPECT_EQ(ctx->err, l.rc);
    }
    int change(int (*call)(uci_context *, uci_ptr *), const std::string &text)
    {
        lookup l;
        look(l, text);
        EXPECT_EQ(l.rc, 0) << text;
        const int rc = call(ctx, &l.ptr);
        return rc;
    }
    int set(const std::string &text) { return change(uci_set, text); }
    int del(const std::string &text) { return change(uci_delete, text); }
    int add(const std::string &text) { return change(uci_add_list, text); }
    int drop(const std::string &text) { return change(uci_del_list, text); }
    uci_package *package(const std::string &name) { return look(name).ptr.p; }
    int save(const std::string &name) { return uci_save(ctx, package(name)); }
    int commit(const std::string &name, bool overwrite = false)
    {
        lookup l;
        look(l, name);
        return uci_commit(ctx, &l.ptr.p, overwrite);
    }
    std::string add_section(const std::string &name, const char *type)
    {
        uci_section *s = nullptr;
        EXPECT_EQ(uci_add_section(ctx, package(name), type, &s), 0);
        return s != nullptr ? s->e.name : "";
    }
    std::string value(const std::string &address)
    {
        const lookup l = look(address);
        if (l.rc != 0 || l.ptr.o == nullptr)
            return "(none)";
        return l.ptr.o->type == UCI_TYPE_LIST ? "[" + items_of(*l.ptr.o) + "]" : l.ptr.o->v.string;
    }
    std::string error(const char *prefix)
    {
        char *text = nullptr;
        uci_get_errorstr(ctx, &text, prefix);
        std::string out = text != nullptr ? text : "";
        free(text);
        return out.substr(0, out.find('\n'));
    }

    uci_context *ctx;
};

constexpr char wifi[] = "\nconfig wifi-iface 'main'\n\toption ssid 'home'\n\tlist mac 'aa'\n\tlist mac 'bb'\n"
                        "\tlist mac 'aa'\n\toption key 'secret'\n"
                        "\nconfig rule\n\toption name 'r0'\n\nconfig rule 'r'\n\toption name 'r1'\n"
                        "\nconfig wifi-iface\n\toption name 'w'\n\n";

class Uci : public testing::Test
{
protected:
    Uci()
    {
        (void)umask(022);
        char pattern[] = "/tmp/uci-store-XXXXXX";
        root_ = mkdtemp(pattern);
        conf = root_ / "config";
        save = root_ / "save";
        fs::create_directory(conf);
        write("wifi", wifi);
    }
    ~Uci() override { fs::remove_all(root_); }

    void write(const std::string &name, const std::string &content)
    {
        std::ofstream(conf / name, std::ios::binary) << content;
    }
    static std::string read(const fs::path &path)
    {
        std::ifstream file(path, std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }
    std::string written(const std::string &name = "wifi") { return read(conf / name); }
    std::string pending(const std::string &name = "wifi") { return read(save / name); }
    void write_pending(const std::string &content)
    {
        fs::create_directory(save);
        std::ofstream(save / "wifi", std::ios::binary) << content;
    }
    std::string fresh(const std::string &name = "wifi")
    {
        session s(conf, save);
        uci_package *p = s.package(name);
        return p != nullptr ? dump(*p) : "(none)";
    }
    void expect_only(const std::string &name)
    {
        for (const auto &entry : fs::directory_iterator(conf))
            EXPECT_EQ(entry.path().filename(), name);
    }

    fs::path root_;
    fs::path conf;
    fs::path save;
};

// The file format

TEST_F(Uci, ReadsEveryFixture)
{
    size_t cases = 0;
    for (const auto &entry : fs::directory_iterator(fs::path(VANTU_FIXTURES) / "uci")) {
        if (entry.path().extension() != ".txt")
            continue;
        cases++;
        SCOPED_TRACE(entry.path());
        const std::string expected = read(fs::path(entry.path()).replace_extension(".expected"));
        write("case", read(entry.path()));
        session s(conf, save);
        const lookup l = s.look("case");
        if (expected.rfind("Parse error", 0) == 0) {
            EXPECT_EQ(l.rc, UCI_ERR_PARSE);
            EXPECT_EQ(l.flags(), done);
            EXPECT_EQ(l.ptr.p, nullptr);
            const std::string error = s.error(nullptr);
            EXPECT_EQ(error.rfind(expected.substr(0, expected.size() - 1) + " at line ", 0), 0u) << error;
        } else {
            ASSERT_EQ(l.rc, 0);
            // The expected files show what does not print as hexadecimal digits.
            EXPECT_EQ(dump(*l.ptr.p), expected);
        }
    }
    EXPECT_GE(cases, 20u);
}

TEST_F(Uci, WritesWhatItReadsInTheFormOfTheFormat)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=it's \"x\" \\ # $"), 0);
    ASSERT_EQ(s.set("wifi.main.lines=a\nb\tc\r"), 0);
    ASSERT_EQ(s.add("wifi.main.empty="), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), "\nconfig wifi-iface 'main'\n\toption ssid 'it'\\''s \"x\" \\ # $'\n\tlist mac 'aa'\n"
                         "\tlist mac 'bb'\n\tlist mac 'aa'\n\toption key 'secret'\n\toption lines 'a\nb\tc\r'\n"
                         "\tlist empty ''\n\nconfig rule\n\toption name 'r0'\n\nconfig rule 'r'\n\toption name 'r1'\n"
                         "\nconfig wifi-iface\n\toption name 'w'\n\n");
    const std::string memory = dump(*s.package("wifi"));
    EXPECT_EQ(fresh(), memory);
}

TEST_F(Uci, KeepsQuotesOfAValue)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=\"value\""), 0);
    ASSERT_EQ(s.add("wifi.main.mac=\"x y\""), 0);
    ASSERT_EQ(s.drop("wifi.main.mac=\"aa\""), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(s.value("wifi.main.ssid"), "\"value\"");
    EXPECT_EQ(s.value("wifi.main.mac"), "[aa|bb|aa|\"x y\"]");
    EXPECT_NE(written().find("\toption ssid '\"value\"'\n"), std::string::npos);
}

TEST_F(Uci, SetsNoLimitToLengths)
{
    const std::string name(5000, 'n');
    const std::string value(100000, 'v');
    session s(conf, save);
    ASSERT_EQ(s.set("wifi." + name + "=type"), 0);
    ASSERT_EQ(s.set("wifi." + name + "." + name + "=" + value), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    session other(conf, save);
    EXPECT_EQ(other.value("wifi." + name + "." + name), value);
}

// Lookups

TEST_F(Uci, LooksUpByName)
{
    struct row {
        const char *text;
        unsigned flags;
        const char *section;
        const char *option;
        int target;
    };
    constexpr row rows[] = {
        {"wifi", done | complete, nullptr, nullptr, UCI_TYPE_PACKAGE},
        {"wifi.main", done | complete, "main", nullptr, UCI_TYPE_SECTION},
        {"wifi.main.ssid", done | complete, "main", "ssid", UCI_TYPE_OPTION},
        {"wifi.main.none", done, "main", nullptr, UCI_TYPE_OPTION},
        {"wifi.none", done, nullptr, nullptr, UCI_TYPE_SECTION},
        {"wifi.none.ssid", done, nullptr, nullptr, UCI_TYPE_OPTION},
        {"wifi.Main", done, nullptr, nullptr, UCI_TYPE_SECTION},
        {"wifi.cfg0292bd.name", done | complete, "cfg0292bd", "name", UCI_TYPE_OPTION},
    };
    session s(conf, save);
    for (const row &r : rows) {
        SCOPED_TRACE(r.text);
        lookup l;
        s.look(l, r.text);
        EXPECT_EQ(l.rc, 0);
        EXPECT_EQ(l.flags(), r.flags);
        EXPECT_EQ(l.ptr.target, r.target);
        ASSERT_NE(l.ptr.p, nullptr);
        EXPECT_STREQ(l.ptr.p->e.name, "wifi");
        EXPECT_EQ(l.ptr.p->e.type, UCI_TYPE_PACKAGE);
        EXPECT_STREQ(l.ptr.s != nullptr ? l.ptr.s->e.name : nullptr, r.section);
        EXPECT_STREQ(l.ptr.o != nullptr ? l.ptr.o->e.name : nullptr, r.option);
        const uci_element *last = l.ptr.o != nullptr ? &l.ptr.o->e : l.ptr.s != nullptr ? &l.ptr.s->e : &l.ptr.p->e;
        EXPECT_EQ(l.ptr.last, last);
    }
}

TEST_F(Uci, CutsTheTextIntoItsParts)
{
    session s(conf, save);
    char text[] = "wifi.main.none=a.b=c";
    uci_ptr ptr;
    ASSERT_EQ(uci_lookup_ptr(s.ctx, &ptr, text, true), 0);
    EXPECT_EQ(ptr.package, text);
    EXPECT_EQ(ptr.section, text + 5);
    EXPECT_EQ(ptr.option, text + 10);
    EXPECT_EQ(ptr.value, text + 15);
    EXPECT_STREQ(ptr.package, "wifi");
    EXPECT_STREQ(ptr.section, "main");
    EXPECT_STREQ(ptr.option, "none");
    EXPECT_STREQ(ptr.value, "a.b=c");
}

TEST_F(Uci, LooksUpByTypeAndIndex)
{
    struct row {
        const char *text;
        unsigned flags;
        const char *section; // its name, or the literal text
    };
    constexpr unsigned found = done | complete | extended;
    constexpr unsigned missing = done | extended;
    constexpr row rows[] = {
        {"wifi.@rule[0].name", found, "cfg0292bd"},
        {"wifi.@rule[1].name", found, "r"},
        {"wifi.@rule[-1]", found, "r"},
        {"wifi.@rule[-2]", found, "cfg0292bd"},
        {"wifi.@rule[]", found, "cfg0292bd"},
        {"wifi.@rule[ 1]", found, "r"},
        {"wifi.@[2]", found, "r"},
        {"wifi.@[-1]", found, "cfg043579"},
        {"wifi.@wifi-iface[0]", found, "main"},
        {"wifi.@rule[0].none", missing, "cfg0292bd"},
        {"wifi.@rule[2]", missing, "@rule[2]"},
        {"wifi.@rule[99].name", missing, "@rule[99]"},
        {"wifi.@rule[-99]", missing, "@rule[-99]"},
        {"wifi.@none[0]", missing, "@none[0]"},
        {"wifi.@[99]", missing, "@[99]"},
    };
    session s(conf, save);
    for (const row &r : rows) {
        SCOPED_TRACE(r.text);
        lookup l;
        s.look(l, r.text);
        EXPECT_EQ(l.rc, 0);
        EXPECT_EQ(l.flags(), r.flags);
        EXPECT_STREQ(l.ptr.section, r.section);
        EXPECT_EQ(l.ptr.s == nullptr, *r.section == '@');
    }
}

TEST_F(Uci, RefusesMalformedTexts)
{
    struct row {
        const char *text;
        int rc;
    };
    constexpr row rows[] = {
        {"", 5},
        {".", 5},
        {".sec", 5},
        {"=x", 5},
        {"wifi.main.", 5},
        {"wifi.b.c.d", 5},
        {"wifi.main.a-b", 5},
        {"wifi.main.a b", 5},
        {"wi fi.main", 5},
        {"wifi.main.a=\001", 5},
        {"wifi.main.a=x\033[0m", 5},
        {"wifi.", 2},
        {"wifi..opt", 2},
        {"wifi.a-b", 2},
        {"wifi.a b", 2},
        {"wifi.\xc3\xa9", 2},
        {"wifi.@rule", 2},
        {"wifi.@rule[x]", 2},
        {"wifi.@rule[0]x", 2},
        {"wifi.@rule[0", 2},
    };
    session s(conf, save);
    for (const row &r : rows) {
        SCOPED_TRACE(r.text);
        lookup l;
        s.look(l, r.text);
        EXPECT_EQ(l.rc, r.rc);
        EXPECT_EQ(l.flags(), 0u);
        EXPECT_EQ(l.ptr.p, nullptr);
        EXPECT_EQ(l.ptr.s, nullptr);
        EXPECT_EQ(l.ptr.o, nullptr);
        EXPECT_EQ(l.ptr.package, nullptr);
        EXPECT_EQ(l.ptr.section, nullptr);
        EXPECT_EQ(l.ptr.option, nullptr);
        EXPECT_EQ(l.ptr.value, nullptr);
    }
    EXPECT_EQ(s.look("wifi.main.a=\t\r\n").rc, 0);
}

TEST_F(Uci, RefusesAnIndexUnlessAskedFor)
{
    session s(conf, save);
    const lookup l = s.look("wifi.@rule[0].name", false);
    EXPECT_EQ(l.rc, UCI_ERR_INVAL);
    EXPECT_EQ(l.flags(), done | extended);
    EXPECT_NE(l.ptr.p, nullptr);
}

TEST_F(Uci, TellsMissingAndMalformedPackages)
{
    write("bad", "config a b\nfoo\n");
    fs::create_directory(conf / "folder");
    struct row {
        const char *text;
        int rc;
    };
    for (const row &r : {row{"none.sec.opt", 3}, row{"folder.sec.opt", 3}, row{"bad.sec.opt", 5}}) {
        session s(conf, save);
        SCOPED_TRACE(r.text);
        for (int round = 0; round < 2; round++) {
            lookup l;
            s.look(l, r.text);
            EXPECT_EQ(l.rc, r.rc);
            EXPECT_EQ(l.flags(), done);
            EXPECT_EQ(l.ptr.p, nullptr);
            EXPECT_EQ(l.ptr.s, nullptr);
            EXPECT_EQ(l.ptr.o, nullptr);
            EXPECT_STREQ(l.ptr.section, "sec");
            EXPECT_STREQ(l.ptr.option, "opt");
        }
    }
    session s(conf, save);
    EXPECT_EQ(s.look("bad").rc, 5);
    write("bad", "config a b\n");
    EXPECT_EQ(s.look("bad").rc, 0); // read again after a failure
}

TEST_F(Uci, RefusesNull)
{
    session s(conf, save);
    char text[] = "wifi";
    uci_ptr ptr = {};
    uci_package *none = nullptr;
    uci_section *section = nullptr;
    EXPECT_EQ(uci_set_confdir(nullptr, "/tmp"), 2);
    EXPECT_EQ(uci_set_confdir(s.ctx, nullptr), 2);
    EXPECT_EQ(uci_set_savedir(s.ctx, nullptr), 2);
    EXPECT_EQ(s.look("wifi").rc, 0); // the former directory stays
    EXPECT_EQ(uci_lookup_ptr(nullptr, &ptr, text, true), 2);
    EXPECT_EQ(uci_lookup_ptr(s.ctx, nullptr, text, true), 2);
    EXPECT_EQ(uci_set(nullptr, &ptr), 2);
    for (auto *call : {uci_set, uci_delete, uci_add_list, uci_del_list})
        EXPECT_EQ(call(s.ctx, nullptr), 2);
    EXPECT_EQ(uci_add_section(s.ctx, nullptr, "rule", &section), 2);
    EXPECT_EQ(uci_save(s.ctx, nullptr), 2);
    EXPECT_EQ(uci_commit(s.ctx, nullptr, false), 2);
    EXPECT_EQ(uci_commit(s.ctx, &none, false), 2);
    EXPECT_EQ(uci_load(s.ctx, nullptr, &none), 2);
    EXPECT_EQ(uci_unload(s.ctx, nullptr), 2);
    EXPECT_EQ(s.ctx->err, 2);
}

TEST_F(Uci, TakesAnyDirectoryWithoutACheck)
{
    session s(conf, save);
    for (const fs::path &directory : {root_ / "none", conf / "wifi", fs::path()}) {
        EXPECT_EQ(uci_set_confdir(s.ctx, directory.c_str()), 0);
        EXPECT_EQ(s.look("dhcp").rc, 3);
        EXPECT_EQ(uci_set_savedir(s.ctx, directory.c_str()), 0);
    }
}

TEST_F(Uci, CopiesTheDirectory)
{
    session s(conf, save);
    std::string directory = conf;
    ASSERT_EQ(uci_set_confdir(s.ctx, directory.c_str()), 0);
    directory.assign(directory.size(), 'x');
    EXPECT_EQ(s.look("wifi").rc, 0);
}

TEST_F(Uci, KeepsALoadedPackageBoundToItsFile)
{
    session s(conf, save);
    ASSERT_EQ(s.look("wifi").rc, 0);
    fs::create_directory(root_ / "other");
    ASSERT_EQ(uci_set_confdir(s.ctx, (root_ / "other").c_str()), 0);
    ASSERT_EQ(s.set("wifi.main.ssid=moved"), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_NE(written().find("moved"), std::string::npos);
    EXPECT_TRUE(fs::is_empty(root_ / "other"));
}

// Changes

struct change_row {
    const char *name;
    int (*call)(uci_context *, uci_ptr *);
    const char *text;
    int rc;
    const char *address; // read back, in memory and after a commit in a new context
    const char *value;
};

class UciChange : public Uci, public testing::WithParamInterface<change_row>
{
};

TEST_P(UciChange, IsSeenInMemoryAndAfterCommit)
{
    const change_row &r = GetParam();
    const std::string before = fresh();
    session s(conf, save);
    EXPECT_EQ(s.change(r.call, r.text), r.rc);
    EXPECT_EQ(s.ctx->err, r.rc);
    EXPECT_EQ(s.value(r.address), r.value);
    if (r.rc != 0) {
        EXPECT_EQ(dump(*s.package("wifi")), before);
    }
    EXPECT_EQ(written(), wifi);
    ASSERT_EQ(s.commit("wifi"), 0);
    session other(conf, save);
    EXPECT_EQ(other.value(r.address), r.value);
    if (r.rc != 0) {
        EXPECT_EQ(written(), wifi);
    }
}

const change_row changes[] = {
    {"SetExisting", uci_set, "wifi.main.ssid=x", 0, "wifi.main.ssid", "x"},
    {"SetSame", uci_set, "wifi.main.ssid=home", 0, "wifi.main.ssid", "home"},
    {"SetNew", uci_set, "wifi.main.new=a.b=c", 0, "wifi.main.new", "a.b=c"},
    {"SetList", uci_set, "wifi.main.mac=x", 0, "wifi.main.mac", "x"},
    {"SetInMissingSection", uci_set, "wifi.none.ssid=x", 2, "wifi.none.ssid", "(none)"},
    {"SetInMissingIndex", uci_set, "wifi.@rule[99].name=x", 2, "wifi.@rule[99].name", "(none)"},
    {"SetByIndex", uci_set, "wifi.@rule[-2].name=x", 0, "wifi.@rule[0].name", "x"},
    {"SetSectionToTypeWithBlank", uci_set, "wifi.new=bad type", 2, "wifi.new.x", "(none)"},
    {"SetExistingSectionToTypeWithBlank", uci_set, "wifi.r=bad type", 2, "wifi.@rule[1].name", "r1"},
    {"SetTypeKeepsOptions", uci_set, "wifi.r=other", 0, "wifi.@other[0].name", "r1"},
    {"SetPackage", uci_set, "wifi=x", 2, "wifi.x.x", "(none)"},
    {"SetWithoutValue", uci_set, "wifi.main.ssid", 2, "wifi.main.ssid", "home"},
    {"SetEmptyDeletes", uci_set, "wifi.main.ssid=", 0, "wifi.main.ssid", "(none)"},
    {"SetEmptyOfMissing", uci_set, "wifi.main.none=", 0, "wifi.main.none", "(none)"},
    {"SetEmptyInMissingSection", uci_set, "wifi.none.ssid=", 2, "wifi.none.ssid", "(none)"},
    {"SetEmptySectionDeletes", uci_set, "wifi.r=", 0, "wifi.r.name", "(none)"},
    {"SetEmptyMissingSection", uci_set, "wifi.none=", 0, "wifi.none.x", "(none)"},
    {"DeleteOption", uci_delete, "wifi.main.ssid", 0, "wifi.main.ssid", "(none)"},
    {"DeleteSection", uci_delete, "wifi.r", 0, "wifi.r.name", "(none)"},
    {"DeleteSectionByIndex", uci_delete, "wifi.@rule[0]", 0, "wifi.@rule[0].name", "r1"},
    {"DeleteList", uci_delete, "wifi.main.mac", 0, "wifi.main.mac", "(none)"},
    {"DeleteMissingOption", uci_delete, "wifi.main.none", 3, "wifi.main.none", "(none)"},
    {"DeleteMissingSection", uci_delete, "wifi.none", 3, "wifi.none.x", "(none)"},
    {"DeleteMissingIndex", uci_delete, "wifi.@rule[9]", 3, "wifi.@rule[1].name", "r1"},
    {"DeletePackage", uci_delete, "wifi", 2, "wifi.main.ssid", "home"},
    {"DeleteStringIgnoresValueWhichIsKept", uci_delete, "wifi.main.ssid=other", 0, "wifi.main.ssid", "(none)"},
    {"DeleteSectionIgnoresValueWhichIsKept", uci_delete, "wifi.r=other", 0, "wifi.r.name", "(none)"},
    {"DeleteItemByIndex", uci_delete, "wifi.main.mac=1", 0, "wifi.main.mac", "[aa|aa]"},
    {"DeleteItemByLeadingDigits", uci_delete, "wifi.main.mac=0x", 0, "wifi.main.mac", "[bb|aa]"},
    {"DeleteItemPastTheEnd", uci_delete, "wifi.main.mac=3", 0, "wifi.main.mac", "[aa|bb|aa]"},
    {"DeleteItemNegative", uci_delete, "wifi.main.mac=-1", 0, "wifi.main.mac", "[aa|bb|aa]"},
    {"DeleteListWithEmptyValue", uci_delete, "wifi.main.mac=", 0, "wifi.main.mac", "(none)"},
    {"AddItem", uci_add_list, "wifi.main.mac=cc", 0, "wifi.main.mac", "[aa|bb|aa|cc]"},
    {"AddItemTwice", uci_add_list, "wifi.main.mac=bb", 0, "wifi.main.mac", "[aa|bb|aa|bb]"},
    {"AddItemToMissing", uci_add_list, "wifi.main.new=x", 0, "wifi.main.new", "[x]"},
    {"AddItemToString", uci_add_list, "wifi.main.ssid=x", 0, "wifi.main.ssid", "[home|x]"},
    {"AddItemInMissingSection", uci_add_list, "wifi.none.mac=x", 2, "wifi.none.mac", "(none)"},
    {"AddItemWithoutValue", uci_add_list, "wifi.main.mac", 2, "wifi.main.mac", "[aa|bb|aa]"},
    {"AddEmptyItem", uci_add_list, "wifi.main.mac=", 0, "wifi.main.mac", "[aa|bb|aa|]"},
    {"DelItemsRemovesAllEqual", uci_del_list, "wifi.main.mac=aa", 0, "wifi.main.mac", "[bb]"},
    {"DelItemsComparesBytes", uci_del_list, "wifi.main.mac=AA", 0, "wifi.main.mac", "[aa|bb|aa]"},
    {"DelItemsOfMissing", uci_del_list, "wifi.main.none=aa", 0, "wifi.main.none", "(none)"},
    {"DelItemsOfString", uci_del_list, "wifi.main.ssid=home", 0, "wifi.main.ssid", "home"},
    {"DelItemsInMissingSection", uci_del_list, "wifi.none.mac=aa", 2, "wifi.none.mac", "(none)"},
    {"DelItemsWithoutValue", uci_del_list, "wifi.main.mac", 2, "wifi.main.mac", "[aa|bb|aa]"},
};
INSTANTIATE_TEST_SUITE_P(Rows, UciChange, testing::ValuesIn(changes), [](const auto &i) { return i.param.name; });

TEST_F(Uci, ChangesInPlaceAndAppendsWhatIsNew)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.mac=one"), 0);
    ASSERT_EQ(s.add("wifi.main.ssid=two"), 0);
    ASSERT_EQ(s.set("wifi.main.new=three"), 0);
    ASSERT_EQ(s.set("wifi.last=rule"), 0);
    constexpr char expected[] = "section wifi-iface main\nlist ssid=home|two\noption mac=one\noption key=secret\n"
                                "option new=three\nsection rule anonymous cfg0292bd\noption name=r0\nsection rule r\n"
                                "option name=r1\nsection wifi-iface anonymous cfg043579\noption name=w\n"
                                "section rule last\n";
    EXPECT_EQ(dump(*s.package("wifi")), expected);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(dump(*s.package("wifi")), expected);
    EXPECT_EQ(fresh(), expected);
}

TEST_F(Uci, PointsToWhatWasChanged)
{
    session s(conf, save);
    lookup l;
    s.look(l, "wifi.main.new=x");
    ASSERT_EQ(uci_set(s.ctx, &l.ptr), 0);
    ASSERT_NE(l.ptr.o, nullptr);
    EXPECT_STREQ(l.ptr.o->v.string, "x");
    s.look(l, "wifi.main.new");
    ASSERT_EQ(uci_delete(s.ctx, &l.ptr), 0);
    EXPECT_EQ(l.ptr.o, nullptr);
    s.look(l, "wifi.fresh=rule");
    ASSERT_EQ(uci_set(s.ctx, &l.ptr), 0);
    ASSERT_NE(l.ptr.s, nullptr);
    EXPECT_STREQ(l.ptr.s->type, "rule");
    EXPECT_FALSE(l.ptr.s->anonymous);
    s.look(l, "wifi.@rule[0]");
    ASSERT_EQ(uci_delete(s.ctx, &l.ptr), 0);
    EXPECT_EQ(l.ptr.s, nullptr);
}

TEST_F(Uci, DeletesNoItemByText)
{
    session s(conf, save);
    lookup l;
    s.look(l, "wifi.main.mac=aa");
    EXPECT_NE(uci_delete(s.ctx, &l.ptr), 0);
    EXPECT_EQ(s.value("wifi.main.mac"), "[aa|bb|aa]");
}

TEST_F(Uci, RefusesToChangeWhatWasNotFound)
{
    session s(conf, save);
    lookup l;
    s.look(l, "none.sec.opt=x");
    ASSERT_EQ(l.rc, 3);
    EXPECT_EQ(uci_set(s.ctx, &l.ptr), 2);
}

TEST_F(Uci, TakesAPointerFilledByHand)
{
    session s(conf, save);
    uci_ptr ptr = {};
    ptr.package = "wifi";
    ptr.section = "main";
    ptr.option = "ssid";
    ptr.value = "by hand";
    EXPECT_EQ(uci_set(s.ctx, &ptr), 0);
    EXPECT_EQ(s.value("wifi.main.ssid"), "by hand");
    ptr = {};
    ptr.package = "wifi";
    ptr.section = "main";
    ptr.option = "mac";
    ptr.value = "aa";
    EXPECT_EQ(uci_del_list(s.ctx, &ptr), 0);
    EXPECT_EQ(s.value("wifi.main.mac"), "[bb]");
}

TEST_F(Uci, DropsAControlCharacterAtCommitWhichIsKept)
{
    session s(conf, save);
    lookup l;
    s.look(l, "wifi.main.ssid");
    l.ptr.value = "a\001b";
    EXPECT_EQ(uci_set(s.ctx, &l.ptr), 0);
    EXPECT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), wifi);
    EXPECT_EQ(s.value("wifi.main.ssid"), "home");
}

TEST_F(Uci, DropsASectionNamedByAMissingIndexAtCommitWhichIsKept)
{
    session s(conf, save);
    EXPECT_EQ(s.set("wifi.@rule[99]=foo"), 0);
    EXPECT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), wifi);
}

TEST_F(Uci, KeepsAnEmptiedListUntilReload)
{
    session s(conf, save);
    ASSERT_EQ(s.add("wifi.r.only=x"), 0);
    ASSERT_EQ(s.drop("wifi.r.only=x"), 0);
    const lookup l = s.look("wifi.r.only");
    EXPECT_EQ(l.flags(), done | complete);
    EXPECT_EQ(s.value("wifi.r.only"), "[]");
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(s.value("wifi.r.only"), "[]");
    session other(conf, save);
    EXPECT_EQ(other.value("wifi.r.only"), "(none)");
}

// Anonymous sections

TEST_F(Uci, NamesAnonymousSectionsByNumberAndType)
{
    write("a", "");
    session s(conf, save);
    EXPECT_EQ(s.add_section("a", "version"), "cfg016c4b");
    EXPECT_EQ(s.add_section("a", "rule"), "cfg0292bd");
    ASSERT_EQ(s.set("a.named=rule"), 0); // counts as well
    EXPECT_EQ(s.add_section("a", "wifi-iface"), "cfg043579");
    ASSERT_EQ(s.del("a.cfg0292bd"), 0); // does not count back
    EXPECT_EQ(s.add_section("a", "wifi-iface"), "cfg053579");
    for (int i = 6; i < 300; i++)
        (void)s.add_section("a", "x");
    EXPECT_EQ(s.add_section("a", "y"), "cfg12cb61e");
    write("b", "");
    EXPECT_EQ(s.add_section("b", "wifi-device"), "cfg019e91");
}

TEST_F(Uci, AddsAnonymousSections)
{
    session s(conf, save);
    uci_section *section = nullptr;
    ASSERT_EQ(uci_add_section(s.ctx, s.package("wifi"), "rule", &section), 0);
    ASSERT_NE(section, nullptr);
    EXPECT_TRUE(section->anonymous);
    EXPECT_STREQ(section->type, "rule");
    ASSERT_EQ(s.set("wifi."s + section->e.name + ".name=new"), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), std::string(wifi, sizeof(wifi) - 2) + "\nconfig rule\n\toption name 'new'\n\n");
    EXPECT_EQ(s.value("wifi.@rule[-1].name"), "new");
}

TEST_F(Uci, DropsAnAnonymousSectionOfABadTypeAtCommitWhichIsKept)
{
    session s(conf, save);
    (void)s.add_section("wifi", "bad type");
    (void)s.add_section("wifi", "");
    EXPECT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), wifi);
}

// Loaded packages

TEST_F(Uci, KeepsALoadedPackageUntilUnloadOrCommit)
{
    session s(conf, save);
    ASSERT_EQ(s.value("wifi.main.ssid"), "home");
    write("wifi", "config wifi-iface main\n\toption ssid one\n");
    EXPECT_EQ(s.value("wifi.main.ssid"), "home");
    ASSERT_EQ(uci_unload(s.ctx, s.package("wifi")), 0);
    EXPECT_EQ(s.value("wifi.main.ssid"), "one");
    write("wifi", "config wifi-iface main\n\toption ssid two\n");
    EXPECT_EQ(s.value("wifi.main.ssid"), "one");
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(s.value("wifi.main.ssid"), "two");
}

TEST_F(Uci, LoadsOnce)
{
    session s(conf, save);
    uci_package *p = nullptr;
    ASSERT_EQ(uci_load(s.ctx, "wifi", &p), 0);
    ASSERT_NE(p, nullptr);
    EXPECT_STREQ(p->e.name, "wifi");
    uci_package *again = nullptr;
    EXPECT_EQ(uci_load(s.ctx, "wifi", &again), 6);
    EXPECT_EQ(uci_load(s.ctx, "none", &again), 3);
    EXPECT_EQ(s.package("wifi"), p);
    ASSERT_EQ(uci_unload(s.ctx, p), 0);
    EXPECT_EQ(uci_load(s.ctx, "wifi", &p), 0);
}

TEST_F(Uci, FindsAPathOnceWhichIsKept)
{
    session s(conf, save);
    const std::string path = conf / "wifi";
    if (path.find('.') != std::string::npos)
        GTEST_SKIP();
    EXPECT_EQ(s.look(path + ".main.ssid").rc, 0);
    EXPECT_EQ(s.look(path + ".main.ssid").rc, 6);
}

// Pending changes

TEST_F(Uci, SavesRecordsWithoutTouchingTheFile)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=it's\nx"), 0);
    ASSERT_EQ(s.set("wifi.new=rule"), 0);
    const std::string name = s.add_section("wifi", "rule");
    ASSERT_EQ(s.del("wifi.main.key"), 0);
    ASSERT_EQ(s.del("wifi.main.mac=1"), 0);
    ASSERT_EQ(s.add("wifi.main.mac=cc"), 0);
    ASSERT_EQ(s.drop("wifi.main.mac=aa"), 0);
    ASSERT_EQ(s.del("wifi.r"), 0);
    ASSERT_EQ(s.save("wifi"), 0);
    EXPECT_EQ(pending(), "wifi.main.ssid='it'\\''s\nx'\nwifi.new='rule'\n+wifi." + name +
                             "='rule'\n-wifi.main.key\n-wifi.main.mac='1'\n|wifi.main.mac='cc'\n~wifi.main.mac='aa'\n"
                             "-wifi.r\n");
    EXPECT_EQ(written(), wifi);
    ASSERT_EQ(s.set("wifi.new.a=b"), 0);
    ASSERT_EQ(s.save("wifi"), 0);
    EXPECT_NE(pending().find("-wifi.r\nwifi.new.a='b'\n"), std::string::npos);
    EXPECT_EQ(fresh(), dump(*s.package("wifi")));
}

TEST_F(Uci, SavesNothingWithoutChanges)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=home"), 0);
    ASSERT_EQ(s.set("wifi.main.none="), 0);
    EXPECT_EQ(s.save("wifi"), 0);
    EXPECT_FALSE(fs::exists(save));
}

TEST_F(Uci, DropsUnsavedChangesWithTheContext)
{
    {
        session s(conf, save);
        ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    }
    session s(conf, save);
    EXPECT_EQ(s.value("wifi.main.ssid"), "home");
    EXPECT_EQ(written(), wifi);
}

TEST_F(Uci, GivesDirectoryAndRecordsTheModesOfTheConfiguration)
{
    const mode_t mask = umask(022);
    fs::permissions(conf, fs::perms(0750));
    fs::permissions(conf / "wifi", fs::perms(0640));
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    ASSERT_EQ(s.save("wifi"), 0);
    EXPECT_EQ(fs::status(save).permissions(), fs::perms(0750));
    EXPECT_EQ(fs::status(save / "wifi").permissions(), fs::perms(0640));
    (void)umask(mask);
}

TEST_F(Uci, FailsToSaveWhereTheDirectoryCannotBe)
{
    for (const fs::path &directory : {root_ / "missing" / "deep", conf / "wifi"}) {
        session s(conf, directory);
        ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
        EXPECT_EQ(s.save("wifi"), 4);
        EXPECT_EQ(s.commit("wifi"), 4);
        EXPECT_EQ(s.value("wifi.main.ssid"), "x"); // still valid in memory
        EXPECT_EQ(written(), wifi);
    }
}

TEST_F(Uci, CommitsThePendingChangesOfOthers)
{
    session a(conf, save);
    session b(conf, save);
    ASSERT_EQ(a.set("wifi.main.ssid=theirs"), 0);
    ASSERT_EQ(b.set("wifi.main.key=ours"), 0);
    ASSERT_EQ(a.save("wifi"), 0);
    ASSERT_EQ(b.commit("wifi"), 0);
    session c(conf, save);
    EXPECT_EQ(c.value("wifi.main.ssid"), "theirs");
    EXPECT_EQ(c.value("wifi.main.key"), "ours");
    EXPECT_EQ(pending(), "");
}

TEST_F(Uci, SkipsRecordsThatCannotBeApplied)
{
    write_pending("garbage\n\nwifi\nwifi.main\nother.main.ssid='x'\nwifi.none.a='b'\n-wifi.none\n|wifi.none.a='x'\n"
                  "wifi.a-b='rule'\nwifi.x='bad type'\n+wifi.cfg99='bad type'\n-wifi.main.mac='aa'\n"
                  "wifi.main.ssid='good'\n");
    {
        session s(conf, save);
        EXPECT_EQ(s.value("wifi.main.ssid"), "good");
        ASSERT_EQ(s.commit("wifi"), 0);
    }
    std::string expected = wifi;
    expected.replace(expected.find("home"), 4, "good");
    EXPECT_EQ(written(), expected);
    EXPECT_EQ(pending(), "");
}

TEST_F(Uci, KeepsPendingRecordsOfWhichNoneIsGood)
{
    write_pending("garbage\nwifi.none.a='b'\n");
    session s(conf, save);
    EXPECT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(pending(), "garbage\nwifi.none.a='b'\n");
    EXPECT_EQ(written(), wifi);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    EXPECT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(pending(), "");
}

// Commits

TEST_F(Uci, LeavesTheFileAloneWithoutChanges)
{
    write("wifi", "# kept\nconfig wifi-iface main\n");
    struct stat before = {};
    ASSERT_EQ(stat((conf / "wifi").c_str(), &before), 0);
    session s(conf, save);
    lookup l;
    s.look(l, "wifi");
    EXPECT_EQ(uci_commit(s.ctx, &l.ptr.p, false), 0);
    EXPECT_NE(l.ptr.p, nullptr);
    struct stat after = {};
    ASSERT_EQ(stat((conf / "wifi").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
    EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
    EXPECT_EQ(written(), "# kept\nconfig wifi-iface main\n");
    EXPECT_FALSE(fs::exists(save));
}

TEST_F(Uci, RewritesForAChangeThatChangesNothing)
{
    struct row {
        const char *name;
        std::function<int(session &)> change;
    };
    const row rows[] = {
        {"set and set back", [](session &s) { return s.set("wifi.main.a=x") + s.set("wifi.main.a=1"); }},
        {"delete an item that is none", [](session &s) { return s.add("wifi.main.l=x") + s.drop("wifi.main.l=y"); }},
    };
    for (const row &r : rows) {
        write("wifi", "# lost\nconfig wifi-iface main\n\toption a 1\n");
        session s(conf, save);
        ASSERT_EQ(r.change(s), 0) << r.name;
        ASSERT_EQ(s.commit("wifi"), 0);
        EXPECT_EQ(written().rfind("\nconfig wifi-iface 'main'\n\toption a '1'\n", 0), 0u) << r.name;
    }
}

TEST_F(Uci, UpdatesThePackagePointerAtCommit)
{
    session s(conf, save);
    lookup l;
    s.look(l, "wifi.main.ssid=x");
    ASSERT_EQ(uci_set(s.ctx, &l.ptr), 0);
    ASSERT_EQ(uci_commit(s.ctx, &l.ptr.p, false), 0);
    ASSERT_NE(l.ptr.p, nullptr);
    EXPECT_EQ(dump(*l.ptr.p), fresh());
    EXPECT_EQ(s.package("wifi"), l.ptr.p);
    expect_only("wifi");
}

TEST_F(Uci, MergesEditsMadeSinceTheLoad)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=ours"), 0);
    write("wifi", "config wifi-iface main\n\toption key theirs\n");
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), "\nconfig wifi-iface 'main'\n\toption key 'theirs'\n\toption ssid 'ours'\n\n");
    EXPECT_EQ(s.value("wifi.main.key"), "theirs");
}

TEST_F(Uci, KeepsModeAndLink)
{
    fs::permissions(conf / "wifi", fs::perms(0604));
    fs::create_directory(root_ / "target");
    fs::rename(conf / "wifi", root_ / "target" / "real");
    fs::create_symlink(root_ / "target" / "real", conf / "wifi");
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_TRUE(fs::is_symlink(conf / "wifi"));
    EXPECT_NE(read(root_ / "target" / "real").find("option ssid 'x'"), std::string::npos);
    EXPECT_EQ(fs::status(root_ / "target" / "real").permissions(), fs::perms(0604));
    expect_only("wifi");
}

TEST_F(Uci, FailsToCommitToAFileThatWentBadAndKeepsTheChange)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=kept"), 0);
    write("wifi", "config wifi-iface main\nfoo\n");
    EXPECT_EQ(s.commit("wifi"), 5);
    EXPECT_EQ(written(), "config wifi-iface main\nfoo\n");
    EXPECT_EQ(pending(), "wifi.main.ssid='kept'\n");
    EXPECT_EQ(s.look("wifi").rc, 5);
    write("wifi", "config wifi-iface main\n");
    EXPECT_EQ(s.value("wifi.main.ssid"), "kept");
    expect_only("wifi");
}

TEST_F(Uci, FailsToCommitWithoutTheDirectory)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    fs::remove_all(conf);
    EXPECT_EQ(s.commit("wifi"), 4);
}

TEST_F(Uci, RecreatesAFileThatVanishedFromPendingChanges)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    ASSERT_EQ(s.set("wifi.new=rule"), 0);
    fs::remove(conf / "wifi");
    ASSERT_EQ(s.commit("wifi"), 0);
    EXPECT_EQ(written(), "\nconfig rule 'new'\n\n");
    EXPECT_EQ(fs::status(conf / "wifi").permissions(), fs::perms(0600));
}

TEST_F(Uci, OverwritesOnlyWithSavedChanges)
{
    session s(conf, save);
    ASSERT_EQ(s.set("wifi.main.ssid=x"), 0);
    lookup l;
    s.look(l, "wifi");
    uci_package *const before = l.ptr.p;
    EXPECT_EQ(uci_commit(s.ctx, &l.ptr.p, true), 0);
    EXPECT_EQ(l.ptr.p, before);
    EXPECT_EQ(written(), wifi);
    ASSERT_EQ(s.save("wifi"), 0);
    EXPECT_EQ(uci_commit(s.ctx, &l.ptr.p, true), 0);
    EXPECT_EQ(l.ptr.p, before);
    EXPECT_NE(written().find("option ssid 'x'"), std::string::npos);
    EXPECT_EQ(pending(), "");
}

TEST_F(Uci, WaitsForTheLockOfTheFile)
{
    for (const bool commits : {false, true}) {
        const int locked = open((conf / "wifi").c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_EQ(flock(locked, LOCK_EX), 0);
        int pipe_ends[2];
        ASSERT_EQ(pipe(pipe_ends), 0);
        const pid_t child = fork();
        if (child == 0) {
            (void)close(locked); // the lock is the parent's as long as this is not the last copy
            session s(conf, save);
            const int rc = commits ? s.commit("wifi") : s.look("wifi").rc;
            const ssize_t put = ::write(pipe_ends[1], &rc, 1);
            _exit(put == 1 ? 0 : 1);
        }
        (void)close(pipe_ends[1]);
        // While the lock is held the file is malformed: whoever does not wait fails.
        write("wifi", "half");
        (void)usleep(50000);
        write("wifi", wifi);
        (void)close(locked);
        char rc = 99;
        EXPECT_EQ(::read(pipe_ends[0], &rc, 1), 1);
        EXPECT_EQ(rc, 0);
        (void)close(pipe_ends[0]);
        int status = 0;
        EXPECT_EQ(waitpid(child, &status, 0), child);
        EXPECT_EQ(status, 0);
    }
}

// Error texts

TEST_F(Uci, PrintsWhatTheErrorMeans)
{
    constexpr const char *texts[] = {"Success",   "Out of memory", "Invalid argument", "Entry not found",
                                     "I/O error", "Parse error",   "Duplicate entry",  "Unknown error"};
    session s(conf, save);
    for (int err = 0; err < UCI_ERR_LAST; err++) {
        s.ctx->err = err;
        EXPECT_EQ(s.error("pfx"), "pfx: "s + texts[err]);
        EXPECT_EQ(s.error(nullptr), texts[err]);
        testing::internal::CaptureStderr();
        uci_perror(s.ctx, "pfx");
        const std::string printed = testing::internal::GetCapturedStderr();
        EXPECT_EQ(printed.rfind("pfx: "s + texts[err] + "\n", 0), 0u) << printed;
    }
    testing::internal::CaptureStderr();
    uci_perror(nullptr, nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr().rfind("Invalid argument\n", 0), 0u);
}

TEST_F(Uci, TellsTheLineOfAnError)
{
    write("bad", "config a b\n\toption c 'd'\nfoo\n");
    session s(conf, save);
    ASSERT_EQ(s.look("bad").rc, 5);
    testing::internal::CaptureStderr();
    uci_perror(s.ctx, "pfx");
    const std::string printed = testing::internal::GetCapturedStderr();
    EXPECT_EQ(printed.rfind("pfx: Parse error (invalid command) at line 3, byte ", 0), 0u) << printed;
}

// Random changes against a model of nested vectors and maps.

struct model_option {
    std::string name;
    bool is_list = false;
    std::vector<std::string> values;
};
struct model_section {
    std::string name;
    std::vector<model_option> options;
};

class model
{
public:
    std::vector<model_section> sections;

    model_section *section(const std::string &name)
    {
        for (auto &s : sections) {
            if (s.name == name)
                return &s;
        }
        return nullptr;
    }
    static model_option *option(model_section &s, const std::string &name)
    {
        for (auto &o : s.options) {
            if (o.name == name)
                return &o;
        }
        return nullptr;
    }
    static model_option &made(model_section &s, const std::string &name)
    {
        if (option(s, name) == nullptr)
            s.options.push_back({name, false, {}});
        return *option(s, name);
    }
    // Forgets lists without items; true when there was one.
    bool drop_empty()
    {
        bool found = false;
        for (auto &s : sections) {
            const auto end = std::remove_if(s.options.begin(), s.options.end(),
                                            [](const model_option &o) { return o.values.empty(); });
            found = found || end != s.options.end();
            s.options.erase(end, s.options.end());
        }
        return found;
    }
    std::string dump() const
    {
        std::string out;
        for (const auto &s : sections) {
            out += "section t " + (s.name[0] == '@' ? "anonymous" : s.name) + "\n";
            for (const auto &o : s.options) {
                if (o.values.empty())
                    continue;
                out += (o.is_list ? "list " : "option ") + o.name + "=";
                for (size_t i = 0; i < o.values.size(); i++)
                    out += (i > 0 ? "|" : "") + printable(o.values[i]);
                out += "\n";
            }
        }
        return out;
    }
};

// Without the generated names, which shift.
std::string without_names(const std::string &text)
{
    std::string out;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = text.find('\n', begin);
        std::string line = text.substr(begin, end - begin);
        if (line.rfind("section t anonymous", 0) == 0)
            line.resize(strlen("section t anonymous"));
        out += line + "\n";
        begin = end + 1;
    }
    return out;
}

TEST_F(Uci, AgreesWithAModelUnderRandomChanges)
{
    const std::vector<std::string> values = {"a", "b",  "it's",        "\"q\"",  " x ", "l1\nl2",
                                             "#", "\\", "caf\xc3\xa9", "$(x);`", "%n"};
    for (unsigned seed = 0; seed < 20; seed++) {
        SCOPED_TRACE(seed);
        std::mt19937 random(seed);
        const auto pick = [&](size_t n) { return static_cast<size_t>(random() % n); };
        write("m", "");
        model m;
        auto s = std::make_unique<session>(conf, save);
        size_t unsaved_anonymous = 0;
        for (int step = 0; step < 120; step++) {
            const std::string section = "s" + std::to_string(pick(3));
            const std::string option = "o" + std::to_string(pick(3));
            const std::string value = values[pick(values.size())];
            // A position among all sections reaches the anonymous ones too.
            const bool by_index = !m.sections.empty() && pick(2) == 0;
            const size_t index = by_index ? pick(m.sections.size()) : 0;
            model_section *at = by_index ? &m.sections[index] : m.section(section);
            const std::string address = "m." + (by_index ? "@[" + std::to_string(index) + "]" : section);
            const std::string full = address + "." + option + "=" + value;
            model_option *o = at != nullptr ? model::option(*at, option) : nullptr;
            switch (pick(10)) {
            case 0:
                ASSERT_EQ(s->set("m." + section + "=t"), 0);
                if (m.section(section) == nullptr)
                    m.sections.push_back({section, {}});
                break;
            case 1:
                (void)s->add_section("m", "t");
                m.sections.push_back({"@" + std::to_string(unsaved_anonymous++), {}});
                break;
            case 2:
            case 3:
                ASSERT_EQ(s->set(full), at != nullptr ? 0 : 2);
                if (at != nullptr) {
                    model_option &made = model::made(*at, option);
                    made.is_list = false;
                    made.values = {value};
                }
                break;
            case 4:
            case 5:
                ASSERT_EQ(s->add(full), at != nullptr ? 0 : 2);
                if (at != nullptr) {
                    model_option &made = model::made(*at, option);
                    made.is_list = true;
                    made.values.push_back(value);
                }
                break;
            case 6:
                ASSERT_EQ(s->drop(full), at != nullptr ? 0 : 2);
                if (o != nullptr && o->is_list)
                    o->values.erase(std::remove(o->values.begin(), o->values.end(), value), o->values.end());
                break;
            case 7:
                if (pick(3) == 0) {
                    ASSERT_EQ(s->del(address), at != nullptr ? 0 : 3);
                    if (at != nullptr)
                        m.sections.erase(m.sections.begin() + (at - m.sections.data()));
                } else if (o == nullptr || !o->values.empty()) {
                    ASSERT_EQ(s->del(address + "." + option), o != nullptr ? 0 : 3);
                    if (o != nullptr)
                        at->options.erase(at->options.begin() + (o - at->options.data()));
                }
                break;
            case 8:
                ASSERT_EQ(s->save("m"), 0);
                if (pick(2) == 0)
                    s = std::make_unique<session>(conf, save);
                break;
            default:
                ASSERT_EQ(s->commit("m"), 0);
                // A list without items is not in the file: only a new context is sure not to have it.
                if (m.drop_empty() || pick(2) == 0)
                    s = std::make_unique<session>(conf, save);
                break;
            }
            if (HasFatalFailure())
                return;
        }
        ASSERT_EQ(s->commit("m"), 0);
        EXPECT_EQ(without_names(fresh("m")), m.dump());
    }
}

TEST_F(Uci, NeverChangesAFileThatItOnlyReads)
{
    std::string text = wifi;
    for (size_t at = 0; at < text.size(); at++) {
        for (const char bad : {'\0', '\'', '"', '\\', '\n', '#', ' ', 'x', '\xff', '\001'}) {
            std::string corrupt = text;
            corrupt[at] = bad;
            write("wifi", corrupt);
            session s(conf, save);
            const lookup l = s.look("wifi");
            ASSERT_TRUE(l.rc == 0 || l.rc == 5) << at;
            if (l.ptr.p != nullptr) {
                EXPECT_EQ(s.commit("wifi"), 0);
            }
            ASSERT_EQ(written(), corrupt);
        }
    }
}

} // namespace
