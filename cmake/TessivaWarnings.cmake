# Warnings for the project's own targets; CI turns them into errors.
function(tessiva_target_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
                                           -Wimplicit-fallthrough
                                           $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>)
  if(TESSIVA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Each library shows only its own headers and, through what it links, those of the layers below:
# its include folder under the build tree holds links to its own paths (relative to src/, folders
# or single headers), so a header of a layer it does not link is not found. The folder's name
# carries a hash of the paths so a changed list never leaves an old link on the include path.
function(tessiva_expose_headers target scope)
  string(MD5 paths_hash "${ARGN}")
  string(SUBSTRING ${paths_hash} 0 8 paths_hash)
  set(root ${CMAKE_BINARY_DIR}/include/${target}-${paths_hash})
  foreach(path ${ARGN})
    if(NOT EXISTS ${PROJECT_SOURCE_DIR}/src/${path})
      message(FATAL_ERROR "${target} exposes src/${path}, which does not exist")
    endif()
    get_filename_component(parent ${root}/${path} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    if(NOT IS_SYMLINK ${root}/${path})
      file(CREATE_LINK ${PROJECT_SOURCE_DIR}/src/${path} ${root}/${path} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(${target} ${scope} ${root})
endfunction()

# A library of one layer: sources, its headers (EXPOSES; by default its own folder), warnings on.
function(tessiva_add_library target)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LINKS;PRIVATE_LINKS;EXPOSES" ${ARGN})
  add_library(${target} STATIC ${ARG_SOURCES})
  if(NOT ARG_EXPOSES)
    file(RELATIVE_PATH ARG_EXPOSES ${PROJECT_SOURCE_DIR}/src ${CMAKE_CURRENT_SOURCE_DIR})
  endif()
  tessiva_expose_headers(${target} PUBLIC ${ARG_EXPOSES})
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
  tessiva_target_warnings(${target})
endfunction()

# A GoogleTest binary registered with CTest, one test per case.
function(tessiva_add_test target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE ${ARG_LINKS} GTest::gtest GTest::gtest_main)
  # Shared test helpers live in tests/support/.
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  tessiva_target_warnings(${target})
  # Under AddressSanitizer (the asan preset), leaks of system libraries are not ours to fix.
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${ARG_LABELS}"
    ENVIRONMENT "LSAN_OPTIONS=suppressions=${PROJECT_SOURCE_DIR}/tests/lsan-suppressions.txt")
endfunction()

# A test that only says why it cannot run here and counts as skipped (a Mac has no network
# namespaces, and JACK is optional there).
function(tessiva_add_skipped_test name reason)
  add_test(NAME ${name} COMMAND sh -c "echo 'skipped: ${reason}'; exit 77")
  set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77 LABELS integration)
endfunction()
