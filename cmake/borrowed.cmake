# The libraries of others that the tool and the tests stand on; all come from Debian packages.
#
#   zuk_borrowed_headers   CLI11 and nlohmann-json, header-only
#   zuk_gtest              GoogleTest with its main, compiled here from the sources of its package, with the flags of
#                          the target: the library in the package is of the host alone and without sanitizers

find_path(CLI11_INCLUDE CLI/CLI.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)
find_path(NLOHMANN_JSON_INCLUDE nlohmann/json.hpp PATHS /usr/include NO_CMAKE_FIND_ROOT_PATH REQUIRED)

# The two folders are copied beside the build: a cross compiler must not see the rest of the host's include folder.
set(borrowed_include ${CMAKE_BINARY_DIR}/borrowed)
file(COPY ${CLI11_INCLUDE}/CLI ${NLOHMANN_JSON_INCLUDE}/nlohmann DESTINATION ${borrowed_include})
add_library(zuk_borrowed_headers INTERFACE)
target_include_directories(zuk_borrowed_headers SYSTEM INTERFACE ${borrowed_include})

if(ZUK_BUILD_TESTS)
    find_path(GOOGLETEST_SOURCE src/gtest-all.cc PATHS /usr/src/googletest/googletest
        NO_CMAKE_FIND_ROOT_PATH REQUIRED)
    find_package(Threads REQUIRED)
    add_library(zuk_gtest STATIC ${GOOGLETEST_SOURCE}/src/gtest-all.cc ${GOOGLETEST_SOURCE}/src/gtest_main.cc)
    target_include_directories(zuk_gtest SYSTEM PUBLIC ${GOOGLETEST_SOURCE}/include PRIVATE ${GOOGLETEST_SOURCE})
    target_link_libraries(zuk_gtest PUBLIC Threads::Threads PRIVATE zuk_platform_flags)
endif()
