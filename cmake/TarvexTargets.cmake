# What every target of the project has in common.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# Whether linker and loader look by themselves where the library is installed.
if(CMAKE_INSTALL_FULL_LIBDIR IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES)
  set(TARVEX_IN_SYSTEM TRUE)
endif()

# Programs at random addresses; see `tarvex_harden`.
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
include(CheckPIESupported)
check_pie_supported()

# What compiler and linker do against faults that would let data become code.
# _FORTIFY_SOURCE needs optimisation, and gets in the way of the sanitizers. scripts/check-hardening
# looks at the result.
function(tarvex_harden target)
  target_compile_options(${target} PRIVATE -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(${target} PRIVATE -fcf-protection)
  endif()
  target_compile_definitions(${target} PRIVATE $<$<CONFIG:Release>:_FORTIFY_SOURCE=2>)
  target_link_options(${target} PRIVATE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endfunction()

# Strict warnings, hidden symbols, source positions relative to the project. To be called
# when the target has its sources.
function(tarvex_configure target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${TARVEX_WARNINGS_AS_ERRORS}>:-Werror>
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/= -fno-semantic-interposition)
  tarvex_harden(${target})
  tarvex_unite(${target})
endfunction()

# With CMAKE_UNITY_BUILD the sources of a folder are compiled as one. "UnifiedSource" in its name
# has clang's analyser take them for sources, not for headers.
function(tarvex_unite target)
  set_target_properties(${target} PROPERTIES UNITY_BUILD_MODE GROUP
    UNITY_BUILD_CODE_BEFORE_INCLUDE "// NOLINTNEXTLINE(bugprone-suspicious-include)")
  get_target_property(sources ${target} SOURCES)
  foreach(source IN LISTS sources)
    cmake_path(GET source PARENT_PATH folder)
    string(REPLACE / "" group "UnifiedSource${folder}")
    set_source_files_properties(${source} PROPERTIES UNITY_GROUP ${group})
  endforeach()
endfunction()

# A program of the project's own, built on the library. Installed, it finds the library
# relative to itself, or where the system looks.
function(tarvex_program target)
  add_executable(${target} ${ARGN})
  tarvex_configure(${target})
  target_link_libraries(${target} PRIVATE TarvexCommon::TarvexCommon)
  if(TARVEX_BUILD_SHARED AND NOT TARVEX_IN_SYSTEM)
    file(RELATIVE_PATH library ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${library}")
  endif()
endfunction()

# Compresses `file` to `name` in the binary folder, to the same bytes in each build.
function(tarvex_compress file name)
  set(compressed ${CMAKE_CURRENT_BINARY_DIR}/${name})
  add_custom_command(OUTPUT ${compressed}
    COMMAND gzip -9nc ${CMAKE_CURRENT_SOURCE_DIR}/${file} > ${compressed}
    DEPENDS ${file} VERBATIM)
  add_custom_target(compress-${name} ALL DEPENDS ${compressed})
endfunction()
