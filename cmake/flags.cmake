# One set of flags for all targets: arithmetic must not differ between builds or systems.
add_library(kestr_flags INTERFACE)
target_compile_options(kestr_flags INTERFACE -ffp-contract=off
    $<$<COMPILE_LANGUAGE:CXX>:-Wall;-Wextra;-Wshadow;-Wnon-virtual-dtor;-Woverloaded-virtual>
    $<$<BOOL:${KESTR_WERROR}>:-Werror>)
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    target_compile_options(kestr_flags INTERFACE -msse2 -mfpmath=sse)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_definitions(kestr_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()
if(KESTR_SANITIZE)
    target_compile_options(kestr_flags INTERFACE -fsanitize=${KESTR_SANITIZE}
                           -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(kestr_flags INTERFACE -fsanitize=${KESTR_SANITIZE})
endif()
