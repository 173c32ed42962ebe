# Writes OUTPUT, a source file that holds the page's files: those of FOLDER that FILES names.
#
#   cmake -D OUTPUT=... -D FOLDER=... -D FILES=index.html,page.css,... -P embedAssets.cmake

set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")

set(arrays "")
set(rows "")
string(REPLACE "," ";" files "${FILES}")
foreach(file IN LISTS files)
  string(MAKE_C_IDENTIFIER "${file}" identifier)
  string(REGEX REPLACE "^.*[.]" "" ending "${file}")
  if(NOT DEFINED type_${ending})
    message(FATAL_ERROR "${file}: no content type is known for its ending")
  endif()
  # Bytes, since compilers limit the length of a text.
  file(READ "${FOLDER}/${file}" bytes HEX)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${bytes}")
  string(REGEX REPLACE "((......,?){1,16})" "\\1\n    " bytes "${bytes}")
  string(APPEND arrays "constexpr char ${identifier}[] = {\n    ${bytes}};\n\n")
  if(file STREQUAL "index.html")
    set(file "")
  endif()
  string(APPEND rows "    {\"${file}\", \"${type_${ending}}\", {${identifier}, sizeof ${identifier}}},\n")
endforeach()

file(WRITE "${OUTPUT}.new" "// Made by embedAssets.cmake.
#include \"Assets.hpp\"

namespace foundation::feature::inspector {
namespace {

${arrays}constexpr Asset assets[] = {
${rows}};

}  // namespace

Asset const* findAsset(std::string_view name) {
    for (Asset const& asset : assets) {
        if (asset.name == name) return &asset;
    }
    return nullptr;
}

}  // namespace foundation::feature::inspector
")
file(RENAME "${OUTPUT}.new" "${OUTPUT}")
