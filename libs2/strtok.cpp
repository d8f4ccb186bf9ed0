// The field copy of the CSV line splitter: see vantu-libs2/strtok.h.

#include "vantu-libs2/strtok.h"

#include <cstring>

const char *vantu_strtok(const char *delimiter, const char *inbuf, char *returnstr, int maxlen)
{
    (void)delimiter;
    const char *comma = strchr(inbuf, ',');
    auto length = static_cast<size_t>(maxlen);
    if (comma != nullptr && comma - inbuf <= maxlen)
        length = static_cast<size_t>(comma - inbuf);
    else
        length = strnlen(inbuf, length - 1);
    memcpy(returnstr, inbuf, length);
    returnstr[length] = '\0';
    return comma == nullptr ? nullptr : comma + 1;
}
