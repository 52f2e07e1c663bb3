# SPDX-License-Identifier: MIT
# The management station's half of the protocol, against a fake device that shares no code with it.
if(TARGET peer)
  libsec_unit_test(
    peer peer_cipher_test.cc peer_decode_test.cc peer_key_check_test.cc peer_key_log_test.cc peer_keys_test.cc peer_misbehaviour_test.cc peer_session_test.cc
    peer_snmp_test.cc peer_tunnelled_test.cc peer_wire_test.cc
    ${CMAKE_SOURCE_DIR}/tests/support/fake_cipher.cc ${CMAKE_SOURCE_DIR}/tests/support/fake_device.cc
    ${CMAKE_SOURCE_DIR}/tests/support/fake_device_sockets.cc)
  target_link_libraries(peer_test PRIVATE peer)
  target_compile_definitions(peer_test PRIVATE LIBSEC_VECTORS="${CMAKE_SOURCE_DIR}/tests/vectors")
else()
  message(STATUS "unit.peer is skipped: there is no peer library in this build")
endif()
if(TARGET zolt)
  libsec_unit_test(
    zolt zolt_failures_test.cc zolt_key_test.cc zolt_test.cc ${CMAKE_SOURCE_DIR}/tests/support/fake_cipher.cc
    ${CMAKE_SOURCE_DIR}/tests/support/fake_device.cc ${CMAKE_SOURCE_DIR}/tests/support/fake_device_sockets.cc)
  # Fleets and measurements: the program, and those of its parts that need nothing around them.
  target_sources(
    zolt_test
    PRIVATE zolt_bench_test.cc zolt_fleet_test.cc zolt_histogram_test.cc zolt_targets_test.cc
            ${CMAKE_SOURCE_DIR}/tools/zolt/bench_histogram.cc ${CMAKE_SOURCE_DIR}/tools/zolt/bench_svg.cc
            ${CMAKE_SOURCE_DIR}/tools/zolt/fleet_targets.cc)
  target_link_libraries(zolt_test PRIVATE peer fmt::fmt nlohmann_json::nlohmann_json)
  target_compile_definitions(zolt_test PRIVATE ZOLT_PROGRAM="$<TARGET_FILE:zolt>"
                             ZOLT_FAILURES="${CMAKE_CURRENT_SOURCE_DIR}/zolt_failures.tsv")
  add_dependencies(zolt_test zolt)
else()
  message(STATUS "unit.zolt is skipped: there is no zolt in this build")
endif()
