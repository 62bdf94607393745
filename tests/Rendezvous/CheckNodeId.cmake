# cmake -D id=<text> -P CheckNodeId.cmake: what configuring says to a node id.
include(${CMAKE_CURRENT_LIST_DIR}/../../cmake/NodeId.cmake)
orvenlink_check_node_id(id)
message("accepted")
