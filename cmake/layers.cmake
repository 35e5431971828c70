# varnel_layer(NAME [INTERFACE] FOLDER folder [HEADERS pattern...] SOURCES... DEPENDS target...)
#
# Makes a library for one folder of the tree. Its headers are reached as "folder/header.h" through an include root that
# holds a link to that folder alone; a target therefore sees the folders of the targets it links and no others.
function(varnel_layer name)
  cmake_parse_arguments(ARG "" "FOLDER" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  if(ARG_SOURCES)
    add_library(${name} STATIC ${ARG_SOURCES})
    set(scope PUBLIC)
    target_link_libraries(${name} PRIVATE varnel_options)
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  varnel_include_root(${name} ${scope} ${ARG_FOLDER})
  if(ARG_DEPENDS)
    target_link_libraries(${name} ${scope} ${ARG_DEPENDS})
  endif()
  if(ARG_LIBRARIES)
    target_link_libraries(${name} ${scope} ${ARG_LIBRARIES})
  endif()
endfunction()

# varnel_include_root(target scope folder): gives the target's users the headers of one folder as "folder/...".
# For "platform" only the files that stand directly in it, and debugger/, are shown: the platforms below it are
# layers of their own.
function(varnel_include_root target scope folder)
  set(root ${PROJECT_BINARY_DIR}/include-roots/${target})
  if(folder STREQUAL "platform")
    file(MAKE_DIRECTORY ${root}/platform)
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}/platform ${PROJECT_SOURCE_DIR}/platform/*.h)
    foreach(header IN LISTS headers ITEMS debugger)
      if(EXISTS ${PROJECT_SOURCE_DIR}/platform/${header})
        file(CREATE_LINK ${PROJECT_SOURCE_DIR}/platform/${header} ${root}/platform/${header} SYMBOLIC)
      endif()
    endforeach()
  else()
    get_filename_component(parent ${root}/${folder} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${folder} ${root}/${folder} SYMBOLIC)
  endif()
  target_include_directories(${target} ${scope} ${root})
endfunction()

# Where tests keep the module's texts for the test that holds them to their schemas.
set(VARNEL_TEXTS_DIR ${PROJECT_BINARY_DIR}/texts)

# varnel_test(NAME [TEXTS] [LABORIOUS] SOURCES... DEPENDS...): one test program; its cases are found by running it and
# become ctest cases. TEXTS: it keeps the module's texts in VARNEL_TEXTS_DIR. LABORIOUS: it computes for seconds, so that
# it is optimized as what it tests is; the others run for an instant, and the optimizer would take most of the time in
# which they are compiled.
function(varnel_test name)
  cmake_parse_arguments(ARG "TEXTS;LABORIOUS" "TIMEOUT" "SOURCES;DEPENDS" ${ARGN})
  if(NOT ARG_TIMEOUT)
    set(ARG_TIMEOUT 120)
  endif()
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE varnel_options ${ARG_DEPENDS} varnel_test_main)
  if(NOT ARG_LABORIOUS)
    target_compile_options(${name} PRIVATE -O0)
    varnel_use_test_headers(${name} ${ARG_SOURCES})
  endif()
  # Real files of other systems; they stand beside the tree, and a test without them says that it was skipped. Only the
  # sources that name them are told where, so that the others compile to the same in every checkout (ccache).
  foreach(source ${ARG_SOURCES})
    file(STRINGS ${source} names_samples REGEX "VARNEL_SAMPLES_DIR" LIMIT_COUNT 1)
    if(names_samples)
      set_property(SOURCE ${source} APPEND PROPERTY COMPILE_DEFINITIONS
        VARNEL_SAMPLES_DIR="${PROJECT_SOURCE_DIR}/../shared/samples")
    endif()
  endforeach()
  set(properties)
  if(ARG_TEXTS)
    list(APPEND properties ENVIRONMENT VARNEL_TEXTS_DIR=${VARNEL_TEXTS_DIR} FIXTURES_REQUIRED text_folder
      FIXTURES_SETUP texts)
  endif()
  varnel_find_cases(${name} ${ARG_TIMEOUT} ${properties})
endfunction()

# varnel_find_cases(NAME TIMEOUT [PROPERTY VALUE...]): makes ctest cases of a test program's cases. A program that runs
# under an emulator, whose every start takes its time, is one case, and has none of the further properties;
# tools/test-windows counts what is in it.
function(varnel_find_cases name timeout)
  if(CMAKE_CROSSCOMPILING)
    add_test(NAME ${name} COMMAND ${name})
    math(EXPR timeout "${timeout} * 5")
    set_tests_properties(${name} PROPERTIES TIMEOUT ${timeout})
  else()
    gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST
      PROPERTIES TIMEOUT ${timeout} ${ARGN})
  endif()
endfunction()

# varnel_fuzz(NAME SOURCES... DEPENDS...): a fuzz target. With VARNEL_FUZZ it is a libFuzzer program; else it is a
# program that runs its one function over the files of its corpus, so that every compiler builds it and every test run
# replays the corpus in tests/fuzz/corpus/NAME.
function(varnel_fuzz name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPENDS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  target_link_libraries(${name} PRIVATE varnel_options ${ARG_DEPENDS})
  if(VARNEL_FUZZ)
    target_compile_options(${name} PRIVATE -fsanitize=fuzzer)
    target_link_options(${name} PRIVATE -fsanitize=fuzzer)
  else()
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/fuzz/replay_main.cpp)
    add_test(NAME ${name}.ReplaysItsCorpus COMMAND ${name} ${PROJECT_SOURCE_DIR}/tests/fuzz/corpus/${name})
  endif()
endfunction()
