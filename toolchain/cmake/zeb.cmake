# The project's CMake vocabulary. One platform is chosen per configure:
#
#   ZEB_CROSS    Windows binaries built on Linux (toolchain file windows-msabi.cmake)
#   ZEB_LINUX    portable layers, natively
#   ZEB_MSVC     Windows binaries built on Windows with the SDK
#
# and ZEB_FLAVOURS lists the runtimes a Node add-on is built for there:
#
#   desktop      module version 123 with that runtime's V8 build flags: the product (Windows only)
#   node         the pinned Node.js's headers as they are: what the tests load
#   node24 ...   further pinned releases; built only when one of their targets is asked for
#
# Functions, each described where it stands:
#
#   zeb_target_defaults(<target>)
#   zeb_add_executable(<target> SOURCES ... [LIBS ...])
#   zeb_add_dll(<target> SOURCES ... [LIBS ...] [OUTPUT_NAME <name>])
#   zeb_add_flavour_library(<target> FLAVOUR <flavour> SOURCES ... [LIBS ...])
#   zeb_add_node_addon(<target> FLAVOUR <flavour> SOURCES ... [LIBS ...] [OUTPUT_NAME <name>])
#   zeb_add_unit_test(<stem> SOURCES ... [LIBS ...] [LABEL <label>] [TIMEOUT <seconds>])
#   zeb_add_script_test(<stem> [FILE <file>] [NATIVE] [LABEL <label>] [TIMEOUT <seconds>])
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/locate.cmake)
include(${CMAKE_CURRENT_LIST_DIR}/runtime_headers.cmake)

set(ZEB_TOOLCHAIN_DIR ${PROJECT_SOURCE_DIR}/toolchain)
set(ZEB_SANITIZE "" CACHE STRING "address, thread (Linux) or trap (undefined behaviour ends the process, Windows)")
set(ZEB_RUNTIME_HEADERS "" CACHE PATH "header set of the desktop runtime (include/node); default: Node.js's headers")
set(ZEB_RUNTIME_LIB "" CACHE FILEPATH "node.lib of that runtime; default: looked for beside the headers")
set(ZEB_ENGINE "" CACHE PATH "folder of an engine with the product's flags, for native script tests (toolchain/engine)")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(ZEB_LINUX ON)
  set(ZEB_FLAVOURS node CACHE STRING "the runtimes to build for")
