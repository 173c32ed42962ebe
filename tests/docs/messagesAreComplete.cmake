# Fails when the sources hold a text that docs/messages.md lacks.
#
#   cmake -DSOURCE=<top folder> -P messagesAreComplete.cmake
#
# A text is a string literal of eight or more characters with a blank in it; a line break in it divides it into texts.

# Leaves out what holds quotation marks but no text: comments, #include, the function names of records, and '"'.
function(remove_what_is_no_text code result)
  string(REGEX REPLACE "(^|\n)[ ]*//[^\n]*" "\\1" code "${code}")
  string(REGEX REPLACE "  //[^\n]*" "" code "${code}")
  string(REGEX REPLACE "(^|\n)#include[^\n]*" "\\1" code "${code}")
  string(REGEX REPLACE "SourceLocation location{[^}]*}" "" code "${code}")
  string(REPLACE "'\"'" "" code "${code}")
  string(REPLACE "'\\\"'" "" code "${code}")
  set(${result} "${code}" PARENT_SCOPE)
endfunction()

# Checks one literal, given as the characters that it stands for but for \n.
function(check_literal literal file)
  string(REPLACE "\\n" "\n" rest "${literal}")
  while(NOT rest STREQUAL "")
    string(FIND "${rest}" "\n" end)
    if(end EQUAL -1)
      set(text "${rest}")
      set(rest "")
    else()
      string(SUBSTRING "${rest}" 0 ${end} text)
      math(EXPR end "${end} + 1")
      string(SUBSTRING "${rest}" ${end} -1 rest)
    endif()
    string(LENGTH "${text}" length)
    if(length LESS 8 OR NOT text MATCHES " ")
      continue()
    endif()
    math(EXPR count "${count} + 1")
    string(FIND "${page}" "${text}" found)
    if(found EQUAL -1)
      message(SEND_ERROR "docs/messages.md lacks a text of ${file}: \"${text}\"")
    endif()
  endwhile()
  set(count "${count}" PARENT_SCOPE)
endfunction()

file(READ "${SOURCE}/docs/messages.md" page)
file(GLOB_RECURSE files RELATIVE "${SOURCE}" "${SOURCE}/foundation/feature/src/feature/*.cpp")
list(FILTER files EXCLUDE REGEX "_(test|fuzz)\\.cpp$")
list(APPEND files
    host/json/include/foundation/json/Value.hpp
    host/json/src/ParserException.cpp
    host/json/src/detail.cpp
    host/json/src/parse.cpp)

set(count 0)
foreach(file IN LISTS files)
  file(READ "${SOURCE}/${file}" code)
  remove_what_is_no_text("${code}" code)
  # One literal after the other, raw ones as well; not by MATCHALL, whose list semicolons would divide.
  while(code MATCHES "R\"\\(([^)]*)\\)\"|\"(([^\"\\\\\n]|\\\\.)*)\"")
    set(whole "${CMAKE_MATCH_0}")
    set(raw "${CMAKE_MATCH_1}")
    set(plain "${CMAKE_MATCH_2}")
    string(FIND "${code}" "${whole}" begin)
    string(LENGTH "${whole}" length)
    math(EXPR begin "${begin} + ${length}")
    string(SUBSTRING "${code}" ${begin} -1 code)
    string(REPLACE "\\\"" "\"" plain "${plain}")
    string(REPLACE "\\\\" "\\" plain "${plain}")
    check_literal("${raw}${plain}" "${file}")
  endwhile()
  if(code MATCHES "\"")
    message(SEND_ERROR "${file} has a quotation mark that this script does not understand")
  endif()
endforeach()

# Guards the script itself: a wrong folder or pattern would find nothing to complain about.
if(count LESS 50)
  message(SEND_ERROR "only ${count} texts were found in the sources")
endif()
message(STATUS "${count} texts")
