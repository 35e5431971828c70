# What a package holds of the build: programs, libraries, the headers of hosts and of programs that write events, and
# their pkg-config files. Manuals and completion are added by packaging/deb/build.
include(GNUInstallDirs)

# Headers keep their folders, so that a source file includes them by one name in the tree and on a machine.
set(VARNEL_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR}/varnel-wardlet)

install(TARGETS wardlet RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(TARGETS varnel_evtx RUNTIME DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/varnel-wardlet)
install(TARGETS VarnelWardlet LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS varnel_provider_shared LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(FILES interfaces/guid.h interfaces/wardlet_status.h interfaces/wardlet_tool.h
  DESTINATION ${VARNEL_INCLUDE_DIR}/interfaces)
install(FILES provider/varnel_provider.h DESTINATION ${VARNEL_INCLUDE_DIR}/provider)

# The provider library as one archive that stands alone: its objects and what they need of the layers below, linked into
# one object in which only the C interface is left visible, so that nothing of it can meet a name of the program.
set(archive ${PROJECT_BINARY_DIR}/package/libvarnel_provider.a)
add_custom_command(OUTPUT ${archive}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/package
  COMMAND ${CMAKE_COMMAND} -E rm -f ${archive}
  COMMAND ${CMAKE_LINKER} -r --force-group-allocation -o varnel_provider.o
    --whole-archive $<TARGET_FILE:varnel_provider> --no-whole-archive
    --start-group $<TARGET_FILE:varnel_embedded_ring> $<TARGET_FILE:varnel_embedded_core> $<TARGET_FILE:varnel_formats>
    --end-group
  COMMAND ${CMAKE_OBJCOPY} --localize-hidden varnel_provider.o
  COMMAND ${CMAKE_AR} rcsD ${archive} varnel_provider.o
  WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
  DEPENDS varnel_provider varnel_embedded_ring varnel_embedded_core varnel_formats
  COMMAND_EXPAND_LISTS VERBATIM)
add_custom_target(varnel_provider_archive DEPENDS ${archive})
install(FILES ${archive} DESTINATION ${CMAKE_INSTALL_LIBDIR})

foreach(name varnel-provider varnel-wardlet)
  configure_file(packaging/pkgconfig/${name}.pc.in package/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/package/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

add_custom_target(varnel_package DEPENDS wardlet VarnelWardlet varnel_evtx varnel_provider_shared varnel_provider_archive)
