# Warnings for the project's own targets; CI turns them into errors.
function(tessiva_target_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
                                           -Wimplicit-fallthrough
                                           $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local>)
  if(TESSIVA_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# A library of one layer: sources, public include root at src/, warnings on.
function(tessiva_add_library target)
  cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LINKS;PRIVATE_LINKS" ${ARGN})
  add_library(${target} STATIC ${ARG_SOURCES})
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_link_libraries(${target} PUBLIC ${ARG_PUBLIC_LINKS} PRIVATE ${ARG_PRIVATE_LINKS})
  tessiva_target_warnings(${target})
endfunction()

# A GoogleTest binary registered with CTest, one test per case.
function(tessiva_add_test target)
  cmake_parse_arguments(ARG "" "" "SOURCES;LINKS;LABELS" ${ARGN})
  add_executable(${target} ${ARG_SOURCES})
  target_link_libraries(${target} PRIVATE ${ARG_LINKS} GTest::gtest GTest::gmock GTest::gtest_main)
  # Shared test helpers live in tests/support/.
  target_include_directories(${target} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  tessiva_target_warnings(${target})
  gtest_discover_tests(${target} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${ARG_LABELS}")
endfunction()

# A test that only says why it cannot run here and counts as skipped (a Mac has no network
# namespaces, and JACK is optional there).
function(tessiva_add_skipped_test name reason)
  add_test(NAME ${name} COMMAND sh -c "echo 'skipped: ${reason}'; exit 77")
  set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77 LABELS integration)
endfunction()
