# CMake toolchain: x86-64 Windows with the Microsoft C++ ABI, from Debian's clang, lld and mingw-w64 headers.
# The C++ library, the start-up code and the import libraries come from the sysroot, which ../sysroot builds once.
# ../README.md explains each flag.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_VERSION 10.0)
set(CMAKE_SYSTEM_PROCESSOR AMD64)
set(ZEB_CROSS ON)

get_filename_component(ZEB_TOOLCHAIN_DIR "${CMAKE_CURRENT_LIST_DIR}" DIRECTORY)
include("${CMAKE_CURRENT_LIST_DIR}/locate.cmake")
set(_mingw /usr/x86_64-w64-mingw32)

set(CMAKE_C_COMPILER clang-${ZEB_LLVM})
set(CMAKE_CXX_COMPILER clang++-${ZEB_LLVM})
foreach(_language C CXX)
  set(CMAKE_${_language}_COMPILER_TARGET x86_64-pc-windows-msvc)
endforeach()
set(CMAKE_RC_COMPILER llvm-rc-${ZEB_LLVM})
set(CMAKE_RC_COMPILER_INIT llvm-rc)
find_program(CMAKE_AR NAMES llvm-ar-${ZEB_LLVM} REQUIRED)
find_program(CMAKE_RANLIB NAMES llvm-ranlib-${ZEB_LLVM} REQUIRED)
find_program(CMAKE_MT NAMES llvm-mt-${ZEB_LLVM})

# Neither Microsoft's run-time library nor default import libraries.
set(CMAKE_POLICY_DEFAULT_CMP0091 NEW)
set(CMAKE_MSVC_RUNTIME_LIBRARY "")
set(CMAKE_C_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_CXX_STANDARD_LIBRARIES "" CACHE STRING "")
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)

set(_flags
  -fgnuc-version=12.2.0 -D__MINGW32__   # the mingw-w64 headers and libc++ test for these
  -D__CRT__NO_INLINE                    # their inline math assumes an 80-bit long double; here it has 64 bits
  -D_UCRT -D_WIN32_WINNT=0x0A00         # declare the Universal CRT and the Windows 10 API
  -nostdlibinc                          # no host headers
  -idirafter ${_mingw}/include          # after clang's own and libc++'s
  -mno-incremental-linker-compatible    # no time stamps in object files
  -ffile-compilation-dir=.              # relative: otherwise CodeView records each object's absolute name
  -ffunction-sections -fdata-sections -fstack-protector-strong -Xclang -cfguard)
list(JOIN _flags " " CMAKE_C_FLAGS_INIT)
set(CMAKE_CXX_FLAGS_INIT "${CMAKE_C_FLAGS_INIT}")

# For add_compile_options, because CMake keeps the flags above from the first configure on while the sysroot may move.
set(ZEB_SYSROOT_OPTIONS $<$<COMPILE_LANGUAGE:C,CXX>:-ffile-prefix-map=${ZEB_SYSROOT}=/sysroot>
  "$<$<COMPILE_LANGUAGE:CXX>:SHELL:-isystem ${ZEB_SYSROOT}/include/site -isystem ${ZEB_SYSROOT}/include/c++>")

set(CMAKE_FIND_ROOT_PATH ${_mingw})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
