/*
 * String helpers and Base64.
 *
 * All functions work on terminated byte strings (Base64 on bytes of a given length), print nothing, leave errno as it
 * was and are reentrant. White space is blank, tab, newline, vertical tab, form feed and carriage return, whatever the
 * locale.
 */
#ifndef ROQUTIL_STRUTIL_H
#define ROQUTIL_STRUTIL_H

#include <roqutil/api.h>
#include <stdint.h>

ROQ_EXTERN_C_BEGIN

/* ---- Texts ------------------------------------------------------------------------------------------------------- */

/*
 * Removes white space from both ends, in place. The bytes that the text no longer needs, up to its former length,
 * become zero. Returns pcText, null for null.
 *
 * HAZARD: a text of one character becomes empty, whatever the character, and so does a text whose only character that
 * is no white space is its first ("a  "); in both cases, and when all is white space, only the first byte is changed.
 * Use ROQ_UTIL_StrTrimExc where a single character is a value.
 */
ROQ_API char* ROQ_UTIL_StrTrim(char* pcText);

/*
 * Removes white space from both ends, in place, without exceptions: "a  " becomes "a". The bytes that the text no
 * longer needs, up to its former length, become zero. Returns pcText, null for null.
 */
ROQ_API char* ROQ_UTIL_StrTrimExc(char* pcText);

/*
 * Appends pcSrc to the text in pcDest, cut to what fits.
 *
 * ulSize  size in bytes of the whole buffer at pcDest, terminator included; when the text in it is as long as that or
 * longer, nothing is changed
 *
 * Returns pcDest, also when it or pcSrc is null. The result is always terminated.
 */
ROQ_API char* ROQ_UTIL_StrCat(char* pcDest, uint32_t ulSize, const char* pcSrc);

/*
 * Extracts the word behind a key: finds the first pcKey anywhere in pcText, skips it and white space, and copies up to
 * the next white space. An empty key is found at the start.
 *
 * lLen  the most characters to copy; 0 or less copies none
 *
 * Returns 1 when the key was found, also when no word follows; 0 when it was not or a pointer is null, with pcOut left
 * as it was.
 *
 * pcOut may be pcText.
 *
 * HAZARD: the terminator comes in addition: pcOut needs lLen + 1 bytes, and 1 when lLen is 0 or less.
 *
 * Example:
 *
 *   char name[16 + 1];
 *   ROQ_UTIL_ParseStrInfo("name = eth0 up", "=", name, 16);  // name is "eth0"
 */
ROQ_API uint32_t ROQ_UTIL_ParseStrInfo(const char* pcText, const char* pcKey, char* pcOut, int32_t lLen);

/*
 * Quotes every character for a POSIX shell, which reads the result back as pcSrc: three characters for one, a single
 * quote between double quotes, everything else between single quotes. "a b" becomes 'a'' ''b'. An empty text gives an
 * empty text, which a shell does not see as an argument.
 *
 * Returns 1; 0 when a pointer is null.
 *
 * HAZARD: pcOut must have room for 3 * strlen(pcSrc) + 1 bytes and may not overlap pcSrc.
 */
ROQ_API uint32_t ROQ_UTIL_ConvertStrToShellStr(const char* pcSrc, char* pcOut);

/* ---- Base64 --------------------------------------------------------------------------------------------------------
 *
 * The standard alphabet (A-Z a-z 0-9 + /) with "=" padding and no line breaks. Results are on the process heap, are
 * released with free, and have a terminator that is not counted.
 */

/*
 * Encodes lLen bytes.
 *
 * ppcOut  the text; null when there is none
 *
 * Returns the number of characters, 4 for every 3 bytes begun; 0 when pvIn is null, lLen is below 1, the heap is
 * exhausted (all with *ppcOut null) or ppcOut is null.
 */
ROQ_API uint32_t ROQ_UTIL_Base64Encode(const void* pvIn, int32_t lLen, char** ppcOut);

/*
 * Decodes ulLen characters. Nothing behind them is read: they need no terminator.
 *
 * Padding is optional, and any length from 4 on is taken: one or two "=" at the very end are ignored, all other
 * characters must be digits of the alphabet; a last group of two digits makes one byte, of three two, and a single
 * left-over digit none ("TWFuT" gives 3 bytes). Bits that a last group has too many are dropped unexamined.
 *
 * ppucOut  the bytes
 *
 * Returns the number of bytes. 0 with *ppucOut null: pcText is null, ulLen is below 4 or above 0x7FFFFFFF, or the heap
 * is exhausted. 0 with *ppucOut left as it was: a character is no digit. 0 also when ppucOut is null.
 *
 * HAZARD: set the result pointer to null before the call, or look at the returned number before you free it.
 */
ROQ_API uint32_t ROQ_UTIL_Base64Decode(const char* pcText, uint32_t ulLen, uint8_t** ppucOut);

ROQ_EXTERN_C_END

#endif
