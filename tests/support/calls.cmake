# SPDX-License-Identifier: MIT
# test_calls: what a test program links with to take the system calls of the code under test into its
# own hands (calls.h). Only calls from objects that are linked statically are led there.
if(NOT TARGET test_calls)
  add_library(test_calls INTERFACE)
  target_sources(test_calls INTERFACE ${CMAKE_CURRENT_LIST_DIR}/calls.cc)
  foreach(name select socket setsockopt getsockopt bind listen accept fcntl recv recvfrom send sendto shutdown close
               malloc calloc free gettimeofday getrandom open read fopen fgets fread fclose puts printf strerror)
    target_link_options(test_calls INTERFACE LINKER:--wrap=${name})
  endforeach()
endif()
