# SPDX-License-Identifier: MIT
cmake_minimum_required(VERSION 3.25)
# cmake -P, two modes over the built library LIB:
#   MODE=record  writes its binary interface to RECORD (abidw), on purpose, when an addition or a new
#                major version is meant;
#   MODE=check   compares RECORD with LIB (abidiff) and fails when the interface lost or changed
#                anything while the SONAME stayed the same. Additions alone pass, with a notice.
# The record holds what the exported functions and variables reach, with the types declared only in
# private headers (not in HEADERS, GENERATED) reduced to their names, so that a change behind a
# d-pointer is no change; locations, the corpus path and the compilation folders are left out, so
# that a rebuild anywhere writes the same record.
set(_headers --headers-dir ${HEADERS} --headers-dir ${GENERATED})
set(_how "cmake --build <build folder> --target abi_record")

if(MODE STREQUAL "record")
  if(NOT ABIDW)
    message(FATAL_ERROR "abidw not found: install abigail-tools")
  endif()
  execute_process(COMMAND ${ABIDW} --no-corpus-path --no-comp-dir-path --no-show-locs --exported-interfaces-only
      --type-id-style hash ${_headers} --drop-private-types --out-file ${RECORD}.new ${LIB}
    RESULT_VARIABLE rc ERROR_VARIABLE err)
  if(NOT rc EQUAL 0)
    file(REMOVE ${RECORD}.new)
    message(FATAL_ERROR "abidw failed (${rc}):\n${err}")
  endif()
  file(RENAME ${RECORD}.new ${RECORD})
  message("recorded the binary interface of ${LIB} in ${RECORD}: commit it with the change")
  return()
endif()

if(SANITIZED)
  message("SKIPPED: a sanitizer build's library is not the one whose interface is recorded")
  return()
endif()
if(NOT ABIDIFF)
  message("SKIPPED: abidiff not found (Debian package abigail-tools)")
  return()
endif()
if(NOT DEBUGINFO)
  message("SKIPPED: the library was built without debug information, which abidiff reads")
  return()
endif()
if(NOT EXISTS ${RECORD})
  message(FATAL_ERROR "no recorded interface ${RECORD} for ${SONAME}: a new major version records "
    "its interface in the same commit, with ${_how}")
endif()

# The record belongs to one SONAME: a new one (a declared break) has a record of its own.
file(STRINGS ${RECORD} _corpus LIMIT_COUNT 1 REGEX "<abi-corpus ")
string(REGEX MATCH "soname='([^']*)'" _ "${_corpus}")
set(_recorded ${CMAKE_MATCH_1})
if(NOT _recorded STREQUAL SONAME)
  message(FATAL_ERROR "${RECORD} records ${_recorded}, not ${SONAME}: record ${SONAME} with ${_how}")
endif()

# The record already holds the public types alone, and no locations: header folders given here would
# make every recorded type look private and hide its changes.
execute_process(COMMAND ${ABIDIFF} --no-show-locs --exported-interfaces-only ${RECORD} ${LIB}
  RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE err)
# abidiff's status is a set of bits: 1 error, 2 usage error, 4 a change, 8 an incompatible change.
if(NOT rc MATCHES "^[0-9]+$")
  message(FATAL_ERROR "abidiff did not run (${rc}):\n${err}")
endif()
math(EXPR _error "${rc} & 3")
math(EXPR _change "${rc} & 4")
math(EXPR _incompatible "${rc} & 8")
if(_error)
  message(FATAL_ERROR "abidiff failed (${rc}):\n${out}\n${err}")
endif()
if(rc EQUAL 0)
  message("the binary interface of ${SONAME} is the recorded one")
  return()
endif()

# A change is compatible only when every summary line counts nothing removed and nothing changed.
string(REGEX MATCHALL "[0-9]+ (Removed|Changed|removed|changed)" _counts "${out}")
set(_break ${_incompatible})
foreach(c ${_counts})
  if(NOT c MATCHES "^0 ")
    set(_break ON)
  endif()
endforeach()
string(REGEX MATCH "[1-9][0-9]* Added" _added "${out}")
if(NOT _break AND NOT _added)
  # Some change abidiff counts in none of its summaries (SONAME, architecture): not an addition.
  set(_break ON)
endif()
if(_break)
  message(FATAL_ERROR "the binary interface of ${SONAME} is no longer the recorded one (abidiff ${rc}):\n"
    "${out}\n"
    "Within ${SONAME} only additions are allowed. Undo the change, move it behind the d-pointer, or "
    "make it a new major version (SOVERSION and major version 2) and record that with ${_how}.")
endif()
message("${out}")
message("********************************************************************************\n"
  "ADDED to the binary interface of ${SONAME}: compatible, but not recorded yet.\n"
  "Record it in the same commit, and raise the minor version: ${_how}\n"
  "********************************************************************************")
