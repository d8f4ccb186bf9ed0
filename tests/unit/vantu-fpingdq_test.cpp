// Ping latency files: whole files as stored pairs, random ones against a plain model, and who frees what.

#include "vantu-libs2/vantu-fpingdq.h"

#include "list_owner.hpp"
#include "support.hpp"
#include "vantu-libs2/csv.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <malloc.h>
#include <random>
#include <set>
#include <strings.h>
#include <sys/resource.h>
#include <unistd.h>

// A test asks for more memory than there is.
#if defined(__SANITIZE_ADDRESS__)
extern "C" const char *__asan_default_options()
{
    return "allocator_may_return_null=1:max_allocation_size_mb=512";
}
#endif

using namespace std::string_literals;
using namespace support;

namespace
{

constexpr const char *header_line = "Time,IP,Snd#,NwRTD,PLEN,TOS,Ping2";

// ---- A platform ----

// As much of a line as the made-up platform takes: the first fields, cut.
struct platform_row {
    char fields[10][48];
};

int rows_parsed;
int sizes_asked;
int rows_to_refuse; // that many rows from now on are refused
std::vector<const void *> blocks_filled;

int size_of_row()
{
    sizes_asked++;
    return static_cast<int>(sizeof(platform_row));
}

int parse_row(char **fields, void *block)
{
    rows_parsed++;
    blocks_filled.push_back(block);
    if (rows_to_refuse > 0) {
        rows_to_refuse--;
        return -1;
    }
    auto *row = static_cast<platform_row *>(block);
    for (size_t i = 0; i < std::size(row->fields); i++)
        (void)snprintf(row->fields[i], sizeof(row->fields[i]), "%.47s", fields[i]);
    return 0;
}

vantu_platform_ops make_platform()
{
    rows_parsed = 0;
    sizes_asked = 0;
    rows_to_refuse = 0;
    blocks_filled.clear();
    vantu_platform_ops ops = {};
    ops.get_data_struct_size = size_of_row;
    ops.csv_string_to_data_struct = parse_row;
    return ops;
}

// ---- Lists and files ----

std::string dump(const vantu_fpingdq_ping &ping)
{
    char figures[200];
    (void)snprintf(figures, sizeof(figures), " snd=%d nwrtd=%.3f plen=%d tos=%d ping2=%d row=", ping.snd,
                   static_cast<double>(ping.nwrtd), ping.plen, ping.tos, ping.ping2);
    texts row;
    if (ping.csvdata != nullptr) {
        for (const auto &field : static_cast<const platform_row *>(ping.csvdata)->fields)
            row.emplace_back(field);
    }
    return "time=" + std::to_string(ping.time) + " ip=" + ping.ip + figures +
           (ping.csvdata == nullptr ? "none" : joined(row, "|"));
}

texts dump(sclist_t &list)
{
    texts out;
    SCLIST_FOREACH(const vantu_fpingdq_ping, ping, &list) {
        out.push_back(dump(*ping));
    }
    SCLIST_FOREACH_END(&list)
    return out;
}

struct pings : sclist_t {
    pings() { EXPECT_EQ(vantu_fpingdq_init_table(this), 0); }
    explicit pings(const std::vector<vantu_fpingdq_ping> &all) : pings()
    {
        for (const vantu_fpingdq_ping &ping : all)
            EXPECT_EQ(sclist_append(this, &ping), 1);
    }
    ~pings() { EXPECT_EQ(vantu_fpingdq_free_table(this), 0); }
    pings(const pings &) = delete;
    pings &operator=(const pings &) = delete;
};

vantu_fpingdq_ping make_ping(uint64_t time, const char *ip, float nwrtd)
{
    vantu_fpingdq_ping ping = {};
    ping.time = time;
    (void)snprintf(ping.ip, sizeof(ping.ip), "%s", ip);
    ping.nwrtd = nwrtd;
    return ping;
}

struct outcome {
    int result;
    texts records;
    texts log;
};

outcome read_with_rows(std::string_view content)
{
    const memory_file file(content);
    vantu_platform_ops ops = make_platform();
    pings list;
    log_capture log;
    const int result = vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops);
    return {result, dump(list), log.lines};
}

outcome read_pings_only(std::string_view content)
{
    const memory_file file(content);
    pings list;
    log_capture log;
    const int result = vantu_fpingdq_only_to_list(&list, file.path());
    return {result, dump(list), log.lines};
}

// ---- The list ----

