# The functions that add tests; each test is one line in its folder's CMakeLists.txt:
#
#   zeb_add_unit_test(<stem> SOURCES ... [LIBS ...] [LABEL <label>] [TIMEOUT <seconds>])
#   zeb_add_script_test(<stem> [FILE <file>] [NATIVE] [LABEL <label>] [TIMEOUT <seconds>])
#
# Every test leaves a JUnit file in <build>/results. The developer command adds up their cases.
include_guard(GLOBAL)
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/results)
add_custom_target(unit-tests)
if(ZEB_ENGINE)
  add_custom_target(engine-tests)
endif()

set(GOOGLETEST_DIR /usr/src/googletest CACHE PATH "GoogleTest's source")
add_library(zeb_gtest_headers INTERFACE)
target_include_directories(zeb_gtest_headers SYSTEM INTERFACE
  ${GOOGLETEST_DIR}/googletest/include ${GOOGLETEST_DIR}/googlemock/include)
if(ZEB_CROSS)
  set(ZEB_GTEST ${ZEB_SYSROOT}/lib/gtest.lib)
  set(ZEB_RUNNER ${ZEB_TOOLCHAIN_DIR}/wine/run)
else()
  set(ZEB_GTEST zeb_gtest)
  set(ZEB_RUNNER)
  add_library(zeb_gtest STATIC EXCLUDE_FROM_ALL
    ${GOOGLETEST_DIR}/googletest/src/gtest-all.cc ${GOOGLETEST_DIR}/googlemock/src/gmock-all.cc)
  target_include_directories(zeb_gtest PRIVATE ${GOOGLETEST_DIR}/googletest ${GOOGLETEST_DIR}/googlemock)
  target_link_libraries(zeb_gtest PRIVATE zeb_options zeb_gtest_headers)
  target_compile_options(zeb_gtest PRIVATE $<IF:$<BOOL:${ZEB_MSVC}>,/w,-w>)
endif()

add_library(zeb_gtest_main OBJECT EXCLUDE_FROM_ALL ${ZEB_TOOLCHAIN_DIR}/cmake/gtest_main.cpp)
zeb_target_defaults(zeb_gtest_main)
target_link_libraries(zeb_gtest_main PRIVATE zeb_gtest_headers)

