# What every target of this project is compiled and linked with: warnings, hardening, the sanitizers.
add_library(own-options INTERFACE)

# Adds a folder and gives its targets those options, before their own.
function(add_own_folder folder)
    add_subdirectory(${folder})
    get_property(targets DIRECTORY ${folder} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target IN LISTS targets)
        get_target_property(type ${target} TYPE)
        if(NOT type MATCHES "INTERFACE|UTILITY")
            target_compile_options(${target} BEFORE PRIVATE
                $<TARGET_PROPERTY:own-options,INTERFACE_COMPILE_OPTIONS>)
            target_compile_definitions(${target} PRIVATE
                $<TARGET_PROPERTY:own-options,INTERFACE_COMPILE_DEFINITIONS>)
            target_link_options(${target} BEFORE PRIVATE
                $<TARGET_PROPERTY:own-options,INTERFACE_LINK_OPTIONS>)
        endif()
    endforeach()
endfunction()

target_compile_options(own-options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wformat=2 -Wcast-qual -Wundef
    -Wdouble-promotion
    $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor> $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
    $<$<COMPILE_LANGUAGE:CXX>:-Woverloaded-virtual> $<$<COMPILE_LANGUAGE:CXX>:-Wextra-semi>)
if(ORVELGW_WERROR)
    target_compile_options(own-options INTERFACE -Werror)
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
        target_compile_options(own-options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:${flag}>)
    endif()
endforeach()
unset(CMAKE_REQUIRED_FLAGS)
target_compile_options(own-options INTERFACE
    -fvisibility=hidden $<$<COMPILE_LANGUAGE:CXX>:-fvisibility-inlines-hidden> -fstack-protector-strong)
target_link_options(own-options INTERFACE -Wl,-z,relro,-z,now -Wl,--as-needed)

target_compile_definitions(own-options INTERFACE
    $<$<CONFIG:Debug>:_GLIBCXX_ASSERTIONS> $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)

if(ORVELGW_FUZZ)
    # Optimised, or a fuzz target gets nowhere; every line counted.
    target_compile_options(own-options INTERFACE
        -fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -O1 -g)
    target_link_options(own-options INTERFACE -fsanitize=address,undefined)
elseif(ORVELGW_SANITIZE)
    target_compile_options(own-options INTERFACE
        -fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(own-options INTERFACE -fsanitize=address,undefined)
else()
    target_link_options(own-options INTERFACE -Wl,-z,defs)
endif()

# iODBC 3.52.9 loses what its globals point to when it is unloaded with the gateway, a few hundred
# bytes. Under the leak checker a program that loads the gateway keeps the driver manager loaded.
function(keep_driver_manager target)
    if(ORVELGW_SANITIZE)
        target_link_options(${target} PRIVATE -Wl,--no-as-needed)
        target_link_libraries(${target} PRIVATE iodbc)
    endif()
endfunction()
