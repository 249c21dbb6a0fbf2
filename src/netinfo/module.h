// Loadable modules of the kernel.
#ifndef ROQ_NETINFO_MODULE_H
#define ROQ_NETINFO_MODULE_H

#include "netinfo/line_reader.h"

namespace roq::netinfo {

inline constexpr char kModuleTable[] = "/proc/modules";

// Whether a blank follows the first occurrence of `name` in some line: a loose match, which callers rely on.
bool lists_module(LineReader& table, const char* name);

// As above for the kernel's table; false, after a line on standard output, when that cannot be opened.
bool is_module_loaded(const char* name);

// Run the system's tools, whatever comes of it, when there is something to do.
void load_module(const char* name, const char* directory);
void unload_module(const char* name, const char* directory);

// Loads the modules of all files in the directory; false when it cannot be opened.
bool load_modules_of(const char* directory);

} // namespace roq::netinfo

#endif
