# What `cmake --install` lays down: libraries, headers, the CMake package, zuk.pc, the tool and its man page.
#
# include/zuk/zuk.h and types.h are the C interface. The headers of the whole common layer stand below include/zuk/ in
# their folders and are found by the target zuk::static ("engine/resources.h").

install(TARGETS zuk_shared zuk_static EXPORT zuk
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(DIRECTORY include/zuk DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} FILES_MATCHING PATTERN *.h)
foreach(folder platform foundation files decimal lists settings engine desktop)
    if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/${folder})
        install(DIRECTORY ${folder} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zuk
            FILES_MATCHING PATTERN *.h PATTERN posix EXCLUDE PATTERN win32 EXCLUDE)
    endif()
endforeach()

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zuk)
install(EXPORT zuk NAMESPACE zuk:: FILE zuk-targets.cmake DESTINATION ${package_dir})
file(WRITE ${CMAKE_BINARY_DIR}/zuk-config.cmake "include(\${CMAKE_CURRENT_LIST_DIR}/zuk-targets.cmake)\n")
write_basic_package_version_file(${CMAKE_BINARY_DIR}/zuk-config-version.cmake COMPATIBILITY SameMinorVersion)
install(FILES ${CMAKE_BINARY_DIR}/zuk-config.cmake ${CMAKE_BINARY_DIR}/zuk-config-version.cmake
    DESTINATION ${package_dir})

# zuk.pc finds its prefix from its own place, so that an installed tree can be moved.
file(RELATIVE_PATH prefix_from_pc /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(${PROJECT_SOURCE_DIR}/cmake/zuk.pc.in ${CMAKE_BINARY_DIR}/zuk.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/zuk.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

if(TARGET zuk_tool)
    install(TARGETS zuk_tool RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
if(EXISTS ${PROJECT_SOURCE_DIR}/docs/zuk.1)
    install(FILES docs/zuk.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
