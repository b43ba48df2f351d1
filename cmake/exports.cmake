# What the shared library shows to the outside: the names of one list, and nothing else.

# Give `library` a version script (or a module definition file on Windows) made from `list`, one name a line, and link
# it so that it needs the C library alone.
function(zuk_limit_exports library list)
    set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
    file(STRINGS ${list} names REGEX "^[a-z0-9_]+$")

    if(WIN32)
        set(script ${CMAKE_BINARY_DIR}/zuk.def)
        list(JOIN names "\n    " lines)
        file(CONFIGURE OUTPUT ${script} CONTENT "LIBRARY zuk\nEXPORTS\n    @lines@\n" @ONLY NEWLINE_STYLE UNIX)
        target_sources(${library} PRIVATE ${script})
        set_target_properties(${library} PROPERTIES PREFIX "")
        target_link_options(${library} PRIVATE -static -static-libgcc)
    else()
        set(script ${CMAKE_BINARY_DIR}/zuk.map)
        list(JOIN names ";\n        " lines)
        file(CONFIGURE OUTPUT ${script} CONTENT
            "{\n    global:\n        @lines@;\n    local:\n        *;\n};\n" @ONLY NEWLINE_STYLE UNIX)
        target_link_options(${library} PRIVATE -Wl,--version-script=${script} -Wl,--as-needed -Wl,--gc-sections)
        set_target_properties(${library} PROPERTIES LINK_DEPENDS ${script})
    endif()

    # The C++ runtime isn't offered to the linker, so that a need of it is an error here and not on another machine. A
    # sanitizer brings its own runtime and leaves names undefined until the program starts.
    if(NOT WIN32 AND NOT ZUK_SANITIZE)
        target_link_options(${library} PRIVATE -nodefaultlibs -Wl,--no-undefined)
        target_link_libraries(${library} PRIVATE c gcc)
    endif()
endfunction()
