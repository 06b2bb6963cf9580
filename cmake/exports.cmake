# The exported names are those that the public headers declare: one list, from which come the .def
# file of the DLL (undecorated stdcall names) and the version script of the shared object, which
# also keeps the standard library's own instantiations out of the export table.
function(kestr_limit_exports target)
    set(text "")
    foreach(header IN LISTS ARGN)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header})
        file(READ ${header} content)
        string(APPEND text "${content}")
    endforeach()
    # Declarations run from KESTR_API to the parenthesis behind the name; the word itself occurs
    # elsewhere too, hence the filter.
    string(REGEX MATCHALL "KESTR_API[^;#(]*\\(" declarations "${text}")
    set(names "")
    foreach(declaration IN LISTS declarations)
        string(REGEX REPLACE "^.*[^A-Za-z0-9_]([A-Za-z0-9_]+)\\($" "\\1" name "${declaration}")
        list(APPEND names "${name}")
    endforeach()
    list(FILTER names INCLUDE REGEX "^(c[A-Z]|Sys|SafeArray)")
    list(REMOVE_DUPLICATES names)
    list(SORT names)
    if(WIN32)
        # The system has the automation functions there.
        list(FILTER names EXCLUDE REGEX "^(Sys|SafeArray)")
        list(JOIN names "\n    " lines)
        set(file ${CMAKE_CURRENT_BINARY_DIR}/kestr.def)
        file(CONFIGURE OUTPUT ${file} CONTENT "LIBRARY KESTR\nEXPORTS\n    @lines@\n" @ONLY)
        target_sources(${target} PRIVATE ${file})
        target_link_options(${target} PRIVATE -Wl,--enable-stdcall-fixup)
        add_custom_command(TARGET ${target} POST_BUILD VERBATIM COMMAND ${CMAKE_COMMAND}
            -DNM=${CMAKE_NM} -DDLLTOOL=${CMAKE_DLLTOOL} -DDLL=$<TARGET_FILE:${target}> -DDEF=${file}
            -DIMPORT_LIBRARY=$<TARGET_LINKER_FILE:${target}>
            -P ${PROJECT_SOURCE_DIR}/cmake/import_library.cmake)
    else()
        list(JOIN names ";\n        " lines)
        if(names)
            set(lines "global:\n        ${lines};")
        endif()
        set(file ${CMAKE_CURRENT_BINARY_DIR}/kestr.map)
        file(CONFIGURE OUTPUT ${file}
             CONTENT "{\n    @lines@\n    local:\n        *;\n};\n" @ONLY)
        target_link_options(${target} PRIVATE -Wl,--version-script=${file} -Wl,-z,defs)
        set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${file})
    endif()
endfunction()
