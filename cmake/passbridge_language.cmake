# Libraries with the texts of a language and nothing else, which Windows dialogs load their strings from.
include(passbridge_resource_library)

# passbridge_language_library(TARGET FILE): NAME.dll with a string table of a file of resources/texts.
function(passbridge_language_library target file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}_texts.rc")
  passbridge_string_table("${file}" table)
  file(CONFIGURE OUTPUT "${resource}" CONTENT "${table}" @ONLY)
  passbridge_resource_library(${target} "${resource}" "Texts of the device explorer")
endfunction()

# Sets OUT to resource source of the lines "number = text" of a file; src/ui/text_file.h tells their form.
function(passbridge_string_table file out)
  file(STRINGS "${file}" lines REGEX "^[ \t]*[0-9]+[ \t]*=" ENCODING UTF-8)
  # Neutral: found whatever the language of the user's menus is.
  set(table "#pragma code_page(65001)\nLANGUAGE 0, 0\nSTRINGTABLE\nBEGIN\n")
  foreach(line IN LISTS lines)
    string(REGEX MATCH "^[ \t]*([0-9]+)[ \t]*=[ \t]*(.*)$" unused "${line}")
    set(number "${CMAKE_MATCH_1}")
    string(STRIP "${CMAKE_MATCH_2}" text)
    string(ASCII 1 backslash)
    string(REPLACE "\\\\" "${backslash}" text "${text}")
    string(REPLACE "\\s" " " text "${text}")
    string(REPLACE "${backslash}" "\\\\" text "${text}")
    string(REPLACE "\"" "\"\"" text "${text}")
    string(APPEND table "  ${number} \"${text}\"\n")
  endforeach()
  set(${out} "${table}END\n" PARENT_SCOPE)
endfunction()
