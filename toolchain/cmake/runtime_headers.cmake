# What a runtime's own header set (include/node) says about itself. runtimes.cmake includes this; tests run it as a script:
#
#   cmake -DZEB_RUNTIME_HEADERS=<include/node> -P runtime_headers.cmake     prints the definitions

# The V8 flags that a module can be compiled for: the variable in config.gypi and the macro in the headers. The code
# that reads the engine's objects, in the headers and in the module, supports these.
set(ZEB_V8_FLAGS
  v8_enable_pointer_compression=V8_COMPRESS_POINTERS
  v8_enable_pointer_compression_shared_cage=V8_COMPRESS_POINTERS_IN_SHARED_CAGE
  v8_enable_31bit_smis_on_64bit_arch=V8_31BIT_SMIS_ON_64BIT_ARCH
  v8_enable_sandbox=V8_ENABLE_SANDBOX
  v8_enable_static_roots=V8_STATIC_ROOTS
  v8_enable_webassembly=V8_ENABLE_WEBASSEMBLY
  v8_promise_internal_field_count=V8_PROMISE_INTERNAL_FIELD_COUNT=1
  v8_use_perfetto=V8_USE_PERFETTO)

# The module version and the flags that the header set's config.gypi switches on, as definitions. Any other flag that
# the headers ask for is an error: without it the module would read objects wrongly, and with it nothing has been
# tested.
function(zeb_read_runtime_headers dir result)
  if(NOT EXISTS ${dir}/config.gypi OR NOT EXISTS ${dir}/node.h)
    message(FATAL_ERROR "${dir} is not a header set: it has no config.gypi or no node.h")
  endif()
  file(READ ${dir}/config.gypi gypi)
  if(NOT gypi MATCHES "['\"]node_module_version['\"]: *['\"]?([0-9]+)")
    message(FATAL_ERROR "${dir}/config.gypi names no node_module_version")
  endif()
  set(definitions NODE_EMBEDDER_MODULE_VERSION=${CMAKE_MATCH_1})

  file(GLOB headers ${dir}/v8*.h)
  set(conditions)
  foreach(header IN LISTS headers)
    file(STRINGS ${header} lines REGEX "^[ \t]*#[ \t]*(if|ifdef|ifndef|elif)[ \t(]")
    string(APPEND conditions " ${lines} ")
  endforeach()

  string(REGEX MATCHALL "['\"]v8_[a-z0-9_]+['\"]: *['\"]?([1-9][0-9]*|true)" switched_on "${gypi}")
  foreach(setting IN LISTS switched_on)
    string(REGEX REPLACE "^['\"](v8_[a-z0-9_]+).*" "\\1" variable "${setting}")
    if(variable STREQUAL "v8_enable_v8_checks")
      continue()  # present once per build type; the headers' checks change no layout
    endif()
    string(TOUPPER "${variable}" macro)
    string(REPLACE "V8_ENABLE_" "V8_" short "${macro}")
    set(known ${ZEB_V8_FLAGS})
    list(FILTER known INCLUDE REGEX "^${variable}=")
    if(known AND setting MATCHES "[^0-9](1|true)$")
      string(REPLACE "${variable}=" "" known "${known}")
      list(APPEND definitions ${known})
    elseif(" ${conditions} " MATCHES "[^A-Z0-9_](${macro}|${short})[^A-Z0-9_]")
      message(FATAL_ERROR "${dir}/config.gypi switches on ${variable}, and the headers ask for ${CMAKE_MATCH_1}: "
        "zebbridge does not know engines with this flag")
    endif()
  endforeach()
  list(REMOVE_DUPLICATES definitions)
  set(${result} ${definitions} PARENT_SCOPE)
endfunction()

# The runtime's import library: ZEB_RUNTIME_LIB, or where header sets have it. Another runtime's would have other names.
function(zeb_find_runtime_library dir result)
  set(library ${ZEB_RUNTIME_LIB})
  foreach(place IN ITEMS x64 win-x64 lib .)
    if(NOT library AND EXISTS ${dir}/../../${place}/node.lib)
      set(library ${dir}/../../${place}/node.lib)
    endif()
  endforeach()
  if(NOT EXISTS "${library}")
    message(FATAL_ERROR "${dir} has no import library in its neighbourhood: give the runtime's own, "
      "-DZEB_RUNTIME_LIB=.../node.lib")
  endif()
  get_filename_component(library ${library} ABSOLUTE)
  set(${result} ${library} PARENT_SCOPE)
endfunction()

if(CMAKE_SCRIPT_MODE_FILE STREQUAL CMAKE_CURRENT_LIST_FILE)
  zeb_read_runtime_headers(${ZEB_RUNTIME_HEADERS} definitions)
  message(STATUS "${definitions}")
endif()
