# Extension bundles: shared libraries or zip files that carry a manifest for the service framework.

include_guard(GLOBAL)

# foundation_feature_add_extension(<target>
#     SYMBOLIC_NAME <name>          the same as the manifest's bundle.symbolic_name; with SOURCES, a C identifier
#     MANIFEST <manifest.json>      embedded as written
#     [SOURCES <file>...]           without them, the bundle carries its manifest only
#     [OUTPUT_DIRECTORY <dir>])     default: the current binary directory
#
# An extension bundle of the feature controls. With SOURCES, the target is a shared library that links
# foundation::feature and foundation::fctrl_ext and has US_BUNDLE_NAME defined; its manifest needs
# "bundle.activator": true for the code to be run. Without, it is a custom target that makes <target>.zip. Exactly that
# one file lands in the output directory; import libraries and the like stay out of it.
#
# Stripping the library afterwards may remove its manifest.
function(foundation_feature_add_extension target)
  foundation_add_service_bundle(${target} ${ARGN})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "SHARED_LIBRARY")
    target_link_libraries(${target} PRIVATE foundation::feature foundation::fctrl_ext)
  endif()
endfunction()

# foundation_add_service_bundle(<the arguments of foundation_feature_add_extension>)
#
# Any bundle of the service framework: the same, linking the framework alone.
function(foundation_add_service_bundle target)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "SYMBOLIC_NAME;MANIFEST;OUTPUT_DIRECTORY" "SOURCES")
  _foundation_check_bundle_arguments()
  get_filename_component(manifest "${arg_MANIFEST}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_SOURCE_DIR}")
  _foundation_check_manifest(${target} "${manifest}" "${arg_SYMBOLIC_NAME}")

  if(arg_OUTPUT_DIRECTORY)
    get_filename_component(output "${arg_OUTPUT_DIRECTORY}" ABSOLUTE BASE_DIR "${CMAKE_CURRENT_BINARY_DIR}")
  else()
    set(output "${CMAKE_CURRENT_BINARY_DIR}")
  endif()
  # The manifest is copied to where its path inside the bundle can be taken from. An edit of it configures anew.
  set(work "${CMAKE_CURRENT_BINARY_DIR}/CMakeFiles/${target}.bundle")
  configure_file("${manifest}" "${work}/${arg_SYMBOLIC_NAME}/manifest.json" COPYONLY)

  if(NOT arg_SOURCES)
    file(MAKE_DIRECTORY "${output}")
    _foundation_zip_manifest("${work}" "${arg_SYMBOLIC_NAME}" "${output}/${target}.zip")
    add_custom_target(${target} ALL DEPENDS "${output}/${target}.zip")
    return()
  endif()

  get_target_property(is_embedded CppMicroServices FOUNDATION_EMBEDDED)
  if(is_embedded)
    add_library(${target} SHARED ${arg_SOURCES})
    _foundation_append_manifest(${target} "${work}" "${arg_SYMBOLIC_NAME}")
  else()
    # The functions below read variables that the package sets in the scope that looks for it.
    find_package(CppMicroServices 3 REQUIRED QUIET)
    set(sources ${arg_SOURCES})
    usFunctionGetResourceSource(TARGET ${target} OUT sources APPEND)
    usFunctionGenerateBundleInit(TARGET ${target} OUT sources)
    add_library(${target} SHARED ${sources})
    set_target_properties(${target} PROPERTIES US_BUNDLE_NAME ${arg_SYMBOLIC_NAME})
    usFunctionEmbedResources(TARGET ${target} APPEND
        WORKING_DIRECTORY "${work}/${arg_SYMBOLIC_NAME}" FILES manifest.json)
  endif()

  # The generator expression keeps generators with several configurations from adding a folder for each.
  set_target_properties(${target} PROPERTIES
      CXX_VISIBILITY_PRESET hidden
      VISIBILITY_INLINES_HIDDEN ON
      LIBRARY_OUTPUT_DIRECTORY "$<1:${output}>"
      RUNTIME_OUTPUT_DIRECTORY "$<1:${output}>"
      ARCHIVE_OUTPUT_DIRECTORY "$<1:${work}>"
      PDB_OUTPUT_DIRECTORY "$<1:${work}>")
  target_compile_features(${target} PRIVATE cxx_std_20)
  target_compile_definitions(${target} PRIVATE US_BUNDLE_NAME=${arg_SYMBOLIC_NAME})
  target_link_libraries(${target} PRIVATE CppMicroServices)
endfunction()

macro(_foundation_check_bundle_arguments)
  if(arg_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "bundle ${target}: unknown arguments: ${arg_UNPARSED_ARGUMENTS}")
  endif()
  if(NOT arg_SYMBOLIC_NAME OR NOT arg_MANIFEST)
    message(FATAL_ERROR "bundle ${target}: SYMBOLIC_NAME and MANIFEST must be given")
  endif()
  if(arg_SYMBOLIC_NAME MATCHES "/")
    message(FATAL_ERROR "bundle ${target}: the symbolic name \"${arg_SYMBOLIC_NAME}\" contains a slash")
  endif()
  if(arg_SOURCES AND NOT arg_SYMBOLIC_NAME MATCHES "^[A-Za-z_][A-Za-z0-9_]*$")
    message(FATAL_ERROR
        "bundle ${target}: the symbolic name \"${arg_SYMBOLIC_NAME}\" of a bundle with code must be a C identifier")
  endif()
endmacro()

function(_foundation_check_manifest target manifest symbolic_name)
  if(NOT EXISTS "${manifest}")
    message(FATAL_ERROR "bundle ${target}: the manifest ${manifest} does not exist")
  endif()
  file(READ "${manifest}" json)
  string(JSON name ERROR_VARIABLE error GET "${json}" "bundle.symbolic_name")
  if(error)
    message(FATAL_ERROR "bundle ${target}: the manifest ${manifest} gives no bundle.symbolic_name: ${error}")
  endif()
  if(NOT name STREQUAL symbolic_name)
    message(FATAL_ERROR
        "bundle ${target}: bundle.symbolic_name is \"${name}\" in the manifest ${manifest}, but SYMBOLIC_NAME is "
        "\"${symbolic_name}\": they must be the same")
  endif()
endfunction()

function(_foundation_zip_manifest work symbolic_name zip)
  add_custom_command(OUTPUT "${zip}"
      COMMAND "${CMAKE_COMMAND}" -E tar cf "${zip}" --format=zip "${symbolic_name}/manifest.json"
      WORKING_DIRECTORY "${work}"
      DEPENDS "${work}/${symbolic_name}/manifest.json"
      COMMENT "Zipping the manifest of ${symbolic_name}"
      VERBATIM)
endfunction()

# Each link writes the library anew, so that appending after it never appends twice; a new manifest links again.
function(_foundation_append_manifest target work symbolic_name)
  set(zip "${work}/manifest.zip")
  _foundation_zip_manifest("${work}" "${symbolic_name}" "${zip}")
  target_sources(${target} PRIVATE "${zip}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS "${zip}")
  if(CMAKE_HOST_WIN32)
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND cmd /c copy /b /y "$<SHELL_PATH:$<TARGET_FILE:${target}>>+$<SHELL_PATH:${zip}>"
        VERBATIM)
  else()
    add_custom_command(TARGET ${target} POST_BUILD
        COMMAND "${CMAKE_COMMAND}" -E cat "${zip}" >> "$<TARGET_FILE:${target}>"
        VERBATIM)
  endif()
endfunction()