else()
  set(ZEB_FLAVOURS desktop node CACHE STRING "the runtimes to build for")
  enable_language(RC)
  if(NOT ZEB_CROSS)
    set(ZEB_MSVC ON)
    set(CMAKE_MSVC_RUNTIME_LIBRARY "MultiThreaded$<$<CONFIG:Debug>:Debug>")  # static: nothing to redistribute
  elseif(NOT EXISTS ${ZEB_SYSROOT}/lib)
    message(FATAL_ERROR "The sysroot is not built yet. Run: ./zeb setup")
  else()
    add_compile_options(${ZEB_SYSROOT_OPTIONS})
  endif()
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# Objects are shared by all build folders and, because paths below the checkout count as relative, by all checkouts; a new
# sysroot with the same headers finds them too.
find_program(ZEB_CCACHE ccache)
if(ZEB_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT ZEB_MSVC)
  set(_launcher env CCACHE_DIR=${ZEB_CACHE}/ccache CCACHE_NOHASHDIR=1)
  if(ZEB_CROSS)
    file(CREATE_LINK ${PROJECT_SOURCE_DIR} ${CMAKE_BINARY_DIR}/checkout SYMBOLIC)
    file(CREATE_LINK ${ZEB_SYSROOT} ${CMAKE_BINARY_DIR}/sysroot SYMBOLIC)
    list(PREPEND _launcher ${ZEB_TOOLCHAIN_DIR}/cmake/compile ${PROJECT_SOURCE_DIR} ${ZEB_SYSROOT})
  else()
    list(APPEND _launcher CCACHE_BASEDIR=${PROJECT_SOURCE_DIR})
  endif()
  set(CMAKE_C_COMPILER_LAUNCHER ${_launcher} ${ZEB_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${_launcher} ${ZEB_CCACHE})
endif()

find_package(Threads REQUIRED)

# ---- compiler and linker settings -----------------------------------------------------------------------------------
add_library(zeb_options INTERFACE)
target_include_directories(zeb_options INTERFACE
  ${PROJECT_SOURCE_DIR}/src_native ${PROJECT_SOURCE_DIR}/src_native/common/include)
if(ZEB_MSVC)
  target_compile_options(zeb_options INTERFACE $<$<COMPILE_LANGUAGE:C,CXX>:
    /W4 /WX /permissive- /utf-8 /Zc:__cplusplus /EHsc /guard:cf
    $<$<CXX_COMPILER_ID:Clang>:-Wthread-safety>>)
  target_compile_definitions(zeb_options INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE _WIN32_WINNT=0x0A00)
else()
  # Objects must not tell where the checkout is, by whichever name the compiler gets its files.
  if(ZEB_CROSS)
    set(_checkout checkout)
  else()
    file(RELATIVE_PATH _checkout ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
    string(REGEX REPLACE "/$" "" _checkout "${_checkout}")  # there is one where the build folder lies in the checkout
  endif()
  target_compile_options(zeb_options INTERFACE $<$<NOT:$<COMPILE_LANGUAGE:RC>>:
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wcast-align -Wundef -Wextra-semi -Wformat=2
    -Wimplicit-fallthrough -Woverloaded-virtual -Wthread-safety -Wthread-safety-beta -Werror
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${_checkout}=. -ffile-prefix-map=${ZEB_CACHE}=/cache>)
  if(ZEB_CROSS)
    # No build paths in the debug information: objects are shared by flavours and folders. Not in the toolchain file: the
    # linker's driver warns about it.
    target_compile_options(zeb_options INTERFACE
      "$<$<NOT:$<COMPILE_LANGUAGE:RC>>:-gno-codeview-command-line;-ffile-prefix-map=sysroot=/sysroot>"
      "SHELL:$<$<NOT:$<COMPILE_LANGUAGE:RC>>:-Xclang -object-file-name=object.obj>")
    target_compile_definitions(zeb_options INTERFACE NOMINMAX WIN32_LEAN_AND_MEAN UNICODE _UNICODE)
  else()
    target_compile_options(zeb_options INTERFACE -fstack-protector-strong -fvisibility=hidden)
    target_compile_definitions(zeb_options INTERFACE _FILE_OFFSET_BITS=64)
  endif()
endif()
target_link_libraries(zeb_options INTERFACE Threads::Threads)

if(ZEB_SANITIZE STREQUAL "address")
  set(_sanitize -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  target_compile_options(zeb_options INTERFACE ${_sanitize})
  target_link_options(zeb_options INTERFACE ${_sanitize})
elseif(ZEB_SANITIZE STREQUAL "thread")
  target_compile_options(zeb_options INTERFACE -fsanitize=thread -fno-omit-frame-pointer)
  target_link_options(zeb_options INTERFACE -fsanitize=thread)
elseif(ZEB_SANITIZE STREQUAL "trap")
  # object-size is out: an empty base at the end of a class lies past the end in this ABI.
  target_compile_options(zeb_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:
    -fsanitize=undefined -fno-sanitize=object-size -fsanitize-trap=undefined>)
endif()

# Windows images: reproducible, hardened, with a PDB beside them, free of the build's paths.
set(ZEB_SYSTEM_LIBS ucrtbase kernel32 user32 gdi32 advapi32 ole32 oleaut32 shell32 version wevtapi runtimeobject
    CACHE INTERNAL "import libraries offered to every Windows image; only what is used is imported")
add_library(zeb_windows_link INTERFACE)
if(ZEB_CROSS)
  target_link_options(zeb_windows_link INTERFACE
    LINKER:/debug:full LINKER:/opt:ref LINKER:/opt:icf LINKER:/incremental:no LINKER:/manifest:no
    LINKER:/dynamicbase LINKER:/highentropyva LINKER:/nxcompat LINKER:/guard:cf LINKER:/cetcompat
    LINKER:/Brepro LINKER:/pdbaltpath:%_PDB% LINKER:/pdbsourcepath:/build LINKER:/lldignoreenv)
  list(TRANSFORM ZEB_SYSTEM_LIBS REPLACE "(.+)" "${ZEB_SYSROOT}/lib/\\1.lib" OUTPUT_VARIABLE _system_libs)
  target_link_libraries(zeb_windows_link INTERFACE ${ZEB_SYSROOT}/lib/cxx.lib ${_system_libs})
elseif(ZEB_MSVC)
  target_link_options(zeb_windows_link INTERFACE
    /DEBUG:FULL /OPT:REF /OPT:ICF /INCREMENTAL:NO /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT /guard:cf /CETCOMPAT /Brepro)
  target_link_libraries(zeb_windows_link INTERFACE
    kernel32 user32 gdi32 advapi32 ole32 oleaut32 shell32 version wevtapi runtimeobject)
endif()

# Warnings as errors, C++20, the include roots, sanitizers: for every target of ours.
function(zeb_target_defaults target)
  target_link_libraries(${target} PRIVATE zeb_options)
endfunction()

# Links a Windows image with the start-up code of its kind.
function(_zeb_link_windows target kind)  # kind: dll or exe
  target_link_libraries(${target} PRIVATE zeb_windows_link)
  if(ZEB_CROSS)
    if(kind STREQUAL "dll")
      set(entry _DllMainCRTStartup)
      target_link_options(${target} PRIVATE LINKER:/dll)
    else()
      set(entry mainCRTStartup)
      target_link_options(${target} PRIVATE LINKER:/subsystem:console)
    endif()
    target_link_libraries(${target} PRIVATE ${ZEB_SYSROOT}/lib/startup_${kind}.lib)
    target_link_options(${target} PRIVATE
      LINKER:/entry:${entry} LINKER:/wholearchive:${ZEB_SYSROOT}/lib/startup_${kind}.lib LINKER:/noimplib)
  endif()
endfunction()

# A program: test programs and benchmarks.
function(zeb_add_executable target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
  add_executable(${target} ${arg_SOURCES})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PRIVATE ${arg_LIBS})
  if(NOT ZEB_LINUX)
    _zeb_link_windows(${target} exe)
  endif()
endfunction()

# A Windows DLL of tests, such as a stand-in for a system DLL: <target>.dll. Exports by __declspec(dllexport) or by a
# .def file among SOURCES.
function(zeb_add_dll target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OUTPUT_NAME" "SOURCES;LIBS")
  add_library(${target} MODULE ${arg_SOURCES})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PRIVATE ${arg_LIBS})
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".dll")
  if(arg_OUTPUT_NAME)
    set_target_properties(${target} PROPERTIES OUTPUT_NAME ${arg_OUTPUT_NAME})
  endif()
  _zeb_link_windows(${target} dll)
endfunction()

# ---- the runtimes' headers ---------------------------------------------------------------------------------------------
# A Node add-on is tied to one module version and to the flags V8 was built with; both must reach every source that
# sees V8's headers, or inlined accessors read objects wrongly.
if(ZEB_MSVC)
  set(ZEB_NODE_HEADERS "" CACHE PATH "Node.js's headers (include/node)")
  set(ZEB_NODE_LIB "" CACHE FILEPATH "node.lib of that Node.js")
  if(NOT EXISTS "${ZEB_NODE_HEADERS}/node.h" OR NOT EXISTS "${ZEB_NODE_LIB}")
    message(FATAL_ERROR "Give Node.js ${ZEB_NODE}'s headers and library: -DZEB_NODE_HEADERS=... -DZEB_NODE_LIB=...")
  endif()
else()
  if(ZEB_ENGINE)
    set(ZEB_NODE_HEADERS ${ZEB_ENGINE}/include/node)
  endif()
  set(ZEB_NODE_HEADERS ${ZEB_NODE_LINUX}/include/node CACHE PATH "Node.js's headers (include/node)")
  set(ZEB_NODE_LIB ${ZEB_SYSROOT}/lib/node.lib)
endif()

# The import library of one runtime, from its program or its own library: mangled names follow V8's signatures, which
# change between releases.
function(_zeb_make_node_library flavour node)
  set(script ${ZEB_TOOLCHAIN_DIR}/sysroot/imports/make_import_library.py)
  set(library ${CMAKE_BINARY_DIR}/${flavour}/node.lib)
  find_package(Python3 REQUIRED COMPONENTS Interpreter)
  find_program(ZEB_LLVM_LIB NAMES llvm-lib-${ZEB_LLVM} REQUIRED)
  file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/${flavour})
  add_custom_command(OUTPUT ${library} VERBATIM
    COMMAND ${Python3_EXECUTABLE} ${script} ${ZEB_LLVM_LIB} ${library} ${node}
    DEPENDS ${script} ${node})
  add_custom_target(node_library_${flavour} DEPENDS ${library})
endfunction()

# The flavours for Node.js, and of each the release it runs in. runtime-<major> makes all add-ons for one of the further.
set(ZEB_NODE_FLAVOURS ${ZEB_FLAVOURS})
list(FILTER ZEB_NODE_FLAVOURS INCLUDE REGEX "^node")
foreach(_flavour IN LISTS ZEB_NODE_FLAVOURS)
  string(TOUPPER ${_flavour} _pin)
  string(REGEX MATCH "^[0-9]+" ZEB_MAJOR_${_flavour} ${ZEB_${_pin}})
  if(NOT _flavour STREQUAL "node")
    add_custom_target(runtime-${ZEB_MAJOR_${_flavour}})
  endif()
endforeach()

function(_zeb_only_on_request target flavour)
  if(TARGET runtime-${ZEB_MAJOR_${flavour}})
    set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    add_dependencies(runtime-${ZEB_MAJOR_${flavour}} ${target})
  endif()
endfunction()

foreach(_flavour IN LISTS ZEB_FLAVOURS)
  set(_headers ${ZEB_NODE_HEADERS})
  set(_definitions)
  if(_flavour STREQUAL "desktop" AND ZEB_RUNTIME_HEADERS)
    set(_headers ${ZEB_RUNTIME_HEADERS})
    zeb_read_runtime_headers(${ZEB_RUNTIME_HEADERS} _definitions)
    if(ZEB_CROSS)
      zeb_find_runtime_library(${ZEB_RUNTIME_HEADERS} _library)
      _zeb_make_node_library(desktop ${_library})
    elseif(ZEB_MSVC)
      zeb_find_runtime_library(${ZEB_RUNTIME_HEADERS} ZEB_LIB_desktop)
    endif()
  elseif(_flavour STREQUAL "desktop")
    set(_definitions NODE_EMBEDDER_MODULE_VERSION=123 V8_COMPRESS_POINTERS V8_COMPRESS_POINTERS_IN_SHARED_CAGE
        V8_31BIT_SMIS_ON_64BIT_ARCH V8_ENABLE_SANDBOX)
  elseif(_flavour STREQUAL "node" AND ZEB_ENGINE)
    zeb_read_runtime_headers(${_headers} _definitions)
  elseif(_flavour MATCHES "^node([0-9]+)$")
    set(_headers ${ZEB_NODE${CMAKE_MATCH_1}_LINUX}/include/node)
    if(ZEB_CROSS)
      _zeb_make_node_library(${_flavour} ${ZEB_NODE${CMAKE_MATCH_1}_WIN}/bin/node.exe)
    endif()
  endif()
  add_library(zeb_headers_${_flavour} INTERFACE)
  target_include_directories(zeb_headers_${_flavour} SYSTEM INTERFACE ${_headers})
  target_compile_definitions(zeb_headers_${_flavour} INTERFACE
    BUILDING_NODE_EXTENSION USING_UV_SHARED=1 USING_V8_SHARED=1 ${_definitions})
endforeach()

# A static library of sources that see V8's headers, compiled for one runtime.
function(zeb_add_flavour_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FLAVOUR" "SOURCES;LIBS")
  add_library(${target} STATIC ${arg_SOURCES})
  _zeb_only_on_request(${target} ${arg_FLAVOUR})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PUBLIC zeb_headers_${arg_FLAVOUR} ${arg_LIBS})
  # V8 marks what it deprecates, so that a use by the product is a warning, and so an error.
  target_compile_definitions(${target} PRIVATE V8_DEPRECATION_WARNINGS V8_IMMINENT_DEPRECATION_WARNINGS)
endfunction()

# A Node add-on for one runtime: <build>/<flavour>/<output name>.node, the PDB beside it. Its imports from node.exe are
# bound at run time to whatever program hosts it, so applications may rename their executable. System DLLs are looked for
# in system32 alone, because the folder of an add-on may be writable for everybody: by the loader, which knows the flag
# from Windows 10 1607 on, and by the helper for delay-loaded ones, whatever the release.
function(zeb_add_node_addon target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FLAVOUR;OUTPUT_NAME" "SOURCES;LIBS")
  if(NOT arg_OUTPUT_NAME)
    set(arg_OUTPUT_NAME ${target})
  endif()
  add_library(${target} MODULE ${arg_SOURCES})
  _zeb_only_on_request(${target} ${arg_FLAVOUR})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PRIVATE zeb_headers_${arg_FLAVOUR} ${arg_LIBS})
  set_target_properties(${target} PROPERTIES PREFIX "" SUFFIX ".node" OUTPUT_NAME ${arg_OUTPUT_NAME}
    LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/${arg_FLAVOUR})
  if(ZEB_LINUX)
    return()
  endif()
  string(REPLACE "." "," ZEB_VERSION_NUMBERS "${PROJECT_VERSION}.0")
  set(ZEB_FILE_NAME ${arg_OUTPUT_NAME}.node)
  configure_file(${ZEB_TOOLCHAIN_DIR}/cmake/version.rc.in ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc @ONLY)
  target_sources(${target} PRIVATE ${CMAKE_CURRENT_BINARY_DIR}/${target}.rc)
  _zeb_link_windows(${target} dll)
  if(TARGET node_library_${arg_FLAVOUR})
    add_dependencies(${target} node_library_${arg_FLAVOUR})
    target_link_libraries(${target} PRIVATE ${CMAKE_BINARY_DIR}/${arg_FLAVOUR}/node.lib)
  elseif(ZEB_LIB_${arg_FLAVOUR})
    target_link_libraries(${target} PRIVATE ${ZEB_LIB_${arg_FLAVOUR}})
  else()
    target_link_libraries(${target} PRIVATE ${ZEB_NODE_LIB})
  endif()
  if(ZEB_CROSS)
    target_link_libraries(${target} PRIVATE ${ZEB_SYSROOT}/lib/delayload.lib)
    target_link_options(${target} PRIVATE LINKER:/delayload:node.exe LINKER:/delayload:wevtapi.dll
      LINKER:/merge:.after=.data LINKER:/dependentloadflag:0x800)  # .after: see delay_load.cpp
  else()
    target_sources(${target} PRIVATE ${ZEB_TOOLCHAIN_DIR}/cmake/delayhook.cpp)
    target_link_libraries(${target} PRIVATE delayimp)
    target_link_options(${target} PRIVATE /DELAYLOAD:node.exe /DELAYLOAD:wevtapi.dll /IGNORE:4199 /DEPENDENTLOADFLAG:0x800)
  endif()
endfunction()

# ---- tests ---------------------------------------------------------------------------------------------------------------
# Every test leaves a JUnit file in <build>/results; the developer command adds their cases up.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/results)
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

# A GoogleTest program; main() is supplied. Target and test are named <label>-<stem>; the label, by default "unit", is
# what lanes select by.
function(zeb_add_unit_test stem)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "LABEL;TIMEOUT" "SOURCES;LIBS")
  _zeb_test_defaults(unit)
  set(name ${arg_LABEL}-${stem})
  zeb_add_executable(${name} SOURCES ${arg_SOURCES} ${ZEB_TOOLCHAIN_DIR}/cmake/gtest_main.cpp
    LIBS ${arg_LIBS} ${ZEB_GTEST} zeb_gtest_headers)
  target_include_directories(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests)
  add_test(NAME ${name} COMMAND ${ZEB_RUNNER} $<TARGET_FILE:${name}> --gtest_output=xml:results/${name}.xml
    WORKING_DIRECTORY ${CMAKE_BINARY_DIR})
  _zeb_test_properties(${name})
