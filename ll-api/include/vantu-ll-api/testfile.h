// Where every reader of the low-level layer gets its text: the output of a command, or a file.
#ifndef VANTU_LL_API_TESTFILE_H
#define VANTU_LL_API_TESTFILE_H

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

// Each reader also names a stored sample of its input ("wlctl_assoclist.txt"). A normal build always reads the live
// source and ignores the name. One that is built with VANTU_SAMPLE_FILES reads the sample instead, from the directory
// that the environment variable VANTU_SAMPLE_FILES names, and the live source where that is empty or not set. A sample
// that is missing is like a file that is missing, or like a command that prints nothing. Both functions log nothing; a
// failure is a NULL stream.

// Runs a shell command line and returns its standard output for reading; close it with pclose. A command that
// the shell cannot start still yields a stream, which is empty.
FILE *_ll_popen_cmd_or_testfile(const char *cmd, const char *testfile);

// Opens a file for reading; close it with fclose.
FILE *_ll_fopen_text_or_testfile(const char *file, const char *testfile);

#ifdef __cplusplus
}
#endif

#endif
