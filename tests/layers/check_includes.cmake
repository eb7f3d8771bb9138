# Every quoted #include must point down the layers of docs/architecture.md, folder to
# folder:
#
#   base < platform < src/core < src/store < src/transport < src/host
#        < src/account, src/pkce, src/payment (siblings: none includes another) < src/session
#
# A public header (include/vexozeph/X.h) belongs to the folder of the source that includes
# it first (its implementation); one that no source owns so (the C interface's
# declarations) belongs to src/core. The two documented forwarders of include/internal/
# count as the base. The installed headers include only their own directory. The tool
# uses the installed headers and the base's header-only pieces (a base header without a
# source of its own); the emulator uses the base only. Tests and benchmarks sit on top.
#
#   cmake -DSOURCE_DIR=<tree> -P check_includes.cmake
cmake_minimum_required(VERSION 3.18)
if(NOT SOURCE_DIR)
  message(FATAL_ERROR "SOURCE_DIR is required")
endif()

set(RANK_base 0)
set(RANK_platform 1)
set(RANK_core 2)
set(RANK_store 3)
set(RANK_transport 4)
set(RANK_host 5)
set(RANK_account 6)
set(RANK_pkce 6)
set(RANK_payment 6)
set(RANK_session 7)
set(LIBRARY_FOLDERS core store transport host account pkce payment session)

function(quoted_includes file out)
  file(STRINGS "${file}" lines REGEX "^[ \t]*#[ \t]*include[ \t]*\"")
  set(names "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[ \t]*#[ \t]*include[ \t]*\"([^\"]*)\".*" "\\1" name "${line}")
    list(APPEND names "${name}")
  endforeach()
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

# Public headers owned by a library folder: the one its implementation includes first.
file(GLOB_RECURSE LIBRARY_SOURCES "${SOURCE_DIR}/src/*.cc")
foreach(source IN LISTS LIBRARY_SOURCES)
  quoted_includes("${source}" names)
  list(LENGTH names count)
  if(count GREATER 0)
    list(GET names 0 first)
    if(first MATCHES "^vexozeph/(.*)$")
      set(header "${CMAKE_MATCH_1}")
      file(RELATIVE_PATH relative "${SOURCE_DIR}/src" "${source}")
      string(REGEX REPLACE "/.*" "" folder "${relative}")
      set(OWNER_${header} "${folder}")
    endif()
  endif()
endforeach()

# The layer an include names, or "" when it names none of them.
function(layer_of_include name out)
  set(layer "")
  if(name MATCHES "^(base|internal)/")
    set(layer base)
  elseif(name MATCHES "^vexo_platform/")
    set(layer platform)
  elseif(name MATCHES "^vexozeph/(.*)$")
    set(layer core)
    if(DEFINED OWNER_${CMAKE_MATCH_1})
      set(layer "${OWNER_${CMAKE_MATCH_1}}")
    endif()
  elseif(name MATCHES "^([a-z]+)/")
    if(CMAKE_MATCH_1 IN_LIST LIBRARY_FOLDERS)
      set(layer "${CMAKE_MATCH_1}")
    endif()
  endif()
  set(${out} "${layer}" PARENT_SCOPE)
endfunction()

set(VIOLATIONS "")
function(violation file name why)
  file(RELATIVE_PATH relative "${SOURCE_DIR}" "${file}")
  set(VIOLATIONS "${VIOLATIONS}  ${relative} includes \"${name}\": ${why}\n" PARENT_SCOPE)
endfunction()

# A file of `layer` may include its own layer and those ranked below it; bare names are
# its own folder's. `extra` is a regular expression of other names it may include.
function(check_layer file layer extra)
  quoted_includes("${file}" names)
  foreach(name IN LISTS names)
    if(NOT name MATCHES "/" OR (extra AND name MATCHES "${extra}"))
      continue()
    endif()
    layer_of_include("${name}" target)
    if(target STREQUAL "")
      violation("${file}" "${name}" "not a layer of the library")
    elseif(NOT target STREQUAL layer AND NOT RANK_${target} LESS RANK_${layer})
      violation("${file}" "${name}" "${layer} may not include ${target}")
    endif()
  endforeach()
  set(VIOLATIONS "${VIOLATIONS}" PARENT_SCOPE)
endfunction()

# Only names of `allowed` (a regular expression), and bare names.
function(check_only file allowed)
  quoted_includes("${file}" names)
  foreach(name IN LISTS names)
    if(name MATCHES "/" AND NOT name MATCHES "${allowed}")
      violation("${file}" "${name}" "outside what this folder may use")
    endif()
  endforeach()
  set(VIOLATIONS "${VIOLATIONS}" PARENT_SCOPE)
endfunction()

macro(sources_of out)
  set(${out} "")
  foreach(dir ${ARGN})
    file(GLOB_RECURSE found "${SOURCE_DIR}/${dir}/*.h" "${SOURCE_DIR}/${dir}/*.cc"
         "${SOURCE_DIR}/${dir}/*.c")
    list(APPEND ${out} ${found})
  endforeach()
endmacro()

sources_of(files base include/internal)
foreach(file IN LISTS files)
  check_layer("${file}" base "")
endforeach()

sources_of(files platform/linux tests/fakes)
foreach(file IN LISTS files)
  check_layer("${file}" platform "^fakes/")
endforeach()

sources_of(files platform/include)
foreach(file IN LISTS files)
  check_only("${file}" "^vexo_platform/")
endforeach()

foreach(folder IN LISTS LIBRARY_FOLDERS)
  sources_of(files src/${folder})
  foreach(file IN LISTS files)
    check_layer("${file}" ${folder} "")
  endforeach()
endforeach()

# Each public header sits in its owner's layer, and includes only public headers.
sources_of(files include/vexozeph)
foreach(file IN LISTS files)
  get_filename_component(header "${file}" NAME)
  set(layer core)
  if(DEFINED OWNER_${header})
    set(layer "${OWNER_${header}}")
  endif()
  check_only("${file}" "^vexozeph/")
  check_layer("${file}" ${layer} "")
endforeach()

# The tool: the installed headers, and the base's header-only pieces.
file(GLOB base_sources RELATIVE "${SOURCE_DIR}/base" "${SOURCE_DIR}/base/*.cc")
set(linked_base_headers "")
foreach(source IN LISTS base_sources)
  string(REGEX REPLACE "\\.cc$" "" stem "${source}")
  list(APPEND linked_base_headers "${stem}")
endforeach()
sources_of(files tools/vexozeph)
foreach(file IN LISTS files)
  check_only("${file}" "^(vexozeph|vexo_platform|base)/")
  quoted_includes("${file}" names)
  foreach(name IN LISTS names)
    if(name MATCHES "^base/(.*)\\.h$" AND CMAKE_MATCH_1 IN_LIST linked_base_headers)
      violation("${file}" "${name}" "the tool takes only header-only pieces of the base")
    endif()
  endforeach()
endforeach()

sources_of(files tools/zeph-cloud)
foreach(file IN LISTS files)
  check_only("${file}" "^(base|zeph-cloud)/")
endforeach()

if(VIOLATIONS)
  message(FATAL_ERROR "Includes that point up the layers:\n${VIOLATIONS}")
endif()
message(STATUS "Every include points down the layers")
