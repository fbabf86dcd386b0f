# podiumcast_aws: what the uploader links, the AWS SDK for C++ where it is installed and our own
# stand-in on libcurl elsewhere.
find_package(AWSSDK QUIET COMPONENTS transfer s3)
set_package_properties(AWSSDK PROPERTIES TYPE OPTIONAL
    DESCRIPTION "AWS SDK for C++, transfer and s3"
    PURPOSE "Uploads the slides of live streams (without it: compat/aws on libcurl)")
add_library(podiumcast_aws INTERFACE)
if(AWSSDK_FOUND)
    target_link_libraries(podiumcast_aws INTERFACE ${AWSSDK_LINK_LIBRARIES})
    message(STATUS "Slide uploads: AWS SDK for C++ ${AWSSDK_VERSION}")
else()
    find_package(CURL 7.88 REQUIRED)
    add_subdirectory(${PROJECT_SOURCE_DIR}/compat/aws)
    target_link_libraries(podiumcast_aws INTERFACE podiumcast_compat_aws)
    message(STATUS "Slide uploads: compat/aws on libcurl ${CURL_VERSION_STRING}")
endif()
