option(ROQ_BUILD_TESTS "Build the unit and system tests" ON)
option(ROQ_BUILD_TOOLS "Build the roqutil command and the gateway in a box" ON)
option(ROQ_BUILD_FUZZERS "Build the libFuzzer targets (needs clang)" OFF)
option(ROQ_BUILD_BENCH "Build the benchmarks" OFF)
option(ROQ_WARNINGS_AS_ERRORS "Let no compiler warning pass" ON)
set(ROQ_PLATFORM_BUS "" CACHE FILEPATH
    "The platform's own message-bus library; empty builds the stand-in")
set(ROQ_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize= takes them")
set(ROQ_QOS_MARK so_mark CACHE STRING
    "Socket option of the QoS mark: platform (option 66, the gateway's own kernel) or so_mark (mainline)")
set_property(CACHE ROQ_QOS_MARK PROPERTY STRINGS platform so_mark)
if(NOT ROQ_QOS_MARK MATCHES "^(platform|so_mark)$")
  message(FATAL_ERROR "ROQ_QOS_MARK is '${ROQ_QOS_MARK}': say platform or so_mark")
endif()
