# GCC 12 and 14 take strings put together from constants for overflows, now here, now there as they are woven into their
# callers (GCC bugs 105329 and 105651). The macros of Qt Test narrow their timeouts from Qt 6.8 on.
add_library(PelgraTestSettings INTERFACE)
target_link_libraries(PelgraTestSettings INTERFACE PelgraCompilerSettings)
target_compile_options(PelgraTestSettings INTERFACE -Wno-array-bounds -Wno-restrict -Wno-stringop-overflow)
if(Qt6_VERSION VERSION_GREATER_EQUAL 6.8)
    target_compile_options(PelgraTestSettings INTERFACE -Wno-conversion)
endif()

# pelgra_add_tests(LABEL label LIBRARIES …): every *Test.cpp of the current folder and of the folders in it becomes a
# test program of that name. A folder with a CMakeLists.txt of its own is left to that.
# The other .cpp files of a folder Support beside it are linked into each.
function(pelgra_add_tests)
    cmake_parse_arguments(ARG "" "LABEL" "LIBRARIES" ${ARGN})
    file(GLOB tests CONFIGURE_DEPENDS *Test.cpp */*Test.cpp)
    list(LENGTH tests count)
    foreach(source IN LISTS tests)
        get_filename_component(name ${source} NAME_WE)
        get_filename_component(folder ${source} DIRECTORY)
        if(NOT folder STREQUAL CMAKE_CURRENT_SOURCE_DIR AND EXISTS ${folder}/CMakeLists.txt)
            continue()
        endif()
        add_executable(${name} ${source})
        set_target_properties(${name} PROPERTIES AUTOMOC ON RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
        target_link_libraries(${name} PRIVATE Qt6::Test ${ARG_LIBRARIES} PelgraCompilerSettings PelgraTestSettings)
        # For a few tests it does not pay.
        if(first)
            target_precompile_headers(${name} REUSE_FROM ${first})
        elseif(count GREATER 5)
            pelgra_precompile(${name} <QtTest>)
            set(first ${name})
        endif()
        add_test(NAME ${name} COMMAND ${name})
        set_tests_properties(${name} PROPERTIES LABELS "${ARG_LABEL}" TIMEOUT 300
            ENVIRONMENT "QT_QPA_PLATFORM=offscreen;QT_LOGGING_RULES=;ASAN_OPTIONS=detect_leaks=0;UBSAN_OPTIONS=print_stacktrace=1")
    endforeach()
endfunction()
