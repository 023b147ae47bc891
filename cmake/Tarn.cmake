# Shared build rules: one INTERFACE target with the language standard, warnings and Qt defines, two precompiled
# headers that every target reuses, and the functions that make tests.

find_program(TARN_CCACHE ccache)
if(TARN_CCACHE)
    # The sloppiness is what ccache needs to cache compilations that use a precompiled header.
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
        CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
        CCACHE_BASEDIR=${CMAKE_SOURCE_DIR} CCACHE_NOHASHDIR=1 ${TARN_CCACHE})
endif()

add_library(tarn_flags INTERFACE)
target_compile_features(tarn_flags INTERFACE cxx_std_17)
set_property(TARGET tarn_flags PROPERTY INTERFACE_POSITION_INDEPENDENT_CODE ON)
target_compile_options(tarn_flags INTERFACE
    -fPIC -Wall -Wextra -Wpedantic -Wshadow -Wold-style-cast -Woverloaded-virtual -Wnon-virtual-dtor
    $<$<CXX_COMPILER_ID:GNU>:-Wsuggest-override> $<$<BOOL:${TARN_WERROR}>:-Werror>)
target_compile_definitions(tarn_flags INTERFACE
    QT_NO_CAST_TO_ASCII QT_RESTRICTED_CAST_FROM_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
    QT_MESSAGELOGCONTEXT)
