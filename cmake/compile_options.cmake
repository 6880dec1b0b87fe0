# Options of every target: warnings, hardening and the sanitizers.

add_compile_options(-Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2
                    -Wcast-qual -Wundef -Wdouble-promotion)
add_compile_options($<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
                    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual> $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)
if(ORVELGW_WERROR)
    add_compile_options(-Werror)
endif()

# What not every compiler or processor has. An unloaded library must be gone: GCC's unique symbols would
# keep it in the process, Clang makes none. The rest stops a stack that runs out on its guard page, and
# jumps to where none is meant.
include(CheckCXXCompilerFlag)
set(CMAKE_REQUIRED_FLAGS -Werror) # of a flag for another processor Clang says that it is not used
foreach(flag -fno-gnu-unique -fstack-clash-protection -fcf-protection -mbranch-protection=standard)
    string(MAKE_C_IDENTIFIER "HAS${flag}" has)
    check_cxx_compiler_flag(${flag} ${has})
    if(${has})
        add_compile_options($<$<COMPILE_LANGUAGE:CXX>:${flag}>)
    endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)
add_compile_options(-fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden>
                    -fstack-protector-strong)
add_link_options(-Wl,-z,relro,-z,now -Wl,--as-needed)

add_compile_definitions($<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS>
                        $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)

if(ORVELGW_FUZZ)
    # Optimised, or a fuzz target gets nowhere; every line counted.
    add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
                        -fno-omit-frame-pointer -O1 -g)
    add_link_options(-fsanitize=address,undefined)
elseif(ORVELGW_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
else()
    add_link_options(-Wl,-z,defs)
endif()

# iODBC 3.52.9 loses what its globals point to when it is unloaded with the gateway, a few hundred
# bytes. Under the leak checker a program that loads the gateway keeps the driver manager loaded.
function(keep_driver_manager target)
    if(ORVELGW_SANITIZE)
        target_link_options(${target} PRIVATE -Wl,--no-as-needed)
        target_link_libraries(${target} PRIVATE iodbc)
    endif()
endfunction()
