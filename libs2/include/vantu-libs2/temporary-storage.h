// The directory for files that need not survive a restart of the router.
#ifndef VANTU_LIBS2_TEMPORARY_STORAGE_H
#define VANTU_LIBS2_TEMPORARY_STORAGE_H

#ifdef __cplusplus
extern "C" {
#endif

// "/tmp/vantu", which is created when it is missing; an empty text when "/tmp" is no directory, when "/tmp/vantu" is
// something else (a link to a directory counts as such), or when it cannot be created (the latter two say so on
// standard error). The text is the module's; once found, the path is kept, and until then each call tries again.
char *vantu_get_or_create_tmp_path(void);

#ifdef __cplusplus
}
#endif

#endif
