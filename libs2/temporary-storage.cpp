// The temporary directory: see vantu-libs2/temporary-storage.h.

#include "vantu-libs2/temporary-storage.h"

#include "temporary-storage_internal.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <sys/stat.h>

namespace
{

bool is_directory(const struct stat &info)
{
    return S_ISDIR(info.st_mode);
}

} // namespace

void find_or_create_tmp_path(const char *base, char *path, size_t size)
{
    struct stat info;
    if (stat(base, &info) != 0 || !is_directory(info))
        return;

    char wanted[256];
    const int length = snprintf(wanted, std::min(sizeof(wanted), size), "%s/vantu", base);
    if (length < 0 || static_cast<size_t>(length) >= std::min(sizeof(wanted), size))
        return; // a cut path would be another place
    // A link counts as something else: who planted it would choose where this program writes.
    if (lstat(wanted, &info) != 0) {
        (void)fprintf(stderr, "create folder\n");
        if (mkdir(wanted, 0777) != 0) {
            (void)fprintf(stderr, "error: failed to create %s\n", wanted);
            return;
        }
    } else if (!is_directory(info)) {
        (void)fprintf(stderr, "error: %s exists, but is not a directory\n", wanted);
        return;
    }
    memcpy(path, wanted, static_cast<size_t>(length) + 1);
}

char *vantu_get_or_create_tmp_path(void)
{
    static char path[32];
    if (path[0] == '\0')
        find_or_create_tmp_path("/tmp", path, sizeof(path));
    return path;
}
