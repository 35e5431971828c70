# The headers that nearly every test includes, precompiled: tests/test_headers.cpp. CMake's own precompiled headers name
# absolute paths, with which ccache shares nothing between checkouts; here they are named from the build folder, in which
# the compiler runs. A sum of the preprocessed headers stands beside the precompiled ones, for ccache to look at instead
# (CCACHE_PCH_EXTSUM): the precompiled bytes differ from one making to the next.
set(VARNEL_TEST_HEADERS tests/test_headers.h)

# varnel_make_test_headers(): the rules that make them; called once, by tests/CMakeLists.txt.
function(varnel_make_test_headers)
  set(source ${PROJECT_SOURCE_DIR}/tests/test_headers.cpp)
  set(header ${PROJECT_BINARY_DIR}/${VARNEL_TEST_HEADERS})
  foreach(form precompiled preprocessed)
    add_library(varnel_test_headers_${form} OBJECT ${source})
    # Not from ccache: clang's form names this checkout, and is refused once another one that made it is gone.
    set_target_properties(varnel_test_headers_${form} PROPERTIES CXX_COMPILER_LAUNCHER "")
    target_link_libraries(varnel_test_headers_${form} PRIVATE varnel_options varnel_test_main)
    # As a test program's sources are compiled: a precompiled header serves no other options.
    target_compile_options(varnel_test_headers_${form} PRIVATE -O0)
    if(NOT WIN32)
      set_target_properties(varnel_test_headers_${form} PROPERTIES POSITION_INDEPENDENT_CODE OFF)
      target_compile_options(varnel_test_headers_${form} PRIVATE -fPIE)
    endif()
  endforeach()
  target_compile_options(varnel_test_headers_precompiled PRIVATE "SHELL:-x c++-header")
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    target_compile_options(varnel_test_headers_precompiled PRIVATE
      "SHELL:-Xclang -fno-pch-timestamp" -fpch-instantiate-templates)
  endif()
  target_compile_options(varnel_test_headers_preprocessed PRIVATE -E -P)
  # Found when the precompiled form does not fit: it ends the compilation instead of slowing it down.
  file(WRITE ${header} "#error \"the precompiled form of this header was not used\"\n")
  add_custom_command(OUTPUT ${header}.gch ${header}.gch.sum
    COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_OBJECTS:varnel_test_headers_precompiled> ${header}.gch
    COMMAND sha256sum < $<TARGET_OBJECTS:varnel_test_headers_preprocessed> > ${header}.gch.sum
    DEPENDS $<TARGET_OBJECTS:varnel_test_headers_precompiled> $<TARGET_OBJECTS:varnel_test_headers_preprocessed>)
  add_custom_target(varnel_test_headers DEPENDS ${header}.gch)
endfunction()

# varnel_use_test_headers(TARGET SOURCE...): the target's sources are compiled with them.
function(varnel_use_test_headers target)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
    set(use "-include-pch ${VARNEL_TEST_HEADERS}.gch")
  else()
    set(use "-Winvalid-pch -include ${VARNEL_TEST_HEADERS}")
  endif()
  target_compile_options(${target} PRIVATE "$<$<COMPILE_LANGUAGE:CXX>:SHELL:${use}>")
  add_dependencies(${target} varnel_test_headers)
  set_property(SOURCE ${ARGN} APPEND PROPERTY OBJECT_DEPENDS ${PROJECT_BINARY_DIR}/${VARNEL_TEST_HEADERS}.gch)
endfunction()