TEST(FpingdqList, NewOneIsEmptyAndCopiesItsPings)
{
    sclist_t list;
    memset(&list, 0x5a, sizeof(list));
    ASSERT_EQ(vantu_fpingdq_init_table(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(list.attrs.copy_data, 1);
    EXPECT_EQ(list.attrs.meter(nullptr), sizeof(vantu_fpingdq_ping));
    EXPECT_EQ(vantu_fpingdq_free_table(&list), 0);
}

TEST(FpingdqList, PingsAreSoughtByAddressIgnoringCaseAndEqualWithIt)
{
    pings list({make_ping(1, "192.0.2.1", 1.0F), make_ping(2, "fe80::ab", 2.0F), make_ping(3, "FE80::AB", 3.0F)});
    EXPECT_EQ(sclist_seek(&list, "192.0.2.1"), sclist_get_at(&list, 0));
    EXPECT_EQ(sclist_seek(&list, "Fe80::aB"), sclist_get_at(&list, 1));
    EXPECT_EQ(sclist_seek(&list, "192.0.2.10"), nullptr);
    EXPECT_EQ(sclist_seek(&list, ""), nullptr);
    const struct {
        const char *ip;
        int position;
    } rows[] = {{"192.0.2.1", 0}, {"fe80::ab", 1}, {"FE80::AB", 2}, {"Fe80::aB", -1}, {"192.0.2.2", -1}};
    for (const auto &row : rows) {
        const vantu_fpingdq_ping sought = make_ping(99, row.ip, 99.0F);
        EXPECT_EQ(sclist_locate(&list, &sought), row.position) << row.ip;
    }
}

// ---- The columns ----

TEST(FpingdqColumns, SevenInTheirOrderWithoutOperations)
{
    vantu_fpingdq_ping record = {};
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    EXPECT_EQ(vantu_fpingdq_fill_csv_table(&table, &record), 0);
    const struct {
        const char *name;
        int type;
        const void *place;
    } rows[] = {
        {"Time", VANTU_TYPE_U64, &record.time},   {"IP", VANTU_TYPE_STRING, record.ip},
        {"Snd#", VANTU_TYPE_INT, &record.snd},    {"NwRTD", VANTU_TYPE_FLOAT, &record.nwrtd},
        {"PLEN", VANTU_TYPE_INT, &record.plen},   {"TOS", VANTU_TYPE_INT, &record.tos},
        {"Ping2", VANTU_TYPE_INT, &record.ping2},
    };
    ASSERT_EQ(sclist_size(&table), std::size(rows));
    for (unsigned i = 0; i < std::size(rows); i++) {
        const auto *row = static_cast<const vantu_csv_table_row *>(sclist_get_at(&table, i));
        EXPECT_STREQ(row->headername, rows[i].name);
        EXPECT_EQ(row->type_id, rows[i].type) << rows[i].name;
        EXPECT_EQ(row->operation, VANTU_OPR_NONE) << rows[i].name;
        EXPECT_EQ(row->dataptr, rows[i].place) << rows[i].name;
    }
}

// Reads fields through the ping columns into a record full of 0xa5; the bytes that are no field must stay.
vantu_fpingdq_ping stored(const texts &fields)
{
    vantu_fpingdq_ping record;
    memset(static_cast<void *>(&record), 0xa5, sizeof(record));
    sclist_t table;
    const vantu::list_owner owner(table, vantu_csv_init_csv_table);
    vantu_fpingdq_fill_csv_table(&table, &record);
    std::vector<char *> at;
    for (const std::string &each : fields)
        at.push_back(const_cast<char *>(each.c_str()));
    const int idxs[] = {0, 1, 2, 3, 4, 5, 6};
    EXPECT_EQ(vantu_csv_line_to_table_struct(&table, idxs, at.data()), 0);
    const auto *bytes = reinterpret_cast<const unsigned char *>(&record);
    for (size_t i = 0; i < sizeof(record.csvdata); i++)
        EXPECT_EQ(bytes[offsetof(vantu_fpingdq_ping, csvdata) + i], 0xa5) << "csvdata, byte " << i;
    for (size_t i = offsetof(vantu_fpingdq_ping, tos) + 1; i < sizeof(record); i++)
        EXPECT_EQ(bytes[i], 0xa5) << "behind tos, byte " << i;
    return record;
}

TEST(FpingdqColumns, TypeOfServiceIsOneByteUnderAnIntColumn)
{
    const struct {
        const char *text;
        uint8_t tos;
        const char *written;
    } rows[] = {
        {"0", 0, "0"},       {"8", 8, "8"},       {"127", 127, "127"}, {"128", 128, "128"},
        {"160", 160, "160"}, {"255", 255, "255"}, {"256", 0, "0"},     {"300", 44, "44"},
        {"-1", 255, "255"},  {"", 0, "0"},        {"x", 0, "0"},       {"65535", 255, "255"},
    };
    for (const auto &row : rows) {
        vantu_fpingdq_ping record = stored({"1", "192.0.2.1", "2", "3.5", "4", row.text, "6"});
        EXPECT_EQ(record.tos, row.tos) << row.text;
        EXPECT_EQ(record.ping2, 6) << row.text;
        sclist_t table;
        const vantu::list_owner owner(table, vantu_csv_init_csv_table);
        vantu_fpingdq_fill_csv_table(&table, &record);
        char line[256];
        EXPECT_EQ(vantu_csv_table_to_csv(&table, line), 0);
        EXPECT_STREQ(line, ("1,192.0.2.1,2,3.50,4,"s + row.written + ",6").c_str()) << row.text;
    }
}

TEST(FpingdqColumns, AddressKeeps19Characters)
{
    const struct {
        const char *name;
        std::string text;
        std::string ip;
    } rows[] = {
        {"empty", "", ""},
        {"exactly full", "fe80::1234:5678:9ab", "fe80::1234:5678:9ab"},
        {"one too long", "fe80::1234:5678:9abc", "fe80::1234:5678:9ab"},
        {"a field's longest", std::string(128, 'a'), std::string(19, 'a')},
        {"format characters", "%n%s", "%n%s"},
        {"no UTF-8", "\xff\xfe", "\xff\xfe"},
    };
    for (const auto &row : rows) {
        const vantu_fpingdq_ping record = stored({"1", row.text, "2", "3.5", "4", "5", "6"});
        EXPECT_STREQ(record.ip, row.ip.c_str()) << row.name;
        EXPECT_EQ(record.snd, 2) << row.name;
    }
}

// ---- Stored files ----

const auto kinds = {".txt", ".expected", ".only.expected"};

void expect_stored(const std::string &name, const outcome &got)
{
    support::expect_stored(name, lines_of(got.records), got.log);
    EXPECT_EQ(got.result, static_cast<int>(got.records.size())) << name;
}

TEST(FpingdqStoredFiles, GiveTheExpectedPingsRowsAndMessages)
{
    for (const std::string &name : cases_of("fpingdq", kinds))
        expect_stored(name, read_with_rows(fixture(name + ".txt")));
}

TEST(FpingdqStoredFiles, ReadWithoutRowsGiveTheExpectedPingsAndMessages)
{
    for (const std::string &name : cases_of("fpingdq", kinds))
        expect_stored(name + ".only", read_pings_only(fixture(name + ".txt")));
}

// Hostile text is read and what comes of it checked.
void survive_with_rows(const memory_file &file, std::string_view text)
{
    vantu_platform_ops ops = make_platform();
    pings list;
    const int count = vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops);
    ASSERT_LE(count, std::count(text.begin(), text.end(), '\n')) << printable(text);
    ASSERT_EQ(rows_parsed, count) << printable(text);
    bool sound = true;
    SCLIST_FOREACH(const vantu_fpingdq_ping, ping, &list) {
        sound = sound && memchr(ping->ip, '\0', sizeof(ping->ip)) != nullptr && ping->csvdata != nullptr;
    }
    SCLIST_FOREACH_END(&list)
    ASSERT_TRUE(sound) << printable(text);
}

void survive_pings_only(const memory_file &file, std::string_view text)
{
    pings list;
    const int count = vantu_fpingdq_only_to_list(&list, file.path());
    ASSERT_LE(count, std::count(text.begin(), text.end(), '\n')) << printable(text);
    bool sound = true;
    SCLIST_FOREACH(const vantu_fpingdq_ping, ping, &list) {
        sound = sound && memchr(ping->ip, '\0', sizeof(ping->ip)) != nullptr && ping->csvdata == nullptr;
    }
    SCLIST_FOREACH_END(&list)
    ASSERT_TRUE(sound) << printable(text);
}

TEST(FpingdqStoredFiles, EveryTruncationGivesSoundPings)
{
    const quiet_log quiet;
    memory_file file;
    for (const std::string &name : cases_of("fpingdq", kinds)) {
        every_truncation(fixture(name + ".txt"), [&](std::string_view text) {
            file.write(text);
            survive_with_rows(file, text);
            survive_pings_only(file, text);
        });
    }
}

// Calls `run` with every corruption of a case, of its lines only or of the header as well.
void corrupt(const std::string &name, bool with_header, void (*run)(const memory_file &file, std::string_view text))
{
    memory_file file;
    const std::string text = fixture(name + ".txt");
    const size_t kept = with_header ? 0 : text.find('\n') + 1;
    every_corruption(text.substr(kept), [&](std::string_view corrupted) {
        const std::string whole = text.substr(0, kept) + std::string(corrupted);
        file.write(whole);
        run(file, whole);
    });
}

// Most cases have the same header: its bytes are corrupted in one of them, those of the lines in all.
TEST(FpingdqStoredFiles, EveryCorruptionGivesSoundPings)
{
    const quiet_log quiet;
    for (const std::string &name : cases_of("fpingdq", kinds))
        corrupt(name, name == "fpingdq/crlf", survive_with_rows);
}

// The two readers share what reads a line; this case has lines that they treat differently.
TEST(FpingdqStoredFiles, EveryCorruptionOfShortRowsGivesSoundPingsWithoutRows)
{
    const quiet_log quiet;
    corrupt("fpingdq/short_rows", false, survive_pings_only);
}

// ---- Files ----

TEST(FpingdqFiles, ThatCannotBeOpenedGiveZeroWhateverTheListHolds)
{
    const temp_dir dir;
    for (const std::string &path : {dir / "none", dir / "no%n", ""s}) {
        pings list({make_ping(1, "192.0.2.1", 1.0F)});
        vantu_platform_ops ops = make_platform();
        const texts complaint = {"ERROR failed to open file " + path};
        {
            log_capture log;
            EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, path.c_str(), &ops), 0) << path;
            EXPECT_EQ(log.lines, complaint) << path;
        }
        {
            log_capture log;
            EXPECT_EQ(vantu_fpingdq_only_to_list(&list, path.c_str()), 0) << path;
            EXPECT_EQ(log.lines, complaint) << path;
        }
        EXPECT_EQ(sclist_size(&list), 1U) << path;
        EXPECT_EQ(sizes_asked + rows_parsed, 0) << path;
    }
}

