# How everything is compiled: `roq_warnings` for all code of this project, `roq_freestanding` for code that
# must run with nothing but the C library (the shared objects, the tool and the gateway's programs).

set(CMAKE_C_STANDARD 11)
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_C_STANDARD_REQUIRED ON)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_C_EXTENSIONS ON)
set(CMAKE_CXX_EXTENSIONS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

add_library(roq_warnings INTERFACE)
target_compile_options(roq_warnings INTERFACE
  -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wpointer-arith -Wcast-qual -Wformat=2
  -Wundef -Wvla -Wwrite-strings $<$<BOOL:${ROQ_WARNINGS_AS_ERRORS}>:-Werror>
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Wextra-semi -Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<COMPILE_LANGUAGE:C>:-Wstrict-prototypes -Wmissing-prototypes>)

add_library(roq_hardening INTERFACE)
# On the target the guard value lives in the dynamic loader, which would become a library that ours needs.
if(NOT CMAKE_SYSTEM_PROCESSOR STREQUAL "mips")
  target_compile_options(roq_hardening INTERFACE -fstack-protector-strong)
endif()
target_link_options(roq_hardening INTERFACE
  -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed -Wl,--gc-sections)
# The fortified functions need optimisation, and the sanitizers check more than they do.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel|RelWithDebInfo)$" AND NOT ROQ_SANITIZE)
  target_compile_definitions(roq_hardening INTERFACE _FORTIFY_SOURCE=2)
endif()

add_library(roq_freestanding INTERFACE)
target_compile_definitions(roq_freestanding INTERFACE _GNU_SOURCE)
# The store and the pool read the same bytes as records and as the caller's data.
target_compile_options(roq_freestanding INTERFACE
  -fno-strict-aliasing -ffunction-sections -fdata-sections -fvisibility=hidden
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -fno-threadsafe-statics -fvisibility-inlines-hidden>)
if(NOT ROQ_SANITIZE AND CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel)$")
  target_compile_options(roq_freestanding INTERFACE -fno-asynchronous-unwind-tables -fno-unwind-tables)
endif()
target_link_libraries(roq_freestanding INTERFACE roq_warnings roq_hardening)

# For the library where bytes count: the compiler sees all of it at once when it is linked, so that what is called from
# one place only is no function of its own. The objects hold ordinary code, too.
add_library(roq_whole_program INTERFACE)
set(ROQ_WHOLE_PROGRAM OFF)
if(CMAKE_BUILD_TYPE STREQUAL "MinSizeRel" AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT ROQ_SANITIZE)
  set(ROQ_WHOLE_PROGRAM ON)
  target_compile_options(roq_whole_program INTERFACE -flto -ffat-lto-objects -fno-ident)
  target_link_options(roq_whole_program INTERFACE -flto -flto-partition=one -fno-ident)
  if(CMAKE_SYSTEM_PROCESSOR STREQUAL "mips")
    # What pays on other processors costs bytes here: every address that is kept in a register over a call, and every
    # piece of a function that is split off, has to be saved, restored and set up again.
    set(for_size -mtune=24kc -fno-shrink-wrap -fno-partial-inlining -fno-move-loop-invariants -fno-tree-loop-im -fno-gcse)
    if(ROQ_MIPS16)
      list(APPEND for_size -mips16)
    endif()
    target_compile_options(roq_whole_program INTERFACE ${for_size})
    # The linker keeps the table of addresses outside of what it could protect after loading, which is padding then.
    target_link_options(roq_whole_program INTERFACE ${for_size} -Wl,-z,norelro)
  endif()
endif()

if(ROQ_SANITIZE)
  add_compile_options(-fsanitize=${ROQ_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=${ROQ_SANITIZE})
endif()
if(ROQ_BUILD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# What is built is the same byte for byte wherever it is built: no path of this machine in it, no time in an archive.
if(CMAKE_BUILD_TYPE MATCHES "^(Release|MinSizeRel|RelWithDebInfo)$")
  set(no_paths -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=build)
  target_compile_options(roq_freestanding INTERFACE ${no_paths})
  # The compiler may run when a program is linked, too.
  target_link_options(roq_freestanding INTERFACE ${no_paths})
endif()
foreach(language C CXX)
  set(CMAKE_${language}_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
  set(CMAKE_${language}_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")
endforeach()

# The C driver links, so that no C++ run-time library is pulled in.
function(roq_link_without_cxx_runtime target)
  target_link_libraries(${target} PRIVATE roq_freestanding)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C)
  if(ROQ_SANITIZE MATCHES "undefined")
    # The sanitizers' own run-time stands in for the parts of the C++ one that they call.
    target_link_libraries(${target} PRIVATE stdc++)
  endif()
endfunction()
