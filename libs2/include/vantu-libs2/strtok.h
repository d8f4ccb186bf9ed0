// The field copy of the CSV line splitter.
#ifndef VANTU_LIBS2_STRTOK_H
#define VANTU_LIBS2_STRTOK_H

#ifdef __cplusplus
extern "C" {
#endif

// Copies the field at the start of `inbuf` into `returnstr` and returns what follows its comma, or NULL when there is
// none (the last field). The separator is always the comma; `delimiter` is ignored, on purpose.
//
// A field of up to `maxlen` characters is copied whole, so that `returnstr` must hold maxlen + 1 characters; a longer
// one, and the last one of a line, is cut to maxlen - 1.
const char *vantu_strtok(const char *delimiter, const char *inbuf, char *returnstr, int maxlen);

#ifdef __cplusplus
}
#endif

#endif
