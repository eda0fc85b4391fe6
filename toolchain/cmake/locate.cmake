# Turns the output of ../locate and the pins of ../versions into variables: ZEB_SYSROOT, ZEB_LLVM, ...
# A Windows machine has no shell and no cache, so only the pins are read there.
file(STRINGS "${CMAKE_CURRENT_LIST_DIR}/../versions" _lines REGEX "^[A-Z0-9_]+=")
list(TRANSFORM _lines PREPEND "ZEB_")
if(NOT CMAKE_HOST_WIN32)
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../locate" OUTPUT_VARIABLE _located
    OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  string(REPLACE "\n" ";" _located "${_located}")
  list(APPEND _lines ${_located})
endif()
foreach(_line IN LISTS _lines)
  string(REGEX MATCH "^([A-Z0-9_]+)=(.*)$" _ "${_line}")
  if(NOT DEFINED ${CMAKE_MATCH_1})
    set(${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
  endif()
endforeach()
