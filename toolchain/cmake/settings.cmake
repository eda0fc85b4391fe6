# The platform, and what every target is compiled and linked with. Each configure chooses one platform:
#
#   ZEB_CROSS    Windows binaries built on Linux (toolchain file windows-msabi.cmake)
#   ZEB_LINUX    portable layers, natively
#   ZEB_MSVC     Windows binaries built on Windows with the SDK
#
#   zeb_target_defaults(<target>)
#   zeb_add_executable(<target> SOURCES ... [LIBS ...])
#   zeb_add_dll(<target> SOURCES ... [LIBS ...] [OUTPUT_NAME <name>])
include_guard(GLOBAL)
include(${CMAKE_CURRENT_LIST_DIR}/locate.cmake)
set(ZEB_TOOLCHAIN_DIR ${PROJECT_SOURCE_DIR}/toolchain)

set(ZEB_SANITIZE "" CACHE STRING "address, thread (Linux) or trap (undefined behaviour ends the process, Windows)")
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(ZEB_LINUX ON)
else()
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

# Compile and link commands name these two folders through links, so that neither their names nor those of the build
# folder and the cache reach objects, PDBs and images.
if(ZEB_CROSS)
  file(CREATE_LINK ${PROJECT_SOURCE_DIR} ${CMAKE_BINARY_DIR}/checkout SYMBOLIC)
  file(CREATE_LINK ${ZEB_SYSROOT} ${CMAKE_BINARY_DIR}/sysroot SYMBOLIC)
  set(CMAKE_CXX_LINKER_LAUNCHER ${ZEB_TOOLCHAIN_DIR}/cmake/link ${PROJECT_SOURCE_DIR} ${ZEB_SYSROOT})
endif()

# All build folders share objects, and so do all checkouts, because paths below the checkout count as relative. A new
# sysroot with the same headers finds the objects too. In depend mode an object is found by the content of every file it
# was made from: debug information holds a checksum of each, so a changed comment is a change too.
find_program(ZEB_CCACHE ccache)
if(ZEB_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER AND NOT ZEB_MSVC)
  set(_launcher env CCACHE_DIR=${ZEB_CACHE}/objects CCACHE_DEPEND=1 CCACHE_NOHASHDIR=1
    CCACHE_EXTRAFILES=${ZEB_TOOLCHAIN_DIR}/cmake/precompiled)
  if(ZEB_CROSS)
    list(PREPEND _launcher ${ZEB_TOOLCHAIN_DIR}/cmake/compile ${PROJECT_SOURCE_DIR} ${ZEB_SYSROOT})
  else()
    list(APPEND _launcher CCACHE_BASEDIR=${PROJECT_SOURCE_DIR})
    if(NOT ZEB_TOOLCHAIN_DIR MATCHES " ")  # ccache would split the name
      list(APPEND _launcher CCACHE_PREFIX=${ZEB_TOOLCHAIN_DIR}/cmake/precompiled)
    endif()
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
  # Objects must not reveal where the checkout is, by whichever name the compiler gets its files.
  if(ZEB_CROSS)
    set(_checkout checkout)
  else()
    file(RELATIVE_PATH _checkout ${CMAKE_BINARY_DIR} ${PROJECT_SOURCE_DIR})
    string(REGEX REPLACE "/$" "" _checkout "${_checkout}")  # there is one if the build folder is in the checkout
  endif()
  target_compile_options(zeb_options INTERFACE $<$<NOT:$<COMPILE_LANGUAGE:RC>>:
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wcast-align -Wundef -Wextra-semi -Wformat=2
    -Wimplicit-fallthrough -Woverloaded-virtual -Wthread-safety -Wthread-safety-beta -Werror
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${_checkout}=. -ffile-prefix-map=${ZEB_CACHE}=/cache>)
  if(ZEB_CROSS)
    # No build paths in the debug information, because flavours and folders share objects. These options are not in the
    # toolchain file, because the linker's driver warns about them.
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
  # Without object-size: in this ABI, an empty base at the end of a class is past the class's end.
  target_compile_options(zeb_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:
    -fsanitize=undefined -fno-sanitize=object-size -fsanitize-trap=undefined>)
endif()

# Windows images: reproducible, hardened, with a PDB beside them, without the build's paths.
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

# For all our targets: warnings as errors, C++20, the include roots, sanitizers.
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

# A program: a test program or a benchmark.
function(zeb_add_executable target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LIBS")
  add_executable(${target} ${arg_SOURCES})
  zeb_target_defaults(${target})
  target_link_libraries(${target} PRIVATE ${arg_LIBS})
  if(NOT ZEB_LINUX)
    _zeb_link_windows(${target} exe)
  endif()
endfunction()

# A Windows DLL for tests, such as a stand-in for a system DLL: <target>.dll. It exports with __declspec(dllexport) or
# with a .def file among SOURCES.
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
