// Frees a list when the function that made it ends, whichever way.
#pragma once

#include "vantu-sclist/sclist.h"

namespace vantu
{

class list_owner
{
public:
    // Makes `list` with its record kind's initialiser. An initialiser that is not there, or does nothing, leaves a list
    // that holds nothing and takes nothing.
    list_owner(sclist_t &list, int (*init)(sclist_t *)) : list_(list)
    {
        list_ = {};
        if (init != nullptr)
            (void)init(&list_);
    }
    ~list_owner()
    {
        (void)sclist_iterator_stop(&list_);
        sclist_destroy(&list_);
    }
    list_owner(const list_owner &) = delete;
    list_owner &operator=(const list_owner &) = delete;

private:
    sclist_t &list_;
};

} // namespace vantu
