# The runtimes that Node add-ons are built for, and the add-ons. ZEB_FLAVOURS chooses from those in ../versions:
#
#   desktop      its own module version and that runtime's V8 build flags: the product (Windows only)
#   node         the pinned Node.js's headers as they are: what the tests load
#   node24 ...   further pinned releases; built only when one of their targets, such as runtime-24, is asked for
#
#   zeb_add_flavour_library(<target> FLAVOUR <flavour> SOURCES ... [LIBS ...])
#   zeb_add_node_addon(<target> FLAVOUR <flavour> SOURCES ... [LIBS ...] [OUTPUT_NAME <name>])
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/runtime_headers.cmake)

string(REGEX REPLACE ":[0-9]+" "" ZEB_ALL_FLAVOURS ${ZEB_RUNTIMES})
string(REPLACE "," ";" ZEB_ALL_FLAVOURS ${ZEB_ALL_FLAVOURS})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${ZEB_TOOLCHAIN_DIR}/versions)
set(ZEB_FLAVOURS "" CACHE STRING "the runtimes to build for; default: all those that this platform can build")
if(NOT ZEB_FLAVOURS AND ZEB_CROSS)
  set(ZEB_FLAVOURS ${ZEB_ALL_FLAVOURS})
elseif(NOT ZEB_FLAVOURS AND ZEB_LINUX)
  set(ZEB_FLAVOURS node)
elseif(NOT ZEB_FLAVOURS)
  set(ZEB_FLAVOURS desktop node)
endif()
set(ZEB_RUNTIME_HEADERS "" CACHE PATH "header set of the desktop runtime (include/node); default: Node.js's headers")
set(ZEB_RUNTIME_LIB "" CACHE FILEPATH "node.lib of that runtime; default: looked for beside the headers")
set(ZEB_ENGINE "" CACHE PATH "folder of an engine with the product's flags, for native script tests (toolchain/engine)")

# A Node add-on is tied to one module version and to the flags that V8 was built with. Both must reach every source that
# includes V8's headers; otherwise inlined accessors read objects wrongly.
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

# The import library of one runtime, made from its program or its own library, because mangled names follow V8's
# signatures, which change between releases.
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

# The flavours for Node.js, and the release that each runs in. runtime-<major> makes all libraries and add-ons for one
# release.
set(ZEB_NODE_FLAVOURS ${ZEB_FLAVOURS})
list(FILTER ZEB_NODE_FLAVOURS INCLUDE REGEX "^node")
foreach(_flavour IN LISTS ZEB_NODE_FLAVOURS)
  string(TOUPPER ${_flavour} _pin)
  string(REGEX MATCH "^[0-9]+" ZEB_MAJOR_${_flavour} ${ZEB_${_pin}})
  add_custom_target(runtime-${ZEB_MAJOR_${_flavour}})
endforeach()

function(_zeb_belongs_to target flavour)
  if(TARGET runtime-${ZEB_MAJOR_${flavour}})
    add_dependencies(runtime-${ZEB_MAJOR_${flavour}} ${target})
    if(NOT flavour STREQUAL "node")
      set_target_properties(${target} PROPERTIES EXCLUDE_FROM_ALL ON)
    endif()
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
    string(REGEX MATCH "desktop:([0-9]+)" _ ${ZEB_RUNTIMES})
    set(_definitions NODE_EMBEDDER_MODULE_VERSION=${CMAKE_MATCH_1} V8_COMPRESS_POINTERS V8_COMPRESS_POINTERS_IN_SHARED_CAGE
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

# A static library of sources that include V8's headers, compiled for one runtime.
function(zeb_add_flavour_library target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FLAVOUR" "SOURCES;LIBS")
  add_library(${target} STATIC ${arg_SOURCES})
  _zeb_belongs_to(${target} ${arg_FLAVOUR})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PUBLIC zeb_headers_${arg_FLAVOUR} ${arg_LIBS})
  _zeb_warn_of_deprecation(${target})
endfunction()

# V8 marks what it deprecates, so that a use is a warning and therefore an error.
function(_zeb_warn_of_deprecation target)
  target_compile_definitions(${target} PRIVATE V8_DEPRECATION_WARNINGS V8_IMMINENT_DEPRECATION_WARNINGS)
endfunction()

# A Node add-on for one runtime: <build>/<flavour>/<output name>.node, with the PDB beside it. Its imports from node.exe
# are bound at run time to the program that hosts it, so applications may rename their executable. System DLLs are only
# looked for in system32, because everybody may be able to write to an add-on's folder. The loader does so from Windows
# 10 1607 on, which knows the flag; for delay-loaded DLLs, the helper does so in every release.
function(zeb_add_node_addon target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FLAVOUR;OUTPUT_NAME" "SOURCES;LIBS")
  if(NOT arg_OUTPUT_NAME)
    set(arg_OUTPUT_NAME ${target})
  endif()
  add_library(${target} MODULE ${arg_SOURCES})
  _zeb_warn_of_deprecation(${target})
  _zeb_belongs_to(${target} ${arg_FLAVOUR})
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
