# What an installed copy consists of: the header, the library, and the two packages by which programs find it; the licence,
# the manual's pages and what bash completes. None names an absolute path, so the copy may be moved.
include(CMakePackageConfigHelpers)

install(TARGETS orv EXPORT orv
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES ${PROJECT_SOURCE_DIR}/include/orv.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

# The library needs no other package, so the exported target is the whole configuration. The version file also keeps
# programs of the other word size away.
install(EXPORT orv NAMESPACE orv:: FILE orvConfig.cmake DESTINATION ${ORV_INSTALL_CMAKEDIR})
write_basic_package_version_file(orvConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orvConfigVersion.cmake DESTINATION ${ORV_INSTALL_CMAKEDIR})

set(package ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH includeFromPackage
     ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_FULL_INCLUDEDIR})
if(ORV_LIBRARY_KIND STREQUAL STATIC)
  set(librariesOfStatic " -lm")
elseif(ORV_STATIC)
  set(privateLibraries "\nLibs.private: -lm")
  install(TARGETS orv_static EXPORT orv ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR})
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/orv.pc.in orv.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv.pc DESTINATION ${package})

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
configure_file(${PROJECT_SOURCE_DIR}/docs/man/libOrv.3.in libOrv.3 @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/libOrv.3 DESTINATION ${CMAKE_INSTALL_MANDIR}/man3)
if(ORV_TOOLS)
  configure_file(${PROJECT_SOURCE_DIR}/docs/man/orv.1.in orv.1 @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/orv.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
  install(FILES ${PROJECT_SOURCE_DIR}/tools/orv/completion.bash
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME orv)
endif()
