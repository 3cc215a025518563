# Pictures of the device explorer, made of the drawings in resources/pictures by the host's tools.
include(passbridge_resource_library)
find_program(PASSBRIDGE_RSVG_CONVERT rsvg-convert)
find_program(PASSBRIDGE_IMAGE_CONVERT NAMES convert-im6.q16 convert)
mark_as_advanced(PASSBRIDGE_RSVG_CONVERT PASSBRIDGE_IMAGE_CONVERT)
if(NOT PASSBRIDGE_RSVG_CONVERT OR NOT PASSBRIDGE_IMAGE_CONVERT)
  message(FATAL_ERROR "rsvg-convert (librsvg2-bin) and convert (imagemagick) make the pictures")
endif()

# Pixels of a picture.
set(PASSBRIDGE_PICTURE_WIDTH 72)
set(PASSBRIDGE_PICTURE_HEIGHT 112)

# passbridge_picture(OUTPUT SVG SCALE): a PNG, SCALE times as wide and as high.
function(passbridge_picture output svg scale)
  math(EXPR width "${PASSBRIDGE_PICTURE_WIDTH} * ${scale}")
  math(EXPR height "${PASSBRIDGE_PICTURE_HEIGHT} * ${scale}")
  add_custom_command(
    OUTPUT "${output}"
    COMMAND "${PASSBRIDGE_RSVG_CONVERT}" -w ${width} -h ${height} -o "${output}" "${svg}"
    DEPENDS "${svg}" ${ARGN}
    VERBATIM)
endfunction()

# passbridge_bitmap(OUTPUT PNG COLOUR): a BMP of 24 bits in which COLOUR is what is transparent. A pixel is so or it isn't: a
# mixture with COLOUR would be seen.
function(passbridge_bitmap output png colour)
  add_custom_command(
    OUTPUT "${output}"
    COMMAND "${PASSBRIDGE_IMAGE_CONVERT}" "${png}" -channel A -threshold 50% +channel -background "${colour}"
            -alpha remove -alpha off -type TrueColor "BMP3:${output}"
    DEPENDS "${png}"
    VERBATIM)
endfunction()

# passbridge_picture_library(TARGET BITMAP...): a library of bitmaps and nothing else. BITMAP is NUMBER=FILE.
function(passbridge_picture_library target)
  set(source "")
  set(files "")
  foreach(bitmap IN LISTS ARGN)
    string(REGEX MATCH "^([0-9]+)=(.*)$" unused "${bitmap}")
    string(APPEND source "${CMAKE_MATCH_1} BITMAP \"${CMAKE_MATCH_2}\"\n")
    list(APPEND files "${CMAKE_MATCH_2}")
  endforeach()
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}_bitmaps.rc")
  # Neutral: found whatever the language of the user's menus is.
  file(CONFIGURE OUTPUT "${resource}" CONTENT "LANGUAGE 0, 0\n${source}" @ONLY)
  set_source_files_properties("${resource}" PROPERTIES OBJECT_DEPENDS "${files}")
  passbridge_resource_library(${target} "${resource}" "Pictures of the device explorer")
endfunction()
