# qorvel_add_test(tst_Name SOURCES ... LIBS ... [SESSION x11 dbus] [ENVIRONMENT VAR=value ...])
#
# Builds one Qt Test executable and registers it with CTest. A test that names a SESSION runs
# inside tests/harness/qorvel-session with those services; the others run with the offscreen
# platform and a private home, so no test ever touches the user's desktop or files.
set(QORVEL_SESSION_LAUNCHER "${CMAKE_SOURCE_DIR}/tests/harness/qorvel-session")

function(qorvel_add_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LIBS;SESSION;ENVIRONMENT" ${ARGN})
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test qorvel_compile_options ${ARG_LIBS})
    # Helpers several tests share: private buses, window checks.
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests/support")

    set(_session_flags "")
    foreach(_service IN LISTS ARG_SESSION)
        list(APPEND _session_flags "--${_service}")
    endforeach()
    add_test(NAME ${name} COMMAND "${QORVEL_SESSION_LAUNCHER}" ${_session_flags} -- $<TARGET_FILE:${name}>)

    set(_environment ${ARG_ENVIRONMENT})
    if(NOT "x11" IN_LIST ARG_SESSION)
        list(APPEND _environment QT_QPA_PLATFORM=offscreen)
    endif()
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    set_tests_properties(${name} PROPERTIES ENVIRONMENT "${_environment}" TIMEOUT ${ARG_TIMEOUT})
endfunction()
