# orvenlink_layer(<name> SOURCES <files...> [LINKS <targets...>])
# One static library a layer. A layer links what stands below it and nothing else.
function(orvenlink_layer name)
  cmake_parse_arguments(LAYER "" "" "SOURCES;LINKS" ${ARGN})
  add_library(orvenlink-${name} STATIC ${LAYER_SOURCES})
  target_include_directories(orvenlink-${name} PUBLIC ${CMAKE_SOURCE_DIR}/src)
  target_link_libraries(orvenlink-${name} PUBLIC ${LAYER_LINKS} PRIVATE orvenlink-options)
endfunction()
