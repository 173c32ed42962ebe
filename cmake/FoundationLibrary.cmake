# How every library of this repository is built, installed and exported.

include(CMakePackageConfigHelpers)
include(GenerateExportHeader)

# foundation_configure_target(<target>): the settings that every compiled target of this repository shares.
function(foundation_configure_target target)
  set_target_properties(${target} PROPERTIES
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON)
  if(MSVC)
    target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8)
  else()
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor)
  endif()
  if(WIN32)
    target_compile_definitions(${target} PRIVATE UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
  endif()
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wthread-safety -Werror=thread-safety)
  endif()
endfunction()

# foundation_copy_libraries(<program>): on Windows, where programs find their libraries beside them, copies those that
# the program needs there. For programs that lie elsewhere than the libraries.
function(foundation_copy_libraries program)
  if(WIN32)
    add_custom_command(TARGET ${program} POST_BUILD
        COMMAND "${CMAKE_COMMAND}" -E copy_if_different
            $<TARGET_RUNTIME_DLLS:${program}> ${FOUNDATION_COMPILER_LIBRARIES} "$<TARGET_FILE_DIR:${program}>"
        COMMAND_EXPAND_LISTS
        VERBATIM)
  endif()
endfunction()

# foundation_install_package(<package> [NAMESPACE <ns>] TARGETS <target>...
#     [DEPENDENCIES <find_dependency arguments>...] [MODULES <file.cmake>...])
#
# Installs the targets with their headers and a CMake package. Each dependency is one string, for example
# "Boost 1.81 COMPONENTS log". The modules come with the package, which includes them.
function(foundation_install_package package)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "NAMESPACE" "TARGETS;DEPENDENCIES;MODULES")
  set(destination "${CMAKE_INSTALL_LIBDIR}/cmake/${package}")

  install(TARGETS ${arg_TARGETS} EXPORT ${package}Targets
      RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}"
      LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      ARCHIVE DESTINATION "${CMAKE_INSTALL_LIBDIR}"
      FILE_SET HEADERS DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")
  if(arg_NAMESPACE)
    string(APPEND arg_NAMESPACE "::")
  endif()
  install(EXPORT ${package}Targets NAMESPACE "${arg_NAMESPACE}" DESTINATION "${destination}")

  set(find_dependencies "")
  foreach(dependency IN LISTS arg_DEPENDENCIES)
    string(APPEND find_dependencies "find_dependency(${dependency})\n")
  endforeach()
  set(include_modules "")
  foreach(module IN LISTS arg_MODULES)
    get_filename_component(name "${module}" NAME)
    string(APPEND include_modules "include(\"\${CMAKE_CURRENT_LIST_DIR}/${name}\")\n")
  endforeach()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/PackageConfig.cmake.in"
      "${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake" @ONLY)
  write_basic_package_version_file("${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake"
      VERSION "${PROJECT_VERSION}" COMPATIBILITY SameMajorVersion)
  install(FILES
      "${CMAKE_CURRENT_BINARY_DIR}/${package}Config.cmake"
      "${CMAKE_CURRENT_BINARY_DIR}/${package}ConfigVersion.cmake"
      ${arg_MODULES}
      DESTINATION "${destination}")
endfunction()

# foundation_add_host_library(<namespace> <name>
#     HEADERS <file under include/>... SOURCES <file>...
#     [EXPORT_HEADER <path under the include folder>]   the generated header with the export macro
#     [PUBLIC <library>...] [PRIVATE <library>...] [DEPENDENCIES <find_dependency arguments>...])
#
# A stand-in for one of the host's libraries: the shared library <namespace>_<name> with the alias
# <namespace>::<name>, installed as the package <namespace>_<name>. The export macro is
# <NAMESPACE>_<NAME>_EXPORT.
function(foundation_add_host_library namespace name)
  cmake_parse_arguments(PARSE_ARGV 2 arg "" "EXPORT_HEADER" "HEADERS;SOURCES;PUBLIC;PRIVATE;DEPENDENCIES")
  set(target ${namespace}_${name})

  add_library(${target} SHARED ${arg_SOURCES})
  add_library(${namespace}::${name} ALIAS ${target})
  foundation_configure_target(${target})
  set_target_properties(${target} PROPERTIES
      EXPORT_NAME ${name}
      VERIFY_INTERFACE_HEADER_SETS ON)
  target_compile_features(${target} PUBLIC cxx_std_20)
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS include FILES ${arg_HEADERS})
  if(arg_EXPORT_HEADER)
    set(export_header "${CMAKE_CURRENT_BINARY_DIR}/include/${arg_EXPORT_HEADER}")
    generate_export_header(${target} EXPORT_FILE_NAME "${export_header}")
    target_sources(${target} PUBLIC FILE_SET HEADERS
        BASE_DIRS "${CMAKE_CURRENT_BINARY_DIR}/include" FILES "${export_header}")
  endif()
  target_link_libraries(${target} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
  foundation_install_package(${target} NAMESPACE ${namespace} TARGETS ${target} DEPENDENCIES ${arg_DEPENDENCIES})
endfunction()
