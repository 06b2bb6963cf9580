# TurboJPEG (lossless transforms) comes with libjpeg-turbo but not with CMake's JPEG module.
find_path(TURBOJPEG_INCLUDE_DIR turbojpeg.h REQUIRED)
find_library(TURBOJPEG_LIBRARY NAMES turbojpeg REQUIRED)
add_library(kestr_turbojpeg INTERFACE)
target_include_directories(kestr_turbojpeg SYSTEM INTERFACE ${TURBOJPEG_INCLUDE_DIR})
target_link_libraries(kestr_turbojpeg INTERFACE ${TURBOJPEG_LIBRARY})
