# ruf_add_interval_library(<target> [OPTIMIZE <flag>])
#
# Builds the product from its sources. The test tree calls it a second time
# with OPTIMIZE -O3, so that the rounding tests also run against code that the
# optimiser has been free to rearrange.
set(RUF_SOURCE_DIR ${CMAKE_CURRENT_LIST_DIR}/..)

function(ruf_add_interval_library target)
  cmake_parse_arguments(ARG "" "OPTIMIZE" "" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS
       ${RUF_SOURCE_DIR}/frame/*.cpp ${RUF_SOURCE_DIR}/scalar/*.cpp
       ${RUF_SOURCE_DIR}/solvers/*.cpp)
  add_library(${target} SHARED ${sources})
  target_include_directories(${target}
    PUBLIC $<BUILD_INTERFACE:${RUF_SOURCE_DIR}/include> $<BUILD_INTERFACE:${PROJECT_BINARY_DIR}/include>
           $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>
    PRIVATE ${RUF_SOURCE_DIR})
  # Directed rounding is only meaningful if the compiler keeps every
  # operation where it was written: no folding under an assumed mode, no
  # fused multiply-add, no value-changing rewrites.
  target_compile_options(${target} PRIVATE -frounding-math -ffp-contract=off -fno-fast-math
                         -fvisibility=hidden -fno-plt -Wall -Wextra -Werror ${ARG_OPTIMIZE})
  # Calls between our own routines bind inside the library; the service
  # routines, xerbla_ and LAPACK stay interposable.
  target_link_options(${target} PRIVATE -Wl,-Bsymbolic-functions)
  # Every import resolved at link time, except under clang's sanitizers, whose
  # runtime comes with the executable.
  if(NOT (RUF_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "Clang"))
    target_link_options(${target} PRIVATE -Wl,--no-undefined)
  endif()
  # Only the table's names and the documented support symbols are exported:
  # the version script is the routine table run through the preprocessor.
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(GLOB table CONFIGURE_DEPENDS ${RUF_SOURCE_DIR}/include/ruf_interval/*.def)
  add_custom_command(
    OUTPUT ${map}
    COMMAND ${CMAKE_C_COMPILER} -E -P -I${RUF_SOURCE_DIR}/include ${RUF_SOURCE_DIR}/cmake/exports.map.c
            -o ${map}
    DEPENDS ${RUF_SOURCE_DIR}/cmake/exports.map.c ${table}
    COMMENT "Version script of ${target}")
  add_custom_target(${target}_map DEPENDS ${map})
  add_dependencies(${target} ${target}_map)
  target_link_options(${target} PRIVATE -Wl,--version-script=${map})
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${map})
  target_link_libraries(${target} PUBLIC ruf_service PRIVATE ${LAPACK_LIBRARIES} m)
  # $ORIGIN: the installed product finds the service library beside it.
  set_target_properties(${target} PROPERTIES VERSION ${PROJECT_VERSION} INSTALL_RPATH "$ORIGIN"
                        SOVERSION ${PROJECT_VERSION_MAJOR} EXPORT_NAME interval)
endfunction()
