# Libraries with the texts of a language and nothing else, which Windows dialogs load their strings from.

# passbridge_language_library(TARGET FILE): NAME.dll with a string table of a file of resources/texts.
function(passbridge_language_library target file)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${file}")
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}_texts.rc")
  passbridge_string_table("${file}" table)
  file(CONFIGURE OUTPUT "${resource}" CONTENT "${table}" @ONLY)
  add_library(${target} SHARED "${resource}")
  # No code, so nothing of a compiler's runtime, and no entry point.
  target_link_options(${target} PRIVATE -nostdlib -Wl,--entry=0 -s)
  set_target_properties(${target} PROPERTIES LINKER_LANGUAGE C RUNTIME_OUTPUT_DIRECTORY
                                                               "$<TARGET_FILE_DIR:passbridge>")
  passbridge_version_resource(${target} "Texts of the device explorer")
  install(TARGETS ${target} RUNTIME)
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