target_include_directories(tarn_flags INTERFACE "${CMAKE_SOURCE_DIR}/platform/contract" "${CMAKE_SOURCE_DIR}/platform/keys")
# clang links the runtime of the sanitizers into programs only, so that the fuzz build's libraries leave it undefined.
target_link_options(tarn_flags INTERFACE $<$<NOT:$<BOOL:${TARN_FUZZ}>>:-Wl,--no-undefined> $<$<CONFIG:Release>:-Wl,-z,relro,-z,now>)
# The programs read markup, pictures, archives and messages of others. scripts/check-binaries.py looks at the result.
set(TARN_HARDENING -fstack-protector-strong -fstack-clash-protection -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    list(APPEND TARN_HARDENING -fcf-protection)
endif()
target_compile_options(tarn_flags INTERFACE $<$<CONFIG:Release>:${TARN_HARDENING}>)
if(TARN_SANITIZE)
    target_compile_options(tarn_flags INTERFACE -fsanitize=${TARN_SANITIZE} -fno-omit-frame-pointer
                           -fno-sanitize-recover=all)
    target_link_options(tarn_flags INTERFACE -fsanitize=${TARN_SANITIZE})
    target_compile_definitions(tarn_flags INTERFACE TARN_SANITIZED)
endif()
set(TARN_PROTOBUF_FLAGS)
if(TARN_SANITIZE MATCHES thread)
    # Otherwise protobuf's headers give its classes members that its library does not know.
    set(TARN_PROTOBUF_FLAGS -U__SANITIZE_THREAD__ -D_GLIBCXX_TSAN=1)
    # What the sanitizer must know about the libraries without instrumentation.
    add_library(tarn_tsan_shims OBJECT "${CMAKE_SOURCE_DIR}/tools/tsan/TsanShims.cpp")
    target_compile_features(tarn_tsan_shims PRIVATE cxx_std_17)
    target_link_libraries(tarn_tsan_shims PRIVATE Qt5::Core)
    set_target_properties(tarn_tsan_shims PROPERTIES AUTOMOC OFF AUTORCC OFF)
    target_sources(tarn_flags INTERFACE
        $<$<STREQUAL:$<TARGET_PROPERTY:TYPE>,EXECUTABLE>:$<TARGET_OBJECTS:tarn_tsan_shims>>)
endif()

if(TARN_FUZZ)
    target_compile_options(tarn_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

# Precompiled headers. tarn_pch(<target> core|widgets) makes a target reuse one of them.
foreach(kind core widgets)
    file(WRITE "${CMAKE_BINARY_DIR}/pch/${kind}.cpp.in" "// Carries the precompiled header \"${kind}\".\n")
    file(COPY_FILE "${CMAKE_BINARY_DIR}/pch/${kind}.cpp.in" "${CMAKE_BINARY_DIR}/pch/${kind}.cpp" ONLY_IF_DIFFERENT)
    add_library(tarn_pch_${kind} OBJECT "${CMAKE_BINARY_DIR}/pch/${kind}.cpp")
    set_target_properties(tarn_pch_${kind} PROPERTIES AUTOMOC OFF AUTORCC OFF)
    target_link_libraries(tarn_pch_${kind} PRIVATE tarn_flags)
endforeach()
target_link_libraries(tarn_pch_core PRIVATE Qt5::Core)
target_precompile_headers(tarn_pch_core PRIVATE <QtCore>)
target_link_libraries(tarn_pch_widgets PRIVATE Qt5::Widgets)
target_precompile_headers(tarn_pch_widgets PRIVATE <QtCore> <QtGui> <QtWidgets>)

function(tarn_pch target kind)
    target_precompile_headers(${target} REUSE_FROM tarn_pch_${kind})
endfunction()

add_custom_target(thread_tests) # those with the label threads

# tarn_add_test(<name> [X11] [CORE] [ALONE] [TIMEOUT seconds] SOURCES ... [LIBS ...])
# One Qt Test executable. Plain tests run on the offscreen plug-in; X11 ones run inside tests/support/with-x.sh, which
# gives each its own X server, window manager, session bus and home. ALONE ones run as a copy in a folder that no other run
# uses (tests/support/alone.sh). Labels: unit, x11, e2e; threads for those that the thread sanitizer runs; slow and variant
# are added where a test is made.
function(tarn_add_test name)
    cmake_parse_arguments(T "X11;CORE;ALONE" "TIMEOUT" "SOURCES;LIBS" ${ARGN})
    add_executable(${name} ${T_SOURCES})
    set_target_properties(${name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY "${CMAKE_BINARY_DIR}/tests")
    target_link_libraries(${name} PRIVATE tarn_flags Qt5::Test ${T_LIBS})
    target_include_directories(${name} PRIVATE "${CMAKE_SOURCE_DIR}/tests")
    if(T_CORE)
        tarn_pch(${name} core) # no Widgets in the test
    else()
        tarn_pch(${name} widgets)
    endif()
    if(NOT T_TIMEOUT)
        set(T_TIMEOUT 60)
    endif()
    if(TARN_SANITIZE)
        math(EXPR T_TIMEOUT "${T_TIMEOUT} * 4")
    endif()
    set(launcher)
    if(TARN_SANITIZE MATCHES thread)
        set(launcher "${CMAKE_SOURCE_DIR}/tools/tsan/with-tsan.sh")
    endif()
    set(env "QT_FONT_DPI=96" "QT_LOGGING_RULES=" "LANG=C.UTF-8" "LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/lsan.supp"
        "UBSAN_OPTIONS=print_stacktrace=1" "TARN_BIN_DIR=${TARN_BIN_DIR}")
    if(T_X11)
        add_test(NAME ${name} COMMAND "${CMAKE_SOURCE_DIR}/tests/support/with-x.sh" -- ${launcher} $<TARGET_FILE:${name}>)
        # As the host sets it: with Mesa's software renderer on the machine, GL would leak and cost a second a window.
        list(APPEND env "QT_XCB_GL_INTEGRATION=none")
    else()
        set(runner)
        if(T_ALONE)
            set(runner "${CMAKE_SOURCE_DIR}/tests/support/alone.sh")
        endif()
        add_test(NAME ${name} COMMAND ${launcher} ${runner} $<TARGET_FILE:${name}>)
        list(APPEND env "QT_QPA_PLATFORM=offscreen")
    endif()
    set(label unit)
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/tests/e2e$")
        set(label e2e)
    elseif(T_X11)
        set(label x11)
    endif()
    if(CMAKE_CURRENT_SOURCE_DIR MATCHES "/tests/(rpc|frame|login)$" OR name MATCHES "^tst_(silent|UpgradeService)$")
        list(APPEND label threads)
        add_dependencies(thread_tests ${name})
    endif()
    # LeakSanitizer's tracer crashes now and then among the threads of gRPC ("Tracer caught signal"): tests with a real RPC
    # core run without it. Every other test looks for leaks.
    if(TARN_SANITIZE AND CMAKE_CURRENT_SOURCE_DIR MATCHES "/tests/(e2e|rpc|platform)$")
        list(APPEND env "ASAN_OPTIONS=detect_leaks=0")
    endif()
    set_tests_properties(${name} PROPERTIES TIMEOUT ${T_TIMEOUT} LABELS "${label}" ENVIRONMENT "${env}")
endfunction()
