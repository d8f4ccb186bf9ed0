// The index over a list's texts finds what seeking the list finds, also without memory for it.

#include "text_index.hpp"

#include "list_owner.hpp"
#include "typed_list.hpp"

#include <gtest/gtest.h>

#include <cstdio>
#include <random>
#include <string>
#include <vector>

namespace
{

bool calloc_fails = false;
int callocs = 0;

} // namespace

// The linker puts these in place of the C library's function in this program.
extern "C" void *__real_calloc(size_t count, size_t size);
extern "C" void *__wrap_calloc(size_t count, size_t size)
{
    callocs++;
    return calloc_fails ? nullptr : __real_calloc(count, size);
}

namespace
{

struct entry {
    char key[16];
    char other[16];
};

int init_by_both(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu::record_size<entry>, vantu::seek_text<&entry::key, &entry::other>);
}

int init_by_key(sclist_t *list)
{
    return vantu::init_typed_list(list, vantu::record_size<entry>, vantu::seek_text<&entry::key>);
}

struct entries : sclist_t {
    explicit entries(int (*init)(sclist_t *) = init_by_both) : owner(*this, init) {}

    void add(const std::string &key, const std::string &other)
    {
        entry one = {};
        (void)snprintf(one.key, sizeof(one.key), "%s", key.c_str());
        (void)snprintf(one.other, sizeof(one.other), "%s", other.c_str());
        ASSERT_EQ(sclist_append(this, &one), 1);
    }

    const entry *at(unsigned int position) { return static_cast<const entry *>(sclist_get_at(this, position)); }

    vantu::list_owner owner;
};

using by_both = vantu::text_index<entry, &entry::key, &entry::other>;
using by_key = vantu::text_index<entry, &entry::key>;

std::string number_text(unsigned int number)
{
    return "02:00:" + std::to_string(number);
}

// Short texts of few letters, so that equal ones, and ones that differ in case only, are frequent. Among them
// letters next to the alphabet, and bytes that are letters in some character sets only.
class random_texts
{
public:
    explicit random_texts(unsigned int seed) : random_(seed) {}

    unsigned int number(unsigned int below) { return static_cast<unsigned int>(random_() % below); }

    std::string text()
    {
        static const std::string letters = "aAbBzZ@[`{1:\xc4\xe4";
        std::string out;
        for (unsigned int left = number(4); left > 0; left--)
            out += letters[number(static_cast<unsigned int>(letters.size()))];
        return out;
    }

private:
    std::mt19937 random_;
};

template <typename Index>
void expect_what_seeking_finds(sclist_t &list, const Index &index, const std::string &key)
{
    ASSERT_EQ(index.find(key.c_str()), sclist_seek(&list, key.c_str())) << "key '" << key << "'";
}

TEST(TextIndex, FindsWhatSeekingFindsInRandomLists)
{
    for (unsigned int seed = 0; seed < 200; seed++) {
        random_texts random(seed);
        entries list(seed % 2 == 0 ? init_by_both : init_by_key);
        for (unsigned int left = random.number(seed < 100 ? 20 : 300); left > 0; left--)
            list.add(random.text(), random.text());
        const by_both both(list);
        const by_key one(list);
        for (int i = 0; i < 300; i++) {
            if (seed % 2 == 0)
                expect_what_seeking_finds(list, both, random.text());
            else
                expect_what_seeking_finds(list, one, random.text());
        }
    }
}

TEST(TextIndex, FindsEachTextOfAListOfAnyLengthAndNoOther)
{
    for (unsigned int size = 0; size <= 70; size++) {
        entries list;
        for (unsigned int i = 0; i < size; i++)
            list.add(number_text(2 * i), number_text(2 * i + 1));
        const by_both index(list);
        for (unsigned int i = 0; i < size; i++) {
            ASSERT_EQ(index.find(number_text(2 * i).c_str()), list.at(i)) << size;
            ASSERT_EQ(index.find(number_text(2 * i + 1).c_str()), list.at(i)) << size;
        }
        for (unsigned int i = 2 * size; i < 2 * size + 40; i++)
            ASSERT_EQ(index.find(number_text(i).c_str()), nullptr) << size;
    }
}

TEST(TextIndex, FindsInALongList)
{
    entries list;
    for (unsigned int i = 0; i < 5000; i++)
        list.add(number_text(i), "192.0.2." + std::to_string(i % 7));
    const by_both index(list);
    for (unsigned int i = 0; i < 5000; i += 17)
        expect_what_seeking_finds(list, index, number_text(i));
    expect_what_seeking_finds(list, index, "192.0.2.6");
    expect_what_seeking_finds(list, index, "192.0.2.7");
}

TEST(TextIndex, TheFirstRecordInTheListWinsWhicheverMemberMatches)
{
    entries list;
    list.add("first", "SHARED");
    list.add("shared", "second");
    list.add("Second", "third");
    const by_both index(list);
    EXPECT_EQ(index.find("shared"), list.at(0));
    EXPECT_EQ(index.find("SECOND"), list.at(1));
    EXPECT_EQ(index.find("Third"), list.at(2));
}

TEST(TextIndex, AnEmptyTextIsATextLikeAnyOther)
{
    entries list;
    list.add("a", "b");
    const by_both without(list);
    EXPECT_EQ(without.find(""), nullptr);
    list.add("c", "");
    list.add("", "d");
    const by_both with(list);
    EXPECT_EQ(with.find(""), list.at(1));
}

TEST(TextIndex, TextsThatOnlyBeginAlikeDiffer)
{
    entries list;
    list.add("192.0.2.11", "02:00");
    const by_both index(list);
    for (const char *key : {"192.0.2.1", "192.0.2.111", "02:0", "02:000", " 02:00"})
        EXPECT_EQ(index.find(key), nullptr) << key;
}

TEST(TextIndex, OfAnEmptyListFindsNothing)
{
    entries list;
    const by_both index(list);
    EXPECT_EQ(index.find("a"), nullptr);
    EXPECT_EQ(index.find(""), nullptr);
}

TEST(TextIndex, OfADestroyedListFindsNothing)
{
    sclist_t list = {};
    const by_both index(list);
    EXPECT_EQ(index.find("a"), nullptr);
}

TEST(TextIndex, ASecondMemberThatIsNotNamedIsNotFound)
{
    entries list(init_by_key);
    list.add("key", "other");
    const by_key index(list);
    EXPECT_EQ(index.find("KEY"), list.at(0));
    EXPECT_EQ(index.find("other"), nullptr);
}

TEST(TextIndex, LeavesTheListsIteratorOff)
{
    entries list;
    list.add("a", "b");
    const by_both index(list);
    EXPECT_EQ(list.iter_active, 0);
    list.add("c", "d");
}

TEST(TextIndex, WithoutMemoryItSeeksTheList)
{
    entries list;
    list.add("first", "SHARED");
    list.add("shared", "second");
    calloc_fails = true;
    const int before = callocs;
    const by_both index(list);
    calloc_fails = false;
    EXPECT_EQ(callocs, before + 1) << "nothing was refused";
    for (const char *key : {"FIRST", "shared", "second", "third", ""})
        expect_what_seeking_finds(list, index, key);
    EXPECT_EQ(index.find("shared"), list.at(0));
}

} // namespace
