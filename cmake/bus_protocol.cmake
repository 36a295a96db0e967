# bus_protocol: C++ proxies and adaptors made from the introspection XML in src/bus_protocol/.
find_program(XML2CPP sdbus-c++-xml2cpp REQUIRED)
set(generated ${CMAKE_BINARY_DIR}/generated/bus_protocol)
set(headers)
foreach(interface Settings1 CommandBus1 AppManager1 Control1 StandIn1)
  set(xml ${CMAKE_SOURCE_DIR}/src/bus_protocol/tv.benchtv.${interface}.xml)
  set(proxy ${generated}/${interface}_proxy.h)
  set(adaptor ${generated}/${interface}_adaptor.h)
  add_custom_command(
    OUTPUT ${proxy} ${adaptor}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${generated}
    COMMAND ${XML2CPP} ${xml} --proxy=${proxy} --adaptor=${adaptor} > ${generated}/${interface}.log
    DEPENDS ${xml}
    COMMENT "Bus protocol: ${interface}"
    VERBATIM)
  list(APPEND headers ${proxy} ${adaptor})
endforeach()
add_custom_target(bus_protocol_headers DEPENDS ${headers})

find_package(sdbus-c++ REQUIRED)
add_library(bus_protocol INTERFACE)
add_dependencies(bus_protocol bus_protocol_headers)
# System headers: generated code is not held to our warnings.
target_include_directories(bus_protocol SYSTEM INTERFACE ${CMAKE_BINARY_DIR}/generated)
target_include_directories(bus_protocol INTERFACE ${CMAKE_SOURCE_DIR}/src)
target_link_libraries(bus_protocol INTERFACE SDBusCpp::sdbus-c++)
