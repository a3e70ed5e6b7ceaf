# qorvel_add_library(NAME SOURCES ... [PUBLIC_LIBS ...] [PRIVATE_LIBS ...])
#
# One static library per subsystem folder. The folder itself is the include root of its
# headers, so code includes "Preferences.h" from the library it links and nothing else.
function(qorvel_add_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC_LIBS;PRIVATE_LIBS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    target_include_directories(${name} PUBLIC "${CMAKE_CURRENT_SOURCE_DIR}")
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC_LIBS} PRIVATE qorvel_compile_options ${ARG_PRIVATE_LIBS})
endfunction()

# The platform-free core may use QtCore alone; a core library that reaches for anything
# else fails the configure step instead of quietly growing a GUI dependency.
function(qorvel_check_core_library name)
    get_target_property(_libs ${name} LINK_LIBRARIES)
    foreach(_lib IN LISTS _libs)
        if(_lib MATCHES "^Qt6::" AND NOT _lib STREQUAL "Qt6::Core")
            message(FATAL_ERROR "${name} is platform-free core code and may link Qt6::Core only, not ${_lib}")
        endif()
    endforeach()
endfunction()
