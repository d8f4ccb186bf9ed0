// Lists of records that free themselves, what they hold, and what made-up operations answer with.
#pragma once

#include "list_owner.hpp"
#include "vantu-sclist/sclist.h"

#include <vector>

namespace support
{

// A list of a record kind, made with its initialiser.
template <int (*Init)(sclist_t *)>
struct list : sclist_t {
    list() : owner(*this, Init) {}
    vantu::list_owner owner;
};

// One whose records own something that `Free` frees, too.
template <auto Init, auto Free>
struct freed_list : sclist_t {
    freed_list() { (void)Init(this); }
    ~freed_list() { (void)Free(this); }
    freed_list(const freed_list &) = delete;
    freed_list &operator=(const freed_list &) = delete;
};

template <typename Record>
Record *at(sclist_t &in, unsigned int position)
{
    return static_cast<Record *>(sclist_get_at(&in, position));
}

template <typename Record>
std::vector<Record> all_of(sclist_t &in)
{
    std::vector<Record> out;
    for (unsigned int i = 0; i < sclist_size(&in); i++)
        out.push_back(*at<Record>(in, i));
    return out;
}

// Appends them as an operation does that reports what there is.
template <typename Record>
void append_all(sclist_t *to, const std::vector<Record> &records)
{
    for (const Record &record : records)
        (void)sclist_append(to, &record);
}

// The next of some answers, call by call; the last one stays, and where there is none it is zero.
template <typename Answer>
Answer next_of(std::vector<Answer> &answers)
{
    if (answers.empty())
        return {};
    const Answer answer = answers.front();
    if (answers.size() > 1)
        answers.erase(answers.begin());
    return answer;
}

} // namespace support
