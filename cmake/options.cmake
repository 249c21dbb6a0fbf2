option(ROQ_BUILD_TESTS "Build the unit and system tests" ON)
option(ROQ_BUILD_TOOLS "Build the roqutil command and the gateway in a box" ON)
option(ROQ_BUILD_FUZZERS "Build the libFuzzer targets (needs clang)" OFF)
option(ROQ_BUILD_BENCH "Build the benchmarks" OFF)
set(ROQ_PLATFORM_BUS "" CACHE FILEPATH
    "The platform's own message-bus library; empty builds the stand-in")
set(ROQ_SANITIZE "" CACHE STRING "Sanitizers for every target, as -fsanitize= takes them")
