# Fails when a source or header below ROOT includes one of a higher layer, one of another folder of
# its own layer, or one by another path than that from the repository's root; or when a header
# includes the version.
#
#   cmake -DROOT=DIR -P CheckIncludes.cmake

cmake_minimum_required(VERSION 3.25)

# The lowest first; folders on one line do not know each other.
set(layers
  "framework/core"
  "framework/Utilities"
  "framework/logging framework/config framework/net"
  "framework/dns"
  "tool"
  "programs/spf-bulk programs/spf-may-send programs/spf-policyd")

# The log sink reads the product name; the environment starts the logger.
set(sideways
  "framework/logging/LoggerSink.cpp -> framework/config/Environment.h"
  "framework/config/Environment.cpp -> framework/logging/Logger.h")

function(layer_of folder result)
  set(level -1)
  set(index 0)
  foreach(layer IN LISTS layers)
    string(REPLACE " " ";" folders "${layer}")
    if("${folder}" IN_LIST folders)
      set(level ${index})
    endif()
    math(EXPR index "${index} + 1")
  endforeach()
  set(${result} ${level} PARENT_SCOPE)
endfunction()

# Indented, so that CMake does not break the line.
function(report text)
  message(SEND_ERROR "\n  ${text}")
endfunction()

function(check file include)
  get_filename_component(from_folder "${file}" DIRECTORY)
  get_filename_component(to_folder "${include}" DIRECTORY)
  layer_of("${from_folder}" from)
  layer_of("${to_folder}" to)
  if(from EQUAL -1)
    report("${file} stands in no layer")
  elseif(to EQUAL -1 OR NOT EXISTS "${ROOT}/${include}")
    report("${file} includes ${include}, which is no path from the root")
  elseif("${file}" MATCHES "\\.h$" AND "${include}" STREQUAL "framework/core/Version.h")
    report("${file} includes ${include}, which is left to sources")
  elseif("${file} -> ${include}" IN_LIST sideways OR from_folder STREQUAL to_folder)
    return()
  elseif(NOT to LESS from)
    report("${file} includes ${include}, which is not below it")
  endif()
endfunction()

file(GLOB_RECURSE files RELATIVE "${ROOT}"
  "${ROOT}/framework/*.h" "${ROOT}/framework/*.cpp" "${ROOT}/tool/*.h" "${ROOT}/tool/*.cpp"
  "${ROOT}/programs/*.h" "${ROOT}/programs/*.cpp")
if(NOT files)
  message(FATAL_ERROR "no sources below ${ROOT}")
endif()
foreach(file IN LISTS files)
  file(STRINGS "${ROOT}/${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*(\"|<framework/|<tool/|<programs/)")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[^\"<]*[\"<]([^\">]*)[\">].*" "\\1" include "${line}")
    check("${file}" "${include}")
  endforeach()
endforeach()
