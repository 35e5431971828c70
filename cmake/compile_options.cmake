# The flags of every target of ours, in one place; linked PRIVATE so that they never leak to a user of the library.
add_library(varnel_options INTERFACE)
target_compile_options(varnel_options INTERFACE -Wall -Wextra -Wpedantic -Werror -fno-strict-aliasing)
if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
  target_compile_options(varnel_options INTERFACE -Wthread-safety -Werror=thread-safety)
else()
  # GCC 12 reports impossible bounds inside the standard library's own string code.
  target_compile_options(varnel_options INTERFACE
    $<$<COMPILE_LANGUAGE:CXX>:-Wno-restrict -Wno-stringop-overflow -Wno-array-bounds>)
endif()

if(VARNEL_SANITIZE)
  add_compile_options(-fsanitize=${VARNEL_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${VARNEL_SANITIZE})
endif()

if(VARNEL_FUZZ)
  # Every library tells libFuzzer which of its branches ran: without that it is blind outside the targets' own files.
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()

if(WIN32)
  # Only the system's own DLLs beside a program; loaded anywhere in the whole address space, with data never run; no
  # references that the start-up code would have to patch in the code; the same bytes from each build.
  add_link_options(-static -Wl,--dynamicbase,--high-entropy-va,--nxcompat,--disable-auto-import
    -Wl,--no-insert-timestamp -Wl,--strip-all)
endif()
