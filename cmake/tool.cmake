# The zuk command. Its parts are an object library, which the tests link too; main.cpp stands apart.
zuk_sources(tool_sources tool)
set(tool_main ${PROJECT_SOURCE_DIR}/tool/main.cpp)
list(REMOVE_ITEM tool_sources ${tool_main})

add_library(zuk_tool_parts OBJECT ${tool_sources})
target_link_libraries(zuk_tool_parts PUBLIC zuk_flags zuk_borrowed_headers zuk_static)
target_compile_definitions(zuk_tool_parts PUBLIC ZUK_VERSION="${PROJECT_VERSION}")

if(EXISTS ${tool_main})
    add_executable(zuk_tool ${tool_main})
    target_link_libraries(zuk_tool PRIVATE zuk_tool_parts)
    set_target_properties(zuk_tool PROPERTIES OUTPUT_NAME zuk)
endif()