TEST(FpingdqFiles, AreAppendedToTheListAndItsSizeIsReturned)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n1,192.0.2.1,1,1.5,64,0,0\n2,192.0.2.2,2,2.5,64,0,0\n"s);
    const memory_file header(header_line + "\n"s);
    const memory_file empty("");
    vantu_platform_ops ops = make_platform();
    pings list({make_ping(9, "192.0.2.9", 9.0F)});
    EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 3);
    EXPECT_EQ(vantu_fpingdq_only_to_list(&list, file.path()), 5);
    EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, header.path(), &ops), 5);
    EXPECT_EQ(vantu_fpingdq_only_to_list(&list, header.path()), 5);
    EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, empty.path(), &ops), 5);
    EXPECT_EQ(vantu_fpingdq_only_to_list(&list, empty.path()), 5);
    std::vector<uint64_t> times;
    for (unsigned i = 0; i < 5; i++)
        times.push_back(static_cast<vantu_fpingdq_ping *>(sclist_get_at(&list, i))->time);
    EXPECT_EQ(times, (std::vector<uint64_t>{9, 1, 2, 1, 2}));
}

TEST(FpingdqFiles, AreClosed)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n1,192.0.2.1,1,1.5,64,0,0\n"s);
    vantu_platform_ops ops = make_platform();
    pings list;
    const size_t descriptors = open_descriptors();
    for (int i = 0; i < 3; i++) {
        vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops);
        vantu_fpingdq_only_to_list(&list, file.path());
    }
    EXPECT_EQ(open_descriptors(), descriptors);
}

TEST(FpingdqFiles, DirectoryHoldsNoPings)
{
    const temp_dir dir;
    const quiet_log quiet;
    pings list;
    vantu_platform_ops ops = make_platform();
    EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, (dir / "").c_str(), &ops), 0);
    EXPECT_EQ(vantu_fpingdq_only_to_list(&list, (dir / "").c_str()), 0);
}

// ---- Hostile files against a plain model ----

// What both readers make of a file, by the rules: lines of at most 8192 characters that end at a NUL; the header's
// fields are the most that a row has; fields are cut, fields that are not there are empty.
class model
{
public:
    explicit model(const std::string &content)
    {
        const texts lines = lines_in(content);
        if (lines.empty())
            return;
        log_of_both("TRACE Parsing Header");
        headers_ = fields_of(lines[0], MAX_FIELDS);
        log_of_both("TRACE header_fields: " + std::to_string(headers_.size()));
        for (size_t i = 1; i < lines.size(); i++)
            take(lines[i]);
    }

