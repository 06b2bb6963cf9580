# One set of flags for all targets: arithmetic must not differ between builds or systems.
# No -march: the library runs on every x86-64 (and, on Windows, every SSE2) machine.
set(CMAKE_CXX_FLAGS_DEBUG "-O1 -g")
set(CMAKE_C_FLAGS_DEBUG "-O1 -g")
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O3 -g -DNDEBUG")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O3 -g -DNDEBUG")
if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

add_library(kestr_flags INTERFACE)
target_compile_options(kestr_flags INTERFACE -ffp-contract=off -Wall -Wextra -Wshadow
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor;-Woverloaded-virtual>
    $<$<BOOL:${KESTR_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND
   (KESTR_SANITIZE OR NOT CMAKE_BUILD_TYPE STREQUAL "Debug"))
    # g++ 12 sees overlaps and overruns in inlined string and vector code that are not there, in
    # instrumented code too; the dev preset keeps these warnings.
    target_compile_options(kestr_flags INTERFACE -Wno-restrict -Wno-array-bounds
                           -Wno-stringop-overflow -Wno-stringop-overread)
endif()
if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # x87 would round doubles otherwise than 64-bit builds do.
    target_compile_options(kestr_flags INTERFACE -msse2 -mfpmath=sse)
endif()
if(CMAKE_BUILD_TYPE STREQUAL "Debug")
    target_compile_definitions(kestr_flags INTERFACE _GLIBCXX_ASSERTIONS)
endif()
if(WIN32)
    # The DLL and the programs stand alone: no compiler run-time DLL beside them.
    target_compile_definitions(kestr_flags INTERFACE UNICODE _UNICODE NOMINMAX
                               _WIN32_WINNT=0x0601)
    target_link_options(kestr_flags INTERFACE -static)
endif()

set(KESTR_ALL_SANITIZERS ${KESTR_SANITIZE})
if(KESTR_FUZZ)
    set(KESTR_ALL_SANITIZERS fuzzer-no-link,address,undefined)
endif()
if(KESTR_ALL_SANITIZERS)
    target_compile_options(kestr_flags INTERFACE -fsanitize=${KESTR_ALL_SANITIZERS}
                           -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(kestr_flags INTERFACE -fsanitize=${KESTR_ALL_SANITIZERS})
endif()
