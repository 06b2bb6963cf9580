# Little CMS 2 brings no CMake package of its own: find it by header and library.
find_path(LCMS2_INCLUDE_DIR lcms2.h REQUIRED)
find_library(LCMS2_LIBRARY NAMES lcms2 REQUIRED)
add_library(kestr_lcms2 INTERFACE)
target_include_directories(kestr_lcms2 SYSTEM INTERFACE ${LCMS2_INCLUDE_DIR})
target_link_libraries(kestr_lcms2 INTERFACE ${LCMS2_LIBRARY})