    outcome with_rows = {};
    outcome only = {};

private:
    static texts lines_in(const std::string &content)
    {
        texts out;
        for (size_t at = 0; at < content.size();) {
            const size_t newline = content.find('\n', at);
            const size_t end = std::min({newline == std::string::npos ? content.size() : newline + 1, at + 8192});
            const std::string line = content.substr(at, end - at);
            out.push_back(line.substr(0, line.find_first_of("\n\0"s)));
            at = end;
        }
        return out;
    }

    static texts fields_of(const std::string &line, size_t limit)
    {
        texts out;
        size_t at = 0;
        for (bool last = false; !last && out.size() < limit;) {
            const size_t comma = line.find(',', at);
            last = comma == std::string::npos;
            std::string field = line.substr(at, last ? comma : comma - at);
            if (field.size() > 128 || (last && field.size() > 127))
                field.resize(127);
            out.push_back(field);
            at = comma + 1;
        }
        return out;
    }

    void log_of_both(const std::string &line)
    {
        with_rows.log.push_back(line);
        only.log.push_back(line);
    }

    // The field under a header; a column that there is not is traced and reads as the zeroed record.
    std::string under(const char *name, const texts &fields, texts &log) const
    {
        for (size_t i = 0; i < headers_.size(); i++) {
            if (strcasecmp(headers_[i].c_str(), name) == 0)
                return i < fields.size() ? fields[i] : "";
        }
        log.push_back("TRACE Error idx for field "s + name + " == -1");
        return "";
    }

    void take(const std::string &line)
    {
        texts fields = fields_of(line, headers_.size());
        const bool complete = fields.size() == headers_.size();
        if (!complete)
            log_of_both("ERROR csv data and header count does not match " + std::to_string(fields.size()) + " " +
                        std::to_string(headers_.size()) + ". skip store in array");
        texts traces;
        vantu_fpingdq_ping ping = {};
        ping.time = strtoull(under("Time", fields, traces).c_str(), nullptr, 10);
        (void)snprintf(ping.ip, sizeof(ping.ip), "%.19s", under("IP", fields, traces).c_str());
        ping.snd = number(under("Snd#", fields, traces));
        ping.nwrtd = strtof(under("NwRTD", fields, traces).c_str(), nullptr);
        ping.plen = number(under("PLEN", fields, traces));
        ping.tos = static_cast<uint8_t>(number(under("TOS", fields, traces)));
        ping.ping2 = number(under("Ping2", fields, traces));

        if (complete) {
            only.log.insert(only.log.end(), traces.begin(), traces.end());
            only.records.push_back(dump(ping));
        } else {
            only.log.push_back(("DEBUG buffer: [" + line + "]\n").substr(0, 6 + 2047));
        }
        with_rows.log.insert(with_rows.log.end(), traces.begin(), traces.end());
        platform_row row = {};
        for (size_t i = 0; i < std::min(fields.size(), std::size(row.fields)); i++)
            (void)snprintf(row.fields[i], sizeof(row.fields[i]), "%.47s", fields[i].c_str());
        ping.csvdata = &row;
        with_rows.records.push_back(dump(ping));
    }

    static int number(const std::string &text) { return static_cast<int>(strtoull(text.c_str(), nullptr, 10)); }

    texts headers_;
};

void expect_as_modelled(const std::string &name, const std::string &content)
{
    const model wanted(content);
    const outcome with_rows = read_with_rows(content);
    EXPECT_EQ(with_rows.records, wanted.with_rows.records) << name;
    EXPECT_EQ(with_rows.log, wanted.with_rows.log) << name;
    EXPECT_EQ(with_rows.result, static_cast<int>(wanted.with_rows.records.size())) << name;
    const outcome only = read_pings_only(content);
    EXPECT_EQ(only.records, wanted.only.records) << name;
    EXPECT_EQ(only.log, wanted.only.log) << name;
    EXPECT_EQ(only.result, static_cast<int>(wanted.only.records.size())) << name;
}

std::string repeated(const std::string &text, size_t times)
{
    std::string out;
    for (size_t i = 0; i < times; i++)
        out += text;
    return out;
}

TEST(FpingdqHostileFiles, AreReadByTheSameRules)
{
    const std::string head = header_line + "\n"s;
    const std::string row = "1,192.0.2.1,2,3.50,64,8,1\n";
    const struct {
        const char *name;
        std::string content;
    } rows[] = {
        {"empty", ""},
        {"a newline alone", "\n"},
        {"newlines alone", "\n\n\n"},
        {"a NUL alone", "\0"s},
        {"missing header", row + row},
        {"255 columns", header_line + repeated(",x", 248) + "\n" + repeated("7,", 254) + "7\n"},
        {"256 columns", header_line + repeated(",x", 249) + "\n" + repeated("7,", 255) + "7\n"},
        {"257 columns", header_line + repeated(",x", 250) + "\n" + repeated("7,", 256) + "7\n"},
        {"more columns than the limit, the pings' behind it",
         repeated("x,", 256) + header_line + "\n" + repeated("7,", 256) + row},
        {"the last column within the limit", repeated("x,", 255) + "Time\n" + repeated("7,", 255) + "8\n"},
        {"4000 commas", head + repeated(",", 4000) + "\n" + row},
        {"a header of commas", repeated(",", 4000) + "\n" + row},
        {"fields of 127 characters", head + std::string(127, 'f') + "," + std::string(127, '1') + "\n" + row},
        {"fields of 128 characters", head + std::string(128, 'f') + "," + std::string(128, '1') + "\n" + row},
        {"fields of 129 characters", head + std::string(129, 'f') + "," + std::string(129, '1') + "\n" + row},
        {"row of 7 fields of 128 characters", head + repeated(std::string(128, '9') + ",", 7) + "\n" + row},
        {"column name of 128 characters", std::string(128, 'n') + "," + head + row},
        {"field of 100,000 characters", head + "1," + std::string(100000, '1') + ",2,3.50,64,8,1\n" + row},
        {"column name of 100,000 characters", std::string(100000, 'n') + "," + head + row},
        {"no newline in 100,000 characters", std::string(100000, ',')},
        {"NUL in the header", "Time,IP\0,Snd#\n"s + row},
        {"NUL in a row", head + "1,192.0.2.1\0,2,3.50,64,8,1\n"s + row},
        {"NUL before a newline", head + "1,192.0.2.1,2,3.50,64,8,1\0\n"s + row},
        {"a row of NUL", head + "\0\0\0\n"s + row},
        {"CR LF", header_line + "\r\n1,192.0.2.1,2,3.50,64,8,1\r\n"s},
        {"CR alone", header_line + "\r1,192.0.2.1,2,3.50,64,8,1\r"s},
        {"no last newline", head + "1,192.0.2.1,2,3.50,64,8,1"},
        {"header without newline", header_line},
        {"format characters", "Time,%n,IP\n5,%s%n,%n\n"},
        {"no UTF-8", head + "\xff,\xfe\xc0,2,3,4,5,6\n"},
        {"the same column twice", "Time,Time,IP,IP\n1,2,a,b\n"},
        {"names with blanks are others", " Time,IP \n1,a\n"},
    };
    for (const auto &each : rows)
        expect_as_modelled(each.name, each.content);
}

