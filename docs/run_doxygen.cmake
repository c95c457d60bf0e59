# SPDX-License-Identifier: MIT
# cmake -DDOXYGEN=... -DDOXYFILE=... -DHTML=... -P: runs Doxygen and, when it fails (a warning fails
# it), removes what it wrote, so that the next build runs it again instead of taking a half-made
# reference as up to date.
file(REMOVE_RECURSE ${HTML})
execute_process(COMMAND ${DOXYGEN} ${DOXYFILE} RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  file(REMOVE_RECURSE ${HTML})
  message(FATAL_ERROR "Doxygen failed (${result}): the API reference is not built")
endif()
