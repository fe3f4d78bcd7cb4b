# Third-party libraries, found the same way on Debian and Homebrew.
find_package(PkgConfig REQUIRED)
find_package(Threads REQUIRED)
find_package(nlohmann_json 3.10 REQUIRED)
# The profile and workspace codecs read JSON with simdjson: it reads a 5,000-row profile in about
# a millisecond where nlohmann needs tens (bench/mapping/JsonLibraryBench.cpp).
find_package(simdjson 3.0 REQUIRED)
find_package(fmt REQUIRED)
find_package(CLI11 REQUIRED)

find_path(ASIO_INCLUDE_DIR asio.hpp REQUIRED)
add_library(tessiva_asio INTERFACE)
target_include_directories(tessiva_asio SYSTEM INTERFACE ${ASIO_INCLUDE_DIR})
target_compile_definitions(tessiva_asio INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
target_link_libraries(tessiva_asio INTERFACE Threads::Threads)

pkg_check_modules(UTF8PROC REQUIRED IMPORTED_TARGET libutf8proc)

if(TESSIVA_BUILD_TESTS)
  find_package(GTest REQUIRED)
  include(GoogleTest)
endif()
if(TESSIVA_BUILD_BENCH)
  find_package(benchmark REQUIRED)
endif()

# The desktop shell is optional: without Qt 6 the core, the headless program and their tests
# still build. `make test` installs Qt first, so CI runs the shell's tests too.
find_package(Qt6 6.2 QUIET COMPONENTS Widgets Test)
if(Qt6_FOUND)
  set(TESSIVA_HAVE_QT ON)
else()
  set(TESSIVA_HAVE_QT OFF)
  message(STATUS "Qt 6 not found: tessiva-focus-app and the UI tests are skipped "
                 "(scripts/install-deps.sh installs Qt)")
endif()
