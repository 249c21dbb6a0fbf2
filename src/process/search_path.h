// Where programs are found.
#ifndef ROQ_PROCESS_SEARCH_PATH_H
#define ROQ_PROCESS_SEARCH_PATH_H

#include <cstddef>

namespace roq::process {

// Writes the program's path, cut to `size`, to `full`: the name itself when it begins with a slash, else the first
// executable file on the search path. False when there is none, the last candidate being left in `full`, and for an
// empty name or a size of 0.
[[nodiscard]] bool find_program(const char* name, char* full, size_t size);

} // namespace roq::process

#endif
