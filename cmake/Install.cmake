# Installation of the library as a package: the public headers under
# include/tessik/ (keeping core/'s layout, without any detail/ folder), the library, the built-in agents under
# share/tessik_agents/agents, a CMake package (find_package(tessik_agents)
# giving tessik::agents) and a pkg-config file. The installed tree is
# relocatable: nothing in it names the prefix it was installed to. Everything
# here belongs to the install component "tessik_agents", so the library can
# be installed without the project's programs.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(TESSIK_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/tessik_agents)
set(TESSIK_INSTALL_PKGCONFIGDIR ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
set(TESSIK_INSTALL_AGENTSDIR ${CMAKE_INSTALL_DATADIR}/tessik_agents/agents)

# The installed library finds its agents relative to the file it was loaded
# from: the shared library in the library directory, or the program that a
# static library was linked into, in the program directory.
set(TESSIK_INSTALL_FULL_AGENTSDIR ${CMAKE_INSTALL_FULL_DATADIR}/tessik_agents/agents)
file(RELATIVE_PATH TESSIK_AGENTS_FROM_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR}
     ${TESSIK_INSTALL_FULL_AGENTSDIR})
file(RELATIVE_PATH TESSIK_AGENTS_FROM_BINDIR ${CMAKE_INSTALL_FULL_BINDIR}
     ${TESSIK_INSTALL_FULL_AGENTSDIR})
target_compile_definitions(tessik_agents PRIVATE
  TESSIK_AGENTS_FROM_LIBDIR="${TESSIK_AGENTS_FROM_LIBDIR}"
  TESSIK_AGENTS_FROM_BINDIR="${TESSIK_AGENTS_FROM_BINDIR}")

get_target_property(TESSIK_LIBRARY_TYPE tessik_agents TYPE)
if(TESSIK_LIBRARY_TYPE STREQUAL "STATIC_LIBRARY")
  set(TESSIK_AGENTS_STATIC ON)
else()
  set(TESSIK_AGENTS_STATIC OFF)
endif()

set_target_properties(tessik_agents PROPERTIES
  EXPORT_NAME agents
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})

install(TARGETS tessik_agents EXPORT tessik_agentsTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tessik_agents
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tessik_agents
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tessik_agents)
install(DIRECTORY ${PROJECT_SOURCE_DIR}/core/
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tessik
  COMPONENT tessik_agents
  FILES_MATCHING PATTERN "*.hpp"
  PATTERN "detail" EXCLUDE)
# The JSON Schemas of definition files and of the review configuration file,
# for editors with a YAML language server.
install(FILES ${PROJECT_SOURCE_DIR}/schema/agent-definition.schema.json
  ${PROJECT_SOURCE_DIR}/schema/review-config.schema.json
  DESTINATION ${CMAKE_INSTALL_DATADIR}/tessik_agents COMPONENT tessik_agents)
if(EXISTS ${PROJECT_SOURCE_DIR}/agents)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/agents/ DESTINATION ${TESSIK_INSTALL_AGENTSDIR}
    COMPONENT tessik_agents)
endif()

install(EXPORT tessik_agentsTargets
  NAMESPACE tessik::
  DESTINATION ${TESSIK_INSTALL_CMAKEDIR}
  COMPONENT tessik_agents)
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/tessik_agentsConfig.cmake.in
  ${PROJECT_BINARY_DIR}/tessik_agentsConfig.cmake
  INSTALL_DESTINATION ${TESSIK_INSTALL_CMAKEDIR})
# Before 1.0 a minor release may break the interface.
write_basic_package_version_file(${PROJECT_BINARY_DIR}/tessik_agentsConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/tessik_agentsConfig.cmake
  ${PROJECT_BINARY_DIR}/tessik_agentsConfigVersion.cmake
  DESTINATION ${TESSIK_INSTALL_CMAKEDIR}
  COMPONENT tessik_agents)

# pkg-config: the prefix is derived from the .pc file's own location, and the
# private dependencies are listed only when they are needed to link, that is,
# for a static library.
file(RELATIVE_PATH TESSIK_PC_TO_PREFIX ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_PREFIX})
file(RELATIVE_PATH TESSIK_PC_TO_LIBDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_FULL_LIBDIR})
file(RELATIVE_PATH TESSIK_PC_TO_INCLUDEDIR ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
     ${CMAKE_INSTALL_FULL_INCLUDEDIR})
foreach(var IN ITEMS TESSIK_PC_TO_PREFIX TESSIK_PC_TO_LIBDIR TESSIK_PC_TO_INCLUDEDIR)
  string(REGEX REPLACE "/+$" "" ${var} "${${var}}")
endforeach()
if(TESSIK_AGENTS_STATIC)
  set(TESSIK_PC_REQUIRES_PRIVATE "Requires.private: yaml-0.1 libpcre2-8 libcrypto icu-uc simdjson")
else()
  set(TESSIK_PC_REQUIRES_PRIVATE "")
endif()
configure_file(${PROJECT_SOURCE_DIR}/cmake/tessik_agents.pc.in
  ${PROJECT_BINARY_DIR}/tessik_agents.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/tessik_agents.pc DESTINATION ${TESSIK_INSTALL_PKGCONFIGDIR}
  COMPONENT tessik_agents)

# The HTTP clients, offered as the package component "clients"
# (find_package(tessik_agents COMPONENTS clients) gives tessik::clients) and
# as the pkg-config module tessik_clients. Headers go to include/tessik/clients.
if(TARGET tessik_clients)
  set_target_properties(tessik_clients PROPERTIES
    EXPORT_NAME clients
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
  install(TARGETS tessik_clients EXPORT tessik_clientsTargets
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tessik_agents
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT tessik_agents
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tessik_agents)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/clients/
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/tessik/clients
    COMPONENT tessik_agents
    FILES_MATCHING PATTERN "*.hpp"
    PATTERN "detail" EXCLUDE)
  install(EXPORT tessik_clientsTargets
    NAMESPACE tessik::
    DESTINATION ${TESSIK_INSTALL_CMAKEDIR}
    COMPONENT tessik_agents)
  # libcurl is linked as the shared library the system provides: its own
  # static dependencies (Requires.private: libcurl would pull them in) are
  # not needed.
  if(TESSIK_AGENTS_STATIC)
    set(TESSIK_CLIENTS_PC_REQUIRES_PRIVATE "Libs.private: -lcurl")
  else()
    set(TESSIK_CLIENTS_PC_REQUIRES_PRIVATE "")
  endif()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/tessik_clients.pc.in
    ${PROJECT_BINARY_DIR}/tessik_clients.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/tessik_clients.pc DESTINATION ${TESSIK_INSTALL_PKGCONFIGDIR}
    COMPONENT tessik_agents)
endif()
