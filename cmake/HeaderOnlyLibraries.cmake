# Header-only libraries from Debian, usable by the native and by the cross compiler alike.
# They live in /usr/include, which the cross compiler must not search, so the folders that are needed are linked
# into a private include folder of the build tree.
set(QUORVANE_HEADER_ONLY_DIR "${CMAKE_BINARY_DIR}/header-only")
file(MAKE_DIRECTORY "${QUORVANE_HEADER_ONLY_DIR}")
foreach(entry asio asio.hpp CLI nlohmann)
    if(NOT EXISTS "/usr/include/${entry}")
        message(FATAL_ERROR "/usr/include/${entry} is missing; run './dev setup' first.")
    endif()
    file(CREATE_LINK "/usr/include/${entry}" "${QUORVANE_HEADER_ONLY_DIR}/${entry}" SYMBOLIC)
endforeach()

add_library(quorvane_header_only INTERFACE)
target_include_directories(quorvane_header_only SYSTEM INTERFACE "${QUORVANE_HEADER_ONLY_DIR}")
target_compile_definitions(quorvane_header_only INTERFACE ASIO_STANDALONE ASIO_NO_DEPRECATED)
if(WIN32)
    # By select, not by completion ports: with those, a process under Wine 8 that starts and stops many io_contexts
    # crashed in most runs, in memory that asio had given back. The cause is not known yet.
    target_compile_definitions(quorvane_header_only INTERFACE ASIO_DISABLE_IOCP)
    target_link_libraries(quorvane_header_only INTERFACE ws2_32 mswsock)
else()
    find_package(Threads REQUIRED)
    target_link_libraries(quorvane_header_only INTERFACE Threads::Threads)
endif()
