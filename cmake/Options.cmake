# Compiler settings for everything that is ours.
add_library(quorvane_options INTERFACE)
target_compile_options(quorvane_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Werror
    # __FILE__ and std::source_location name files relative to the project, wherever it was built.
    "-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")
if(WIN32)
    target_compile_definitions(quorvane_options INTERFACE
        UNICODE _UNICODE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601 WINVER=0x0601)
    # The i386 ABI of other compilers keeps the stack 4-byte aligned; a callback from them must not crash on SSE.
    target_compile_options(quorvane_options INTERFACE -mstackrealign)
else()
    # Not on Windows: a COM interface has no virtual destructor by design. Deleting through one is an error in any
    # case (-Wdelete-non-virtual-dtor, part of -Wall).
    target_compile_options(quorvane_options INTERFACE -Wnon-virtual-dtor)
endif()
if(QUORVANE_SANITIZE)
    add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_link_options(-fsanitize=address,undefined)
endif()
if(QUORVANE_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
    include_directories(SYSTEM "${CMAKE_SOURCE_DIR}/Tests/Fuzz/Clang14")
endif()

if(QUORVANE_SANITIZE_THREADS)
    # ThreadSanitizer does not know the fences that asio puts around handlers; it knows the lock of asio's queue.
    add_compile_options(-fsanitize=thread -fno-omit-frame-pointer -Wno-tsan)
    add_link_options(-fsanitize=thread)
endif()
if(QUORVANE_LIFETIME_CHECKS)
    # For everything: the checks change the layout of classes.
    add_compile_definitions(QUORVANE_LIFETIME_CHECKS)
endif()

# Compiles several sources at once: for targets whose headers (asio, JSON) cost more than their own lines. Sources of
# one target then share their unnamed namespaces.
function(quorvane_build_jointly)
    set_target_properties(${ARGN} PROPERTIES UNITY_BUILD ON UNITY_BUILD_BATCH_SIZE 8)
    foreach(target IN LISTS ARGN)
        # A fixture in an unnamed namespace is in an included file then, which is what this warns of.
        target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
    endforeach()
endfunction()

# For what is built more often than it runs: tests, and the tools around the component. The component itself and its
# benchmarks are built as they ship.
function(quorvane_build_quickly)
    foreach(target IN LISTS ARGN)
        target_compile_options(${target} PRIVATE -O0)
        if(WIN32)
            # Nothing reads it: places in the component are looked up in the component.
            target_compile_options(${target} PRIVATE -g0)
        endif()
        if(QUORVANE_SANITIZE)
            # Each access would be checked for what ends the program anyway; that is a third of the compile time.
            target_compile_options(${target} PRIVATE -fno-sanitize=null,alignment,vptr)
        endif()
    endforeach()
endfunction()
