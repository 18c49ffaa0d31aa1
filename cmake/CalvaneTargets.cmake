# How a library, a program, a test and a benchmark of this project are declared: one function each, so that warnings,
# sanitizers and include paths are the same everywhere.

function(calvane_options target)
    target_include_directories(${target} PUBLIC ${CMAKE_SOURCE_DIR})
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
    target_link_libraries(${target} PRIVATE Threads::Threads)
    if(CALVANE_SANITIZERS)
        target_compile_options(${target} PRIVATE -fsanitize=${CALVANE_SANITIZERS} -fno-omit-frame-pointer)
        target_link_options(${target} PUBLIC -fsanitize=${CALVANE_SANITIZERS})
        if(CALVANE_SANITIZERS MATCHES "undefined")
            target_compile_options(${target} PRIVATE -fno-sanitize-recover=undefined)
        endif()
    endif()
endfunction()

# calvane_library(name SOURCES file... [PUBLIC lib...] [PRIVATE lib...])
# PUBLIC: libraries whose headers this one's headers include. PRIVATE: libraries that only its sources use.
function(calvane_library name)
    cmake_parse_arguments(arg "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${arg_SOURCES})
    calvane_options(${name})
    target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
endfunction()

# calvane_headers(name [PUBLIC lib...]): a library of headers alone.
function(calvane_headers name)
    cmake_parse_arguments(arg "" "" "PUBLIC" ${ARGN})
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} INTERFACE ${arg_PUBLIC})
endfunction()

# calvane_test(name SOURCES file... LINK lib... [THREADED])
# THREADED: the tests start threads, so the run under the thread sanitizer takes them too.
function(calvane_test name)
    cmake_parse_arguments(arg "THREADED" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    calvane_options(${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    target_compile_definitions(${name} PRIVATE CALVANE_TEST_DATA="${CMAKE_SOURCE_DIR}/tests/data"
                                               CALVANE_SOURCE_DIR="${CMAKE_SOURCE_DIR}")
    target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gtest GTest::gmock GTest::gtest_main)
    set(labels "")
    if(arg_THREADED)
        set(labels LABELS threaded)
    endif()
    gtest_discover_tests(${name} DISCOVERY_MODE PRE_TEST PROPERTIES TIMEOUT 120 ${labels})
endfunction()

# calvane_bench(name SOURCES file... LINK lib...)
function(calvane_bench name)
    cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
    add_executable(${name} ${arg_SOURCES})
    calvane_options(${name})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bench)
    target_link_libraries(${name} PRIVATE ${arg_LINK} benchmark::benchmark)
endfunction()
