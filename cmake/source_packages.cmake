# cJSON and tinyxml2 from the distribution's source packages, with their own warnings and without exports: what the
# module exports of cJSON stands in its own list.
set(varnel_sources ${PROJECT_SOURCE_DIR}/build/sources)
execute_process(COMMAND ${PROJECT_SOURCE_DIR}/tools/fetch-sources COMMAND_ERROR_IS_FATAL ANY)

# The library's header stands in <cjson/...>, as the distribution installs it.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include-roots/cjson/cjson)
file(CREATE_LINK ${varnel_sources}/cjson/cJSON.h ${PROJECT_BINARY_DIR}/include-roots/cjson/cjson/cJSON.h SYMBOLIC)
add_library(varnel_cjson STATIC ${varnel_sources}/cjson/cJSON.c)
target_compile_definitions(varnel_cjson PUBLIC CJSON_HIDE_SYMBOLS)
target_include_directories(varnel_cjson SYSTEM PUBLIC ${PROJECT_BINARY_DIR}/include-roots/cjson
  ${PROJECT_BINARY_DIR}/include-roots/cjson/cjson)

file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include-roots/tinyxml2)
file(CREATE_LINK ${varnel_sources}/tinyxml2/tinyxml2.h ${PROJECT_BINARY_DIR}/include-roots/tinyxml2/tinyxml2.h SYMBOLIC)
add_library(varnel_tinyxml2 STATIC ${varnel_sources}/tinyxml2/tinyxml2.cpp)
target_include_directories(varnel_tinyxml2 SYSTEM PUBLIC ${PROJECT_BINARY_DIR}/include-roots/tinyxml2)

# Headers alone, which serve any target; a link to them, since the folder around them is the build machine's.
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/include-roots/cli11)
file(CREATE_LINK /usr/include/CLI ${PROJECT_BINARY_DIR}/include-roots/cli11/CLI SYMBOLIC)
add_library(varnel_cli11 INTERFACE)
target_include_directories(varnel_cli11 SYSTEM INTERFACE ${PROJECT_BINARY_DIR}/include-roots/cli11)
