# Libraries to benchmark against that Debian lacks, or has only in old versions. ZENTA_PEERS names a folder with their unpacked
# sources, one folder for each, named PROJECT or PROJECT-VERSION:
#
#   peers/yyjson-0.12.0/src/yyjson.c ...    peers/simdjson/src/simdjson.cpp ...    peers/simdutf/src/simdutf.cpp ...
#
#   zenta_peers(cloud_bench yyjson simdjson)        #if defined(ZENTA_PEER_YYJSON)
#
# links those that are there and defines ZENTA_PEER_<NAME> for each. They are compiled without our warnings.
include_guard(GLOBAL)
set(ZENTA_PEERS "" CACHE PATH "Folder with the unpacked sources of yyjson, simdjson and simdutf, for the benchmarks")
if(ZENTA_PEERS)
  enable_language(C)
endif()

# Makes a static library of a peer from one source file, which includes the others.
function(zenta_peer name source)
  file(GLOB roots LIST_DIRECTORIES true "${ZENTA_PEERS}/${name}" "${ZENTA_PEERS}/${name}-*")
  foreach(root IN LISTS roots)
    if(ZENTA_PEERS AND NOT TARGET zenta_peer_${name} AND EXISTS "${root}/src/${source}")
      add_library(zenta_peer_${name} STATIC "${root}/src/${source}")
      target_include_directories(zenta_peer_${name} SYSTEM PUBLIC "${root}/src" "${root}/include")
      message(STATUS "Peer: ${root}")
    endif()
  endforeach()
  if(ZENTA_PEERS AND NOT TARGET zenta_peer_${name})
    message(STATUS "Peer: no ${name} in ${ZENTA_PEERS}")
  endif()
endfunction()
zenta_peer(yyjson yyjson.c)
zenta_peer(simdjson simdjson.cpp)
zenta_peer(simdutf simdutf.cpp)

function(zenta_peers target)
  foreach(name IN LISTS ARGN)
    if(TARGET zenta_peer_${name})
      string(TOUPPER "${name}" upper)
      target_compile_definitions(${target} PRIVATE ZENTA_PEER_${upper})
      target_link_libraries(${target} PRIVATE zenta_peer_${name})
    endif()
  endforeach()
endfunction()
