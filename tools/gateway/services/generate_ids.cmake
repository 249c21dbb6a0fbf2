# Writes a header with the ids of settings.conf: -DSETTINGS=<file> -DHEADER=<file>.
file(STRINGS ${SETTINGS} lines REGEX "^0x")
set(constants "")
foreach(line IN LISTS lines)
  string(REGEX MATCH "^(0x[0-9a-f]+) ([a-z0-9.]+)" matched "${line}")
  string(REPLACE "." "_" name "${CMAKE_MATCH_2}")
  string(APPEND constants "inline constexpr uint32_t ${name} = ${CMAKE_MATCH_1};\n")
endforeach()
file(WRITE ${HEADER} "// Made from settings.conf.
#ifndef GATEWAY_IDS_H
#define GATEWAY_IDS_H

#include <cstdint>

namespace gateway::id {

${constants}
} // namespace gateway::id

#endif
")