TEST(FpingdqHostileFiles, LinesAreReadUpTo8192Characters)
{
    const std::string head = header_line + "\n"s;
    for (const size_t length : {8190U, 8191U, 8192U, 8193U, 16384U, 20000U}) {
        // The figures stand where the first piece of the line ends.
        const std::string content = head + std::string(length - 25, 'f') + ",192.0.2.1,2,3.50,64,8,1\n";
        expect_as_modelled(std::to_string(length), content);
    }
    // 8191 characters and the newline are one line; of 8192 the newline is a line of its own.
    EXPECT_EQ(read_with_rows(head + std::string(8191, '1') + "\n").result, 1);
    EXPECT_EQ(read_with_rows(head + std::string(8192, '1') + "\n").result, 2);
}

TEST(FpingdqHostileFiles, RandomOnesAgreeWithAPlainModel)
{
    std::mt19937 random(4801);
    for (int run = 0; run < 600; run++) {
        texts names = {"Time", "ip", "SND#", "NwRTD", "plen", "TOS", "Ping2", "mac", "signal", "tx"};
        for (auto more = random() % 10 == 0 ? 240 + random() % 10 : random() % 3; more > 0; more--)
            names.push_back("x" + std::to_string(more));
        for (size_t i = names.size(); i > 1; i--)
            std::swap(names[i - 1], names[random() % i]);
        names.resize(names.size() - random() % 4);

        std::string content = joined(names);
        for (auto lines = random() % 6; lines > 0; lines--) {
            texts values(1 + names.size() + random() % 3 - random() % 2);
            if (random() % 3 == 0)
                values.resize(1 + random() % values.size());
            for (std::string &value : values) {
                const auto kind = random() % 12;
                value = kind == 0   ? ""
                        : kind == 1 ? "-" + std::to_string(random() % 1000)
                        : kind == 2 ? std::to_string(random() % 20000) + ".25"
                        : kind == 3 ? "192.0.2." + std::to_string(random() % 256)
                        : kind == 4 ? std::string(126 + random() % 4, '5')
                        : kind == 5 ? std::to_string(random() * 4294967296U + random())
                                    : std::to_string(random() % 70000);
            }
            content += "\n" + joined(values);
        }
        content += random() % 4 == 0 ? "" : "\n";
        ASSERT_NO_FATAL_FAILURE(expect_as_modelled("run " + std::to_string(run), content));
        if (HasFailure())
            break; // one is enough
    }
}

// ---- The platform's rows ----

TEST(FpingdqRows, AreFilledInTheBlocksThatTheListOwns)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n1,a,1,1.5,64,0,0\n2,b,2,2.5,64,0,0\n3,c,3\n"s);
    vantu_platform_ops ops = make_platform();
    pings list;
    ASSERT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 3);
    EXPECT_EQ(rows_parsed, 3);
    std::vector<const void *> blocks;
    for (unsigned i = 0; i < 3; i++)
        blocks.push_back(static_cast<vantu_fpingdq_ping *>(sclist_get_at(&list, i))->csvdata);
    EXPECT_EQ(blocks, blocks_filled);
    EXPECT_EQ(std::set<const void *>(blocks.begin(), blocks.end()).size(), 3U);
}

TEST(FpingdqRows, ThatThePlatformRefusesStayZeroedAndAreLogged)
{
    const memory_file file(header_line + "\n1,a,1,1.5,64,0,0\n2,b,2,2.5,64,0,0\n3,c,3,3.5,64,0,0\n"s);
    for (const int code : {-1, 1, INT_MIN}) {
        vantu_platform_ops ops = make_platform();
        static int answer;
        answer = code;
        ops.csv_string_to_data_struct = [](char **fields, void *block) {
            return fields[0][0] == '2' ? answer : parse_row(fields, block);
        };
        pings list;
        log_capture log;
        EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 3);
        EXPECT_EQ(log.lines,
                  (texts{"TRACE Parsing Header", "TRACE header_fields: 7", "ERROR error: csv_string_to_data_struct"}))
            << code;
        EXPECT_EQ(dump(list), (texts{"time=1 ip=a snd=1 nwrtd=1.500 plen=64 tos=0 ping2=0 row=1|a|1|1.5|64|0|0|||",
                                     "time=2 ip=b snd=2 nwrtd=2.500 plen=64 tos=0 ping2=0 row=|||||||||",
                                     "time=3 ip=c snd=3 nwrtd=3.500 plen=64 tos=0 ping2=0 row=3|c|3|3.5|64|0|0|||"}))
            << code;
        const auto *block =
            static_cast<const char *>(static_cast<const vantu_fpingdq_ping *>(sclist_get_at(&list, 1))->csvdata);
        EXPECT_TRUE(std::all_of(block, block + sizeof(platform_row), [](char byte) { return byte == 0; })) << code;
    }
}

