# The C++ headers of g++ over musl's C headers; nothing of the C++ run-time is linked.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)
# Only the freestanding code is built, so a test program that the C++ driver would link says nothing.
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

execute_process(COMMAND g++ -dumpversion OUTPUT_VARIABLE gxx_version OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -print-file-name=include OUTPUT_VARIABLE gxx_builtin OUTPUT_STRIP_TRAILING_WHITESPACE)
execute_process(COMMAND g++ -print-multiarch OUTPUT_VARIABLE gxx_arch OUTPUT_STRIP_TRAILING_WHITESPACE)
set(CMAKE_CXX_FLAGS_INIT "-nostdinc -isystem /usr/include/c++/${gxx_version} \
-isystem /usr/include/${gxx_arch}/c++/${gxx_version} -isystem /usr/include/c++/${gxx_version}/backward \
-isystem /usr/include/x86_64-linux-musl -isystem ${gxx_builtin} -D'__GLIBC_PREREQ(a,b)=0'")
