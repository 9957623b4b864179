# Helpers shared by the component folders, the tests, the benchmarks and the fuzz targets.

add_library(fusekit_warnings INTERFACE)
target_compile_options(fusekit_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow
                       $<$<BOOL:${FUSEKIT_WERROR}>:-Werror>)

# fusekit_add_component(<name> SOURCES <files...> [DEPS <targets...>])
# One static, position-independent archive per folder; linked whole into libfusekit.so.
function(fusekit_add_component name)
  cmake_parse_arguments(ARG "" "" "SOURCES;DEPS" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_include_directories(${name} PUBLIC ${PROJECT_SOURCE_DIR}/include ${PROJECT_SOURCE_DIR})
  target_compile_definitions(${name} PUBLIC FUSEKIT_BUILDING_LIBRARY)
  target_link_libraries(${name} PUBLIC ${ARG_DEPS} PRIVATE fusekit_warnings)
endfunction()
