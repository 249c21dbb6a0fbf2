/*
 * What GoogleTest, the C++ run-time and the tests, all compiled over glibc's headers, miss when they are linked with
 * musl. The library under test has no part in this: it is compiled over musl's own headers.
 */
#include <regex.h>
#include <stddef.h>
#include <string.h>
#include <time.h>

/* glibc's word that there is one thread only, so that counters need not be atomic. */
extern char __libc_single_threaded;
char __libc_single_threaded;

/* Finds the unwind tables of a thrown exception. The tests throw none. */
int _dl_find_object(void* address, void* result);
int _dl_find_object(void* address, void* result) {
  (void)address, (void)result;
  return -1;
}

/* musl does not tell how much of the heap is in use: tests that compare two calls see no difference. */
typedef struct {
  size_t figures[10];
} HeapFigures;
HeapFigures mallinfo2(void);
HeapFigures mallinfo2(void) {
  HeapFigures none;
  memset(&none, 0, sizeof none);
  return none;
}

/*
 * glibc's locale, into which the C++ run-time reaches for the classes of characters. musl's functions take it for their
 * own C locale, whose six pointers are null.
 */
static struct {
  const void* categories[13];
  const unsigned short* classes;
  const int *to_lower, *to_upper;
  const char* names[13];
} c_locale;

const unsigned short** __ctype_b_loc(void);
const int** __ctype_tolower_loc(void);
const int** __ctype_toupper_loc(void);

void* __wrap___newlocale(int mask, const char* name, void* base);
void* __wrap___newlocale(int mask, const char* name, void* base) {
  (void)mask, (void)name, (void)base;
  c_locale.classes = *__ctype_b_loc();
  c_locale.to_lower = *__ctype_tolower_loc();
  c_locale.to_upper = *__ctype_toupper_loc();
  for (size_t i = 0; i < sizeof c_locale.names / sizeof *c_locale.names; ++i)
    c_locale.names[i] = "C";
  return &c_locale;
}

size_t __wrap___strftime_l(char* out, size_t room, const char* format, const struct tm* moment, void* locale);
size_t __wrap___strftime_l(char* out, size_t room, const char* format, const struct tm* moment, void* locale) {
  (void)locale;
  return strftime(out, room, format, moment);
}

/* Offsets of a match are longs in musl. */
typedef struct {
  int from, to;
} GlibcMatch;
int __real_regexec(const regex_t* expression, const char* text, size_t count, regmatch_t* matches, int flags);
int __wrap_regexec(const regex_t* expression, const char* text, size_t count, GlibcMatch* matches, int flags);
int __wrap_regexec(const regex_t* expression, const char* text, size_t count, GlibcMatch* matches, int flags) {
  regmatch_t found[16];
  if (count > sizeof found / sizeof *found) return REG_ESPACE;
  const int result = __real_regexec(expression, text, count, found, flags);
  for (size_t i = 0; result == 0 && i < count; ++i) {
    matches[i].from = (int)found[i].rm_so;
    matches[i].to = (int)found[i].rm_eo;
  }
  return result;
}