endfunction()

# A node:test file. On Windows it is run by each Windows Node.js, inside a desktop session of that release; with a label of
# its own, by the first release alone. With NATIVE it also runs in Linux builds, by the Linux Node.js; in a build for an
# engine, by that, with the label "engine". Its environment:
#
#   ZEB_BUILD        the build folder, as the script's own system writes it
#   ZEB_FLAVOUR      the folder in it for the Node.js that runs, <build>/<flavour>/zebbridge.node and so on, where that is
#                    not "node"; see tests/script/support/built.js
#   NODE_PATH        the libraries of the package's own script, which the finished package has inside
#   ZEB_PATIENCE     how many times longer deadlines are than elsewhere (engines only)
#   ZEB_X11_PORT     only in a desktop session: see tests/script/support/x11.js
#
# FILE defaults to <stem>.test.js in the current folder. The test is named <label>-<stem>; the label is by default
# "script", and in the further releases of Node.js the name is <label><release>-<stem>. Further labels say which runtime a
# test runs in, and with "whole" that the whole lane runs it; the others run when their release is asked for. Scripts run
# with --expose-gc.
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
      set(labels ${arg_LABEL} windows-node-${ZEB_MAJOR_${flavour}})
      if(flavour STREQUAL "node")
        list(APPEND labels whole)
      endif()
      if(flavour STREQUAL "node")
        set(name ${arg_LABEL}-${stem})
        set(node ${ZEB_NODE_WIN}/bin/node.exe)
        set(environment)
      else()
        set(name ${arg_LABEL}${ZEB_MAJOR_${flavour}}-${stem})
        set(node ${ZEB_NODE${ZEB_MAJOR_${flavour}}_WIN}/bin/node.exe)
        set(environment ZEB_FLAVOUR=${flavour})
      endif()
      _zeb_add_node_test(${name} Z: ${ZEB_RUNNER} ${node})
      set_tests_properties(${name} PROPERTIES RESOURCE_LOCK desktop-${ZEB_MAJOR_${flavour}})
      set_property(TEST ${name} APPEND PROPERTY ENVIRONMENT ZEB_SESSION=${ZEB_MAJOR_${flavour}}
        ZEB_WINE_SYSTEM32=${CMAKE_BINARY_DIR}/system32)  # the stand-ins for system DLLs
    endforeach()
    return()
  endif()
  if(NOT ZEB_LINUX OR NOT arg_NATIVE)
    return()
  endif()
  if(ZEB_ENGINE)
    set(arg_LABEL engine)
    set(labels engine linux-engine)
    math(EXPR arg_TIMEOUT "${arg_TIMEOUT} * 5")  # it is built for tests, not for speed: its start alone takes a second
    set(command ${ZEB_TOOLCHAIN_DIR}/in-root ${ZEB_ENGINE}/root /opt/node)
    list(APPEND environment ZEB_PATIENCE=10)
  else()
    set(labels ${arg_LABEL} linux-node-${ZEB_MAJOR_node})
    set(command ${ZEB_NODE_LINUX}/bin/node)
    if(ZEB_SANITIZE)
      _zeb_sanitizer_runtime(runtime)  # Node.js itself is built without: its process must load the runtime first
      # What Node.js does among its own threads is not looked at; what our code does is, wherever it is called from.
      list(APPEND environment LD_PRELOAD=${runtime} ASAN_OPTIONS=detect_leaks=0
        TSAN_OPTIONS=ignore_noninstrumented_modules=1)
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

