# SPDX-License-Identifier: MIT
# The binary interface of the shared library, recorded in abi/ (abidw) and compared with every build
# (abidiff): the test abi_unchanged fails when the interface changed without a new SONAME, and the
# target abi_record writes the record again on purpose.
find_program(BRENNVOX10_ABIDW abidw)
find_program(BRENNVOX10_ABIDIFF abidiff)
mark_as_advanced(BRENNVOX10_ABIDW BRENNVOX10_ABIDIFF)

# One record per SONAME: a new major version starts a new record.
get_target_property(_abi_soversion Brennvox10 SOVERSION)
set(_abi_record ${PROJECT_SOURCE_DIR}/abi/libBrennvox10.so.${_abi_soversion}.abi)
set(_abi_args -DLIB=$<TARGET_FILE:Brennvox10> -DSONAME=$<TARGET_SONAME_FILE_NAME:Brennvox10>
  -DHEADERS=${PROJECT_SOURCE_DIR}/include/Brennvox10 -DGENERATED=${BV_GENERATED}/Brennvox10
  -DRECORD=${_abi_record})

add_custom_target(abi_record
  COMMAND ${CMAKE_COMMAND} -DMODE=record -DABIDW=${BRENNVOX10_ABIDW} ${_abi_args}
    -P ${PROJECT_SOURCE_DIR}/abi/abi.cmake
  DEPENDS Brennvox10 VERBATIM
  COMMENT "Recording the binary interface of the library")

if(BUILD_TESTING)
  set(_abi_sanitized OFF)
  if(CMAKE_CXX_FLAGS MATCHES "-fsanitize")
    set(_abi_sanitized ON)
  endif()
  # The record is made by GCC from a build with debug information; another compiler describes the
  # same interface in other words.
  set(_abi_debuginfo OFF)
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND (CMAKE_BUILD_TYPE MATCHES "^(RelWithDebInfo|Debug)$"
      OR CMAKE_CXX_FLAGS MATCHES "(^| )-g"))
    set(_abi_debuginfo ON)
  endif()
  add_test(NAME abi_unchanged COMMAND ${CMAKE_COMMAND} -DMODE=check
    -DABIDIFF=${BRENNVOX10_ABIDIFF} -DSANITIZED=${_abi_sanitized} -DDEBUGINFO=${_abi_debuginfo}
    ${_abi_args} -P ${PROJECT_SOURCE_DIR}/abi/abi.cmake)
  set_tests_properties(abi_unchanged PROPERTIES LABELS abi TIMEOUT 900
    SKIP_REGULAR_EXPRESSION "SKIPPED:")
endif()
