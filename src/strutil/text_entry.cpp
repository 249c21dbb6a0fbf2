#include "strutil/text.h"

#include <roqutil/strutil.h>

using namespace roq::strutil;

extern "C" char* ROQ_UTIL_StrTrim(char* pcText) {
  if (pcText != nullptr) trim_or_empty(pcText);
  return pcText;
}

extern "C" char* ROQ_UTIL_StrTrimExc(char* pcText) {
  if (pcText != nullptr) trim(pcText);
  return pcText;
}

extern "C" char* ROQ_UTIL_StrCat(char* pcDest, uint32_t ulSize, const char* pcSrc) {
  if (pcDest != nullptr && pcSrc != nullptr) append(pcDest, ulSize, pcSrc);
  return pcDest;
}

extern "C" uint32_t ROQ_UTIL_ParseStrInfo(const char* pcText, const char* pcKey, char* pcOut, int32_t lLen) {
  if (pcText == nullptr || pcKey == nullptr || pcOut == nullptr) return 0;
  return copy_word_behind(pcText, pcKey, pcOut, lLen > 0 ? static_cast<size_t>(lLen) : 0);
}

extern "C" uint32_t ROQ_UTIL_ConvertStrToShellStr(const char* pcSrc, char* pcOut) {
  if (pcSrc == nullptr || pcOut == nullptr) return 0;
  quote_each_for_shell(pcSrc, pcOut);
  return 1;
}