# A GoogleTest program; main() is supplied. Target and test are named <label>-<stem>. Lanes select tests by label; the
# default is "unit", whose programs the target unit-tests makes.
function(zeb_add_unit_test stem)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL;TIMEOUT" "SOURCES;LIBS")
  _zeb_test_defaults(unit)
  set(name ${arg_LABEL}-${stem})
  zeb_add_executable(${name} SOURCES ${arg_SOURCES} LIBS ${arg_LIBS} zeb_gtest_main ${ZEB_GTEST} zeb_gtest_headers)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  add_test(NAME ${name} COMMAND ${ZEB_RUNNER} $<TARGET_FILE:${name}> --gtest_output=xml:results/${name}.xml
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  _zeb_test_properties(${name})
  if(arg_LABEL STREQUAL "unit")
    add_dependencies(unit-tests ${name})
    if(ZEB_CROSS)  # where one build runs the unit tests and the other everything else
      set_target_properties(${name} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
  endif()
endfunction()

# A node:test file. On Windows, each Windows Node.js runs it in a desktop session for that release; a test with another
# label than "script" runs only in the first release. With NATIVE it also runs in Linux builds, in the Linux Node.js; a
# build for an engine runs it in that engine, with the label "engine".
#
# NATIVE scripts see no X server, because Wine 10's X11 driver is not safe when threads start and end side by side: a
# plain program, eight of whose threads open and close a top-level window each, now and then corrupts Wine's heap or
# stands still in XCloseDisplay.
#
# Its environment:
#
#   ZEB_BUILD        the build folder, written as the script's own system does
#   ZEB_FLAVOUR      the folder in it for the Node.js that runs, <build>/<flavour>/zebbridge.node and so on; see
#                    tests/script/support/built.js
#   NODE_PATH        the libraries of the package's own script, which the finished package contains
#   ZEB_PATIENCE     how many times longer deadlines are than elsewhere (engines only)
#   ZEB_STRESS       how many times longer stress tests are: short here, because `./zeb soak` runs long ones
#   ZEB_TURN         which variants the short ones have, another number in each runtime; see tests/script/support/length.js
#   ZEB_X11_PORT     only in a desktop session: see tests/script/support/x11.js
#
# FILE defaults to <stem>.test.js in the current folder. The test is named <label>-<stem>; for further releases of
# Node.js, the release follows the label. The default label is "script". A second label names the runtime that the test
# runs in. Scripts run with --expose-gc.
function(zeb_add_script_test stem)
  cmake_parse_arguments(PARSE_ARGV 1 arg "NATIVE" "LABEL;TIMEOUT;FILE" "")
  _zeb_test_defaults(script)
  if(NOT arg_FILE)
    set(arg_FILE ${stem}.test.js)
  endif()
  set(environment)
  if(ZEB_CROSS)
    set(flavours node)
    if(arg_LABEL STREQUAL "script")
      set(flavours ${ZEB_NODE_FLAVOURS})
    endif()
    foreach(flavour IN LISTS flavours)
      set(release ${ZEB_MAJOR_${flavour}})
      string(REPLACE "node" "" further ${flavour})
      set(name ${arg_LABEL}${further}-${stem})
      string(TOUPPER ZEB_${flavour}_WIN node)
      set(labels ${arg_LABEL} windows-node-${release})
      # This folder has the stand-ins for system DLLs.
      set(environment ZEB_FLAVOUR=${flavour} ZEB_SESSION=${release} ZEB_WINE_SYSTEM32=${CMAKE_BINARY_DIR}/system32)
      if(arg_NATIVE)
        list(APPEND environment ZEB_WINE_HEADLESS=1)
      endif()
      _zeb_short_run(${flavour} 0.05)
      _zeb_add_node_test(${name} Z: ${ZEB_RUNNER} ${${node}}/aligned/node.exe)
      set_tests_properties(${name} PROPERTIES RESOURCE_LOCK desktop-${release})
    endforeach()
    return()
  endif()
  if(NOT ZEB_LINUX OR NOT arg_NATIVE)
    return()
  endif()
  if(ZEB_ENGINE)
    set(arg_LABEL engine)
    set(labels engine linux-engine)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 5")  # built for tests, not for speed
    set(command ${ZEB_TOOLCHAIN_DIR}/in-root ${ZEB_ENGINE}/root /opt/node)
    list(APPEND environment ZEB_PATIENCE=10)
    if(EXISTS ${ZEB_ENGINE}/start.blob)  # it is not optimised
      list(APPEND environment NODE_OPTIONS=--snapshot-blob=${ZEB_ENGINE}/start.blob)
      _zeb_short_run(engine 0.01)
    else()
      _zeb_short_run(engine 0.02)
    endif()
  else()
    set(labels ${arg_LABEL} linux-node-${ZEB_MAJOR_node})
    set(command ${ZEB_NODE_LINUX}/bin/node)
    if(NOT ZEB_SANITIZE)
      _zeb_short_run(linux 0.2)
    else()
      _zeb_sanitizer_runtime(runtime)  # Node.js is built without it, so its process must load the runtime first
      list(APPEND environment LD_PRELOAD=${runtime})
      if(ZEB_SANITIZE STREQUAL "thread")
        # Only our code is checked, wherever it is called from, not what Node.js does among its own threads.
        list(APPEND environment TSAN_OPTIONS=ignore_noninstrumented_modules=1:atexit_sleep_ms=100)
        _zeb_short_run(thread 0.05)
      else()
        list(APPEND environment ASAN_OPTIONS=detect_leaks=0)
        _zeb_short_run(address 0.1)
      endif()
    endif()
  endif()
  set(name ${arg_LABEL}-${stem})
  _zeb_add_node_test(${name} "" ${command})
  add_custom_target(${name})  # what it loads, so that one test can be built and run alone
  add_dependencies(${name} zebbridge_node binding_probe_node zeb_environments_node zeb_harness_node)
  if(ZEB_ENGINE)
    add_dependencies(engine-tests ${name})
  endif()
endfunction()

# How ARGN runs a test file. ARGN sees the checkout's root at `drive`.
macro(_zeb_add_node_test name drive)
  add_test(NAME ${name} WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
    COMMAND ${ARGN} --expose-gc --test-reporter=spec --test-reporter-destination=stdout
      --test-reporter=junit --test-reporter-destination=results/${name}.xml
      ${drive}${CMAKE_CURRENT_SOURCE_DIR}/${arg_FILE})
  list(APPEND environment ZEB_BUILD=${drive}${CMAKE_BINARY_DIR} NODE_PATH=${drive}${ZEB_LIBRARIES}/node_modules)
  _zeb_test_properties(${name} ${environment})
  set_tests_properties(${name} PROPERTIES LABELS "${labels}")
endmacro()

# Each of these runs has its own turn. The first ones are those of every ./zeb test.
macro(_zeb_short_run name stress)
  set(runs address thread ${ZEB_ALL_FLAVOURS} engine linux)
  list(REMOVE_ITEM runs desktop)
  list(FIND runs ${name} turn)
  list(APPEND environment ZEB_STRESS=${stress} ZEB_TURN=${turn})
endmacro()

macro(_zeb_test_defaults label)
  if(NOT arg_LABEL)
    set(arg_LABEL ${label})
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
endmacro()

# Wine's runner ends a program that takes too long, and says so. ctest's own limit is later, in case the runner hangs.
# Tests that may take longest start first.
macro(_zeb_test_properties name)
  math(EXPR patience "${arg_TIMEOUT} + 20")
  set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${patience} COST ${arg_TIMEOUT}
    ENVIRONMENT "ZEB_WINE_TIMEOUT=${arg_TIMEOUT};${ARGN}")
endmacro()

function(_zeb_sanitizer_runtime result)
  if(ZEB_SANITIZE STREQUAL "address")
    set(name libclang_rt.asan-x86_64.so)
  else()
    set(name libclang_rt.tsan-x86_64.so)
  endif()
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name} OUTPUT_VARIABLE path
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(${result} ${path} PARENT_SCOPE)
endfunction()
