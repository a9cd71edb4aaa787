# docs/cloud.proto compiled by protobuf's own compiler, as a library for tests and benchmarks:
#
#   include(ZentaCloudProto)
#   zenta_test(... LINKS zenta_cloud_proto)          #include "cloud.pb.h"
#
# Generated code does not follow our style, so it is compiled without our warnings.
include_guard(GLOBAL)
find_package(Protobuf REQUIRED)

set(zenta_cloud_proto_dir "${PROJECT_BINARY_DIR}/cloud_proto")
file(MAKE_DIRECTORY "${zenta_cloud_proto_dir}")
add_custom_command(
  OUTPUT "${zenta_cloud_proto_dir}/cloud.pb.cc" "${zenta_cloud_proto_dir}/cloud.pb.h"
  COMMAND protobuf::protoc --cpp_out=${zenta_cloud_proto_dir} -I "${PROJECT_SOURCE_DIR}/docs"
          "${PROJECT_SOURCE_DIR}/docs/cloud.proto"
  DEPENDS "${PROJECT_SOURCE_DIR}/docs/cloud.proto"
  VERBATIM)
add_custom_target(zenta_cloud_proto_files DEPENDS "${zenta_cloud_proto_dir}/cloud.pb.cc")
add_library(zenta_cloud_proto STATIC "${zenta_cloud_proto_dir}/cloud.pb.cc")
add_dependencies(zenta_cloud_proto zenta_cloud_proto_files)
target_compile_features(zenta_cloud_proto PUBLIC cxx_std_20)
target_include_directories(zenta_cloud_proto SYSTEM PUBLIC "${zenta_cloud_proto_dir}")
# By path: the imported target is visible only below the folder that included this file first.
target_link_libraries(zenta_cloud_proto PUBLIC ${Protobuf_LIBRARIES})