# As the command ARGN runs it, which has the checkout's root at `drive`.
macro(_zeb_add_node_test name drive)
  add_test(NAME ${name} WORKING_DIRECTORY ${CMAKE_BINARY_DIR}
    COMMAND ${ARGN} --expose-gc --test-reporter=spec --test-reporter-destination=stdout
      --test-reporter=junit --test-reporter-destination=results/${name}.xml
      ${drive}${CMAKE_CURRENT_SOURCE_DIR}/${arg_FILE})
  list(APPEND environment ZEB_BUILD=${drive}${CMAKE_BINARY_DIR} NODE_PATH=${drive}${ZEB_LIBRARIES}/node_modules)
  _zeb_test_properties(${name} ${environment})
  set_tests_properties(${name} PROPERTIES LABELS "${labels}")
endmacro()

macro(_zeb_test_defaults label)
  if(NOT arg_LABEL)
    set(arg_LABEL ${label})
  endif()
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 120)
  endif()
endmacro()

# Wine's runner ends a program that takes too long, and tells; ctest comes later, in case the runner hangs itself.
macro(_zeb_test_properties name)
  math(EXPR patience "${arg_TIMEOUT} + 20")
  set_tests_properties(${name} PROPERTIES LABELS ${arg_LABEL} TIMEOUT ${patience}
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