TEST(FpingdqRows, AreZeroedBeforeThePlatformFillsThem)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n"s + repeated("1,a,1,1.5,64,0,0\n", 50));
    vantu_platform_ops ops = make_platform();
    static int dirty;
    dirty = 0;
    ops.csv_string_to_data_struct = [](char **, void *block) {
        auto *bytes = static_cast<char *>(block);
        dirty += static_cast<int>(std::count_if(bytes, bytes + sizeof(platform_row), [](char b) { return b != 0; }));
        memset(bytes, 0x5a, sizeof(platform_row));
        return 0;
    };
    pings list;
    for (int i = 0; i < 3; i++) {
        EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 50);
        EXPECT_EQ(vantu_fpingdq_clear_table(&list), 0);
    }
    EXPECT_EQ(dirty, 0);
}

TEST(FpingdqRows, OfNoSizeAreBlocksAllTheSame)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n1,a,1,1.5,64,0,0\n"s);
    for (const int size : {0, -1, INT_MIN}) {
        static int answer;
        answer = size;
        vantu_platform_ops ops = make_platform();
        ops.get_data_struct_size = [] { return answer; };
        ops.csv_string_to_data_struct = [](char **, void *) { return 0; };
        pings list;
        EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 1) << size;
        EXPECT_NE(static_cast<vantu_fpingdq_ping *>(sclist_get_at(&list, 0))->csvdata, nullptr) << size;
    }
}

// Half a gigabyte; with AddressSanitizer its option above does this.
void limit_memory()
{
#ifndef __SANITIZE_ADDRESS__
    const rlimit memory = {512U << 20U, 512U << 20U};
    (void)setrlimit(RLIMIT_AS, &memory);
#endif
}

TEST(FpingdqRows, WithoutMemoryAreMissingAndLogged)
{
    const memory_file file(header_line + "\n1,a,1,1.5,64,0,0\n2,b,2,2.5,64,0,0\n"s);
    EXPECT_EQ(in_child([&] {
                  limit_memory();
                  vantu_platform_ops ops = make_platform();
                  ops.get_data_struct_size = [] { return INT_MAX; };
                  pings list;
                  log_capture log;
                  if (vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops) != 2)
                      return 1;
                  if (rows_parsed != 0)
                      return 2;
                  if (dump(list) != texts{"time=1 ip=a snd=1 nwrtd=1.500 plen=64 tos=0 ping2=0 row=none",
                                          "time=2 ip=b snd=2 nwrtd=2.500 plen=64 tos=0 ping2=0 row=none"})
                      return 3;
                  return log.lines == texts{"TRACE Parsing Header", "TRACE header_fields: 7",
                                            "ERROR error: csv_string_to_data_struct",
                                            "ERROR error: csv_string_to_data_struct"}
                             ? 0
                             : 4;
              }),
              0);
}

// ---- Single lines ----

class FpingdqLine : public testing::Test
{
protected:
    FpingdqLine()
    {
        vantu_fpingdq_fill_csv_table(&table, &bound);
        memset(static_cast<void *>(&out), 0x5a, sizeof(out));
    }

    vantu_fpingdq_ping bound = {};
    vantu_fpingdq_ping out;
    sclist_t table;
    vantu::list_owner owner{table, vantu_csv_init_csv_table};
    vantu_platform_ops ops = make_platform();
    char values[10][8] = {"1", "ip", "2", "3.25", "4", "5", "6", "x", "y", "z"};
    char *fields[10] = {values[0], values[1], values[2], values[3], values[4],
                        values[5], values[6], values[7], values[8], values[9]};
};

TEST_F(FpingdqLine, FillsTheBoundRecordAndCopiesItOut)
{
    const int idxs[] = {0, 1, 2, 3, 4, 5, 6};
    log_capture log;
    EXPECT_EQ(vantu_fpingdq_only_line_to_struct(&table, idxs, &bound, &out, fields), 0);
    EXPECT_EQ(dump(out), "time=1 ip=ip snd=2 nwrtd=3.250 plen=4 tos=5 ping2=6 row=none");
    EXPECT_EQ(dump(bound), dump(out));

    EXPECT_EQ(vantu_fpingdq_csv_line_to_struct(&table, idxs, &bound, &out, fields, &ops), 0);
    EXPECT_EQ(dump(out), "time=1 ip=ip snd=2 nwrtd=3.250 plen=4 tos=5 ping2=6 row=1|ip|2|3.25|4|5|6|x|y|z");
    EXPECT_EQ(bound.csvdata, nullptr);
    EXPECT_EQ(log.lines, texts{});
    free(out.csvdata);
}

TEST_F(FpingdqLine, ColumnThatTheHeaderLacksKeepsWhatTheBoundRecordHeldWhichIsKept)
{
    bound = make_ping(70, "before", 71.0F);
    bound.snd = 72;
    bound.plen = 73;
    bound.tos = 74;
    bound.ping2 = 75;
    const int idxs[] = {-1, -1, 2, -1, 4, -1, -1};
    log_capture log;
    EXPECT_EQ(vantu_fpingdq_only_line_to_struct(&table, idxs, &bound, &out, fields), 0);
    EXPECT_EQ(dump(out), "time=70 ip=before snd=2 nwrtd=71.000 plen=4 tos=74 ping2=75 row=none");
    EXPECT_EQ(log.lines, (texts{"TRACE Error idx for field Time == -1", "TRACE Error idx for field IP == -1",
                                "TRACE Error idx for field NwRTD == -1", "TRACE Error idx for field TOS == -1",
                                "TRACE Error idx for field Ping2 == -1"}));
}

TEST_F(FpingdqLine, FieldThatIsNullKeepsItAndAllBehindIt)
{
    const int idxs[] = {0, 1, 2, 3, 4, 5, 6};
    bound = make_ping(70, "before", 71.0F);
    bound.ping2 = 75;
    fields[2] = nullptr;
    EXPECT_EQ(vantu_fpingdq_only_line_to_struct(&table, idxs, &bound, &out, fields), 0);
    EXPECT_EQ(dump(out), "time=1 ip=ip snd=0 nwrtd=71.000 plen=0 tos=0 ping2=75 row=none");
}

