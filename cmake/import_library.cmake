# Run after the DLL is linked: makes its import library anew. The exports are undecorated (kestr.def),
# but a caller's object asks for _name@bytes as stdcall has it, so the import library has to bring
# these names; the linker's own one would not. The DLL's symbol table tells the bytes.
# Needs: NM, DLLTOOL, DLL (path), DEF (of undecorated names), IMPORT_LIBRARY (path).
execute_process(COMMAND ${NM} --defined-only ${DLL} OUTPUT_VARIABLE symbols
                COMMAND_ERROR_IS_FATAL ANY)
file(STRINGS ${DEF} lines REGEX "^    ")
set(decorated "LIBRARY KESTR.dll\nEXPORTS\n")
foreach(line IN LISTS lines)
    string(STRIP "${line}" name)
    if(NOT symbols MATCHES " T _(${name}@[0-9]+)")
        message(FATAL_ERROR "${name} is not a stdcall function")
    endif()
    string(APPEND decorated "    ${CMAKE_MATCH_1}\n")
endforeach()
set(decorated_def ${DEF}.decorated)
file(WRITE ${decorated_def} "${decorated}")
execute_process(COMMAND ${DLLTOOL} --kill-at --input-def ${decorated_def} --dllname KESTR.dll
                --output-lib ${IMPORT_LIBRARY} COMMAND_ERROR_IS_FATAL ANY)
