// What the tests of the temporary directory need: the same under another base directory.
#ifndef VANTU_LIBS2_TEMPORARY_STORAGE_INTERNAL_H
#define VANTU_LIBS2_TEMPORARY_STORAGE_INTERNAL_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

// Fills `path` (empty, of `size` characters) with BASE/vantu, or leaves it empty.
void find_or_create_tmp_path(const char *base, char *path, size_t size);

#ifdef __cplusplus
}
#endif

#endif