TEST_F(FpingdqLine, BlockOfTheBoundRecordIsNotPassedOn)
{
    const int idxs[] = {0, 1, 2, 3, 4, 5, 6};
    char block[1] = "";
    bound.csvdata = block;
    EXPECT_EQ(vantu_fpingdq_only_line_to_struct(&table, idxs, &bound, &out, fields), 0);
    EXPECT_EQ(out.csvdata, nullptr);
    EXPECT_EQ(vantu_fpingdq_csv_line_to_struct(&table, idxs, &bound, &out, fields, &ops), 0);
    EXPECT_NE(out.csvdata, block);
    EXPECT_NE(out.csvdata, nullptr);
    free(out.csvdata);
}

TEST_F(FpingdqLine, RowThatThePlatformRefusesIsZeroedLoggedAndStillZeroIsReturned)
{
    const int idxs[] = {0, 1, 2, 3, 4, 5, 6};
    rows_to_refuse = 1;
    log_capture log;
    EXPECT_EQ(vantu_fpingdq_csv_line_to_struct(&table, idxs, &bound, &out, fields, &ops), 0);
    EXPECT_EQ(dump(out), "time=1 ip=ip snd=2 nwrtd=3.250 plen=4 tos=5 ping2=6 row=|||||||||");
    EXPECT_EQ(log.lines, texts{"ERROR error: csv_string_to_data_struct"});
    free(out.csvdata);
}

// ---- Who frees the rows ----

// Rows so large that each is a mapping of its own, so that the C library's count of mappings counts them.
// A sanitizer's allocator keeps no such count; it reports what is not freed, and what is freed twice, itself.
constexpr int large_row = 1 << 20;

vantu_platform_ops make_large_row_platform()
{
    (void)mallopt(M_MMAP_THRESHOLD, large_row / 2);
    vantu_platform_ops ops = make_platform();
    ops.get_data_struct_size = [] { return large_row; };
    ops.csv_string_to_data_struct = [](char **, void *) { return 0; };
    return ops;
}

size_t large_blocks()
{
    return mallinfo2().hblks;
}

size_t blocks_of(size_t rows)
{
#ifdef __SANITIZE_ADDRESS__
    return 0 * rows;
#else
    return rows;
#endif
}

TEST(FpingdqOwnership, FreeAndClearFreeEachRowOnce)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n"s + repeated("1,a,1,1.5,64,0,0\n", 7) + "short\n");
    vantu_platform_ops ops = make_large_row_platform();
    const size_t before = large_blocks();
    sclist_t list;
    ASSERT_EQ(vantu_fpingdq_init_table(&list), 0);
    for (int round = 0; round < 3; round++) {
        ASSERT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 8);
        EXPECT_EQ(large_blocks() - before, blocks_of(8));
        EXPECT_EQ(vantu_fpingdq_clear_table(&list), 0);
        EXPECT_EQ(sclist_size(&list), 0U);
        EXPECT_EQ(large_blocks(), before);
    }
    ASSERT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 8);
    ASSERT_EQ(vantu_fpingdq_only_to_list(&list, file.path()), 15); // among them pings without a row
    EXPECT_EQ(large_blocks() - before, blocks_of(8));
    EXPECT_EQ(vantu_fpingdq_free_table(&list), 0);
    EXPECT_EQ(large_blocks(), before);
}

TEST(FpingdqOwnership, RowOfAPingThatTheListDoesNotTakeIsFreed)
{
    const quiet_log quiet;
    const memory_file file(header_line + "\n"s + repeated("1,a,1,1.5,64,0,0\n", 5));
    vantu_platform_ops ops = make_large_row_platform();
    const size_t before = large_blocks();
    pings list;
    ASSERT_EQ(sclist_iterator_start(&list), 1);
    EXPECT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 0);
    EXPECT_EQ(vantu_fpingdq_only_to_list(&list, file.path()), 0);
    ASSERT_EQ(sclist_iterator_stop(&list), 1);
    EXPECT_EQ(large_blocks(), before);
}

TEST(FpingdqOwnership, ListsWithoutPingsOrRowsAreFreedAsWell)
{
    sclist_t list;
    ASSERT_EQ(vantu_fpingdq_init_table(&list), 0);
    EXPECT_EQ(vantu_fpingdq_clear_table(&list), 0);
    const vantu_fpingdq_ping ping = make_ping(1, "a", 1.0F);
    EXPECT_EQ(sclist_append(&list, &ping), 1);
    EXPECT_EQ(vantu_fpingdq_clear_table(&list), 0);
    EXPECT_EQ(sclist_size(&list), 0U);
    EXPECT_EQ(sclist_append(&list, &ping), 1);
    EXPECT_EQ(vantu_fpingdq_free_table(&list), 0);
}

// ---- Writing ----

std::string written(const std::vector<vantu_fpingdq_ping> &all)
{
    const temp_dir dir;
    pings list(all);
    log_capture log;
    const size_t descriptors = open_descriptors();
    EXPECT_EQ(vantu_fpingdq_data_to_csvfile(&list, (dir / "file").c_str()), 0);
    EXPECT_EQ(open_descriptors(), descriptors);
    EXPECT_EQ(log.lines, texts{});
    return content_of(dir / "file");
}

TEST(FpingdqWriting, AnsweredPingsUnderTheHeader)
{
    vantu_fpingdq_ping full = make_ping(UINT64_MAX, "fe80::1234:5678:9ab", 14999.99F);
    full.snd = INT_MIN;
    full.plen = INT_MAX;
    full.tos = 255;
    full.ping2 = -1;
    const struct {
        const char *name;
        std::vector<vantu_fpingdq_ping> all;
        std::string lines;
    } rows[] = {
        {"none", {}, ""},
        {"one lost and one answered",
         {make_ping(1, "192.0.2.1", 15000.0F), make_ping(2, "192.0.2.1", 3.25F)},
         "2,192.0.2.1,0,3.25,0,0,0\n"},
        {"lost ones only", {make_ping(1, "192.0.2.1", 15000.0F), make_ping(2, "192.0.2.1", 15000.0F)}, ""},
        {"in the list's order",
         {make_ping(3, "c", 1.0F), make_ping(1, "a", 2.0F), make_ping(2, "b", 3.0F)},
         "3,c,0,1.00,0,0,0\n1,a,0,2.00,0,0,0\n2,b,0,3.00,0,0,0\n"},
        {"the widest figures",
         {full},
         "18446744073709551615,fe80::1234:5678:9ab,-2147483648,14999.99,2147483647,255,-1\n"},
        {"an empty ping", {{}}, "0,,0,0.00,0,0,0\n"},
        {"longer than a lost one", {make_ping(1, "a", 15001.0F)}, "1,a,0,15001.00,0,0,0\n"},
    };
    for (const auto &row : rows)
        EXPECT_EQ(written(row.all), header_line + "\n"s + row.lines) << row.name;
}

