# What every target of the project has in common.

set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)
set(CMAKE_ARCHIVE_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/lib)

# Strict warnings, hidden symbols, source positions relative to the project.
function(tarvex_configure target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES
    CXX_EXTENSIONS OFF CXX_VISIBILITY_PRESET hidden VISIBILITY_INLINES_HIDDEN ON)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion
    $<$<BOOL:${TARVEX_WARNINGS_AS_ERRORS}>:-Werror>
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}/=)
endfunction()

# A program of the project's own, built on the library.
function(tarvex_program target)
  add_executable(${target} ${ARGN})
  tarvex_configure(${target})
  target_link_libraries(${target} PRIVATE TarvexCommon::TarvexCommon)
endfunction()
