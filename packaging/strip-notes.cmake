# Run by CPack on the staged files before it packs them: takes the compiler's .comment
# and the .note sections out of every ELF file, as Debian's own package builds do
# (CPack's stripping leaves both in).
file(GLOB_RECURSE staged LIST_DIRECTORIES false "${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*")
foreach(path IN LISTS staged)
    if(IS_SYMLINK "${path}")
        continue()
    endif()
    file(READ "${path}" magic LIMIT 4 HEX)
    if(magic STREQUAL "7f454c46")
        execute_process(COMMAND "${CPACK_PELLIX_OBJCOPY}" --remove-section=.comment --remove-section=.note "${path}"
                        RESULT_VARIABLE failed)
        if(failed)
            message(FATAL_ERROR "could not take the notes out of ${path}")
        endif()
    endif()
endforeach()