TEST(FpingdqWriting, OnlyExactly15000IsLostWhichIsKept)
{
    EXPECT_EQ(written({make_ping(1, "a", std::nextafterf(15000.0F, 0.0F)),
                       make_ping(2, "b", std::nextafterf(15000.0F, 20000.0F))}),
              header_line + "\n1,a,0,15000.00,0,0,0\n2,b,0,15000.00,0,0,0\n"s);
}

TEST(FpingdqWriting, RowsOfThePlatformAreNeitherWrittenNorFreed)
{
    const quiet_log quiet;
    const temp_dir dir;
    const memory_file file(header_line + ",mac\n1,a,1,1.50,64,8,1,02:00:00:00:00:01\n"s);
    vantu_platform_ops ops = make_platform();
    pings list;
    ASSERT_EQ(vantu_fpingdq_csv_to_data_list(&list, file.path(), &ops), 1);
    const texts before = dump(list);
    EXPECT_EQ(vantu_fpingdq_data_to_csvfile(&list, (dir / "file").c_str()), 0);
    EXPECT_EQ(content_of(dir / "file"), header_line + "\n1,a,1,1.50,64,8,1\n"s);
    EXPECT_EQ(dump(list), before);
}

TEST(FpingdqWriting, FileIsReplaced)
{
    const temp_dir dir;
    std::ofstream(dir / "file") << std::string(5000, 'x');
    pings list({make_ping(1, "a", 1.0F)});
    EXPECT_EQ(vantu_fpingdq_data_to_csvfile(&list, (dir / "file").c_str()), 0);
    EXPECT_EQ(content_of(dir / "file"), header_line + "\n1,a,0,1.00,0,0,0\n"s);
}

TEST(FpingdqWriting, FileThatCannotBeOpenedIsLogged)
{
    const temp_dir dir;
    pings list({make_ping(1, "a", 1.0F)});
    for (const std::string &path : {dir / "none/file", dir / "", ""s}) {
        log_capture log;
        EXPECT_EQ(vantu_fpingdq_data_to_csvfile(&list, path.c_str()), -1) << path;
        EXPECT_EQ(log.lines, texts{"ERROR failed to open file " + path + " for write"});
    }
}

TEST(FpingdqWriting, FullDiskIsReported)
{
    const texts complaint = {"ERROR failed to write file /dev/full: "s + strerror(ENOSPC)};
    for (const size_t count : {0U, 1U, 5000U}) { // within the stream's buffer and beyond it
        pings list(std::vector<vantu_fpingdq_ping>(count, make_ping(1, "192.0.2.1", 1.0F)));
        log_capture log;
        const size_t descriptors = open_descriptors();
        EXPECT_EQ(vantu_fpingdq_data_to_csvfile(&list, "/dev/full"), -1) << count;
        EXPECT_EQ(open_descriptors(), descriptors) << count;
        EXPECT_EQ(log.lines, complaint) << count;
    }
}

TEST(FpingdqWriting, FileThatMayNotGrowIsReported)
{
    const temp_dir dir;
    pings list(std::vector<vantu_fpingdq_ping>(1000, make_ping(1, "192.0.2.1", 1.0F)));
    for (const rlim_t limit : {0U, 1U, 5000U, 20000U}) {
        EXPECT_EQ(in_child([&] {
                      log_capture log;
                      (void)signal(SIGXFSZ, SIG_IGN);
                      limit_file_size(limit);
                      if (vantu_fpingdq_data_to_csvfile(&list, (dir / "file").c_str()) != -1)
                          return 1;
                      const texts wanted = {"ERROR failed to write file " + (dir / "file") + ": " + strerror(EFBIG)};
                      return log.lines == wanted ? 0 : 2;
                  }),
                  0)
            << limit;
    }
}

TEST(FpingdqWriting, RandomPingsComeBack)
{
    std::mt19937 random(4802);
    const temp_dir dir;
    for (int run = 0; run < 200; run++) {
        pings list;
        texts wanted;
        for (auto count = random() % 20; count > 0; count--) {
            const bool lost = random() % 4 == 0;
            vantu_fpingdq_ping ping =
                make_ping(random() * 4294967296U + random(), ("10.0." + std::to_string(random() % 256) + ".1").c_str(),
                          static_cast<float>(random() % 60000) / 4.0F);
            if (lost || ping.nwrtd == 15000.0F)
                ping.nwrtd = 15000.0F;
            ping.snd = static_cast<int>(static_cast<int64_t>(random() % 4294967296U) - 2147483648);
            ping.plen = static_cast<int>(random() % 1500);
            ping.tos = static_cast<uint8_t>(random());
            ping.ping2 = static_cast<int>(random() % 2);
            ASSERT_EQ(sclist_append(&list, &ping), 1);
            if (ping.nwrtd != 15000.0F)
                wanted.push_back(dump(ping));
        }
        ASSERT_EQ(vantu_fpingdq_data_to_csvfile(&list, (dir / "file").c_str()), 0);
        pings back;
        log_capture log;
        ASSERT_EQ(vantu_fpingdq_only_to_list(&back, (dir / "file").c_str()), static_cast<int>(wanted.size()));
        ASSERT_EQ(dump(back), wanted) << "run " << run;
        ASSERT_EQ(log.lines, (texts{"TRACE Parsing Header", "TRACE header_fields: 7"}));
    }
}

} // namespace
