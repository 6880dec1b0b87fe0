# Run by CPack on what it has installed for the packages: debug symbols go into packages of their
# own, pages and changelogs are compressed, as Debian wants them, and nothing keeps the time of its
# making.
set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY})

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# A file's symbols are found by the number that the linker gave it.
function(take_symbols_out file folder)
    execute_process(COMMAND readelf --notes ${file} OUTPUT_VARIABLE notes)
    if(NOT notes MATCHES "Build ID: ([0-9a-f][0-9a-f])([0-9a-f]+)")
        message(FATAL_ERROR "${file} has no build ID")
    endif()
    set(symbols ${folder}/usr/lib/debug/.build-id/${CMAKE_MATCH_1}/${CMAKE_MATCH_2}.debug)
    cmake_path(GET symbols PARENT_PATH symbol_folder)
    file(MAKE_DIRECTORY ${symbol_folder})
    run(objcopy --only-keep-debug --compress-debug-sections ${file} ${symbols})
    run(chmod 644 ${symbols})
    run(strip --strip-unneeded --remove-section=.comment ${file})
endfunction()

foreach(component liborvelgw orvelgw)
    file(GLOB_RECURSE files ${root}/${component}/usr/bin/* ${root}/${component}/usr/lib/*)
    foreach(file IN LISTS files)
        if(NOT IS_SYMLINK ${file})
            take_symbols_out(${file} ${root}/symbols-of-${component})
        endif()
    endforeach()
endforeach()

file(GLOB_RECURSE files ${root}/*)
foreach(file IN LISTS files)
    if(file MATCHES "/CHANGELOG.md$")
        string(REPLACE CHANGELOG.md changelog changelog ${file})
        file(RENAME ${file} ${changelog})
        set(file ${changelog})
    endif()
    if(file MATCHES "/man/man[1-9]/|/changelog(.Debian)?$")
        run(gzip -9 --no-name ${file})
    endif()
endforeach()

run(find ${root} -exec touch --no-dereference --date=@$ENV{SOURCE_DATE_EPOCH} {} +)
