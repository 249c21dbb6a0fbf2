// Finding processes by their command lines.
#ifndef ROQ_PROCESS_LOOKUP_H
#define ROQ_PROCESS_LOOKUP_H

#include <cstdint>

namespace roq::process {

// Joins NUL-separated words that end with two NULs, in place.
void join_words(char* words);

// Both as ROQ_UTIL_FindPidByName and ROQ_UTIL_GetPid tell it.
uint32_t* find_processes(const char* name);
uint32_t find_first_process(const char* name);

} // namespace roq::process

#endif
