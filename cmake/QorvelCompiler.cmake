# Compiler settings shared by every target: warnings, sanitizers, ccache.

find_program(QORVEL_CCACHE ccache)
if(QORVEL_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    set(CMAKE_CXX_COMPILER_LAUNCHER "${QORVEL_CCACHE}")
endif()

add_library(qorvel_compile_options INTERFACE)
# Qt's own headers come in as system headers, so these hold our code alone to them.
target_compile_options(qorvel_compile_options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Wold-style-cast)
if(QORVEL_WERROR)
    target_compile_options(qorvel_compile_options INTERFACE -Werror)
endif()
# Qt's string literals stay explicit so that no text is built from a char* by accident.
target_compile_definitions(qorvel_compile_options INTERFACE
    QT_NO_CAST_FROM_ASCII QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING
    QT_USE_QSTRINGBUILDER QT_NO_KEYWORDS)

if(QORVEL_SANITIZE)
    set(_sanitizers -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
    add_compile_options(${_sanitizers})
    add_link_options(-fsanitize=address,undefined)
endif()
