# The service's main() under another name, so that a test program can have its own and call this.
# The object is the one that ships, but for that symbol.
set(SERVICE_MAIN_OBJECT ${CMAKE_CURRENT_BINARY_DIR}/airplay_bridge_main_renamed.o)
add_custom_command(
  OUTPUT ${SERVICE_MAIN_OBJECT}
  COMMAND ${CMAKE_OBJCOPY} --redefine-sym main=airplay_bridge_main
          $<TARGET_OBJECTS:airplay_bridge_main> ${SERVICE_MAIN_OBJECT}
  DEPENDS airplay_bridge_main $<TARGET_OBJECTS:airplay_bridge_main>
  COMMENT "The service's main() as airplay_bridge_main()"
  VERBATIM)
add_custom_target(airplay_bridge_main_renamed DEPENDS ${SERVICE_MAIN_OBJECT})
set_source_files_properties(${SERVICE_MAIN_OBJECT} PROPERTIES EXTERNAL_OBJECT ON GENERATED ON)

# add_service_test(NAME SOURCES...)
#
# A test program of the service on the in-memory platform and virtual time. ctest runs each case in
# a process of its own: the bridge and the counters of rate-limited log sites are process-wide.
# Cases are found when the program is built, so that ctest starts at once.
function(add_service_test name)
  add_executable(${name} ${ARGN} ${SERVICE_MAIN_OBJECT})
  add_dependencies(${name} airplay_bridge_main_renamed)
  target_link_libraries(${name} PRIVATE
    airplay_bridge_core in_memory_platform run_to_its_end virtual_libc GTest::gmock_main
    project_warnings)
  set_target_properties(${name} PROPERTIES
    RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
  gtest_discover_tests(${name}
    TEST_PREFIX "${name}." DISCOVERY_TIMEOUT 60 PROPERTIES LABELS unit TIMEOUT 30)
endfunction()
