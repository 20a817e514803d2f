# How every target of this project is made: one folder, one target.

add_library(velmora-options INTERFACE)
target_compile_options(velmora-options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Werror
    -fcoroutines
    # g++ 12 warns wrongly about moved-from coroutine frames, inlined optionals and string copies at -O2 and up.
    $<$<CONFIG:Release>:-Wno-maybe-uninitialized;-Wno-array-bounds;-Wno-restrict;-Wno-stringop-overflow>)
target_compile_definitions(velmora-options INTERFACE
    QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII QT_NO_URL_CAST_FROM_STRING QT_NO_FOREACH
    QT_MESSAGELOGCONTEXT)
if(VELMORA_SANITIZE)
    target_compile_options(velmora-options INTERFACE
        -fsanitize=${VELMORA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -O1
        # g++ 12 warns wrongly about inlined optionals here too.
        -Wno-maybe-uninitialized)
    target_link_options(velmora-options INTERFACE -fsanitize=${VELMORA_SANITIZE})
endif()

# velmora_headers(<name> <scope>)
# Makes the headers of the calling folder known under their folder's path: #include "upload/UploadService.h". Each target has
# an include root of its own with links to its headers alone, so a header is reached only by a target that links this one,
# and GLOBAL_DEPENDS_NO_CYCLES refuses an upward link.
function(velmora_headers name scope)
    file(RELATIVE_PATH folder ${PROJECT_SOURCE_DIR} ${CMAKE_CURRENT_SOURCE_DIR})
    string(REGEX REPLACE "^Velmora_TimeTracker/" "" folder ${folder})
    set(root ${PROJECT_BINARY_DIR}/include/${name})
    file(MAKE_DIRECTORY ${root}/${folder})
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_CURRENT_SOURCE_DIR} *.h)
    foreach(header IN LISTS headers)
        file(CREATE_LINK ${CMAKE_CURRENT_SOURCE_DIR}/${header} ${root}/${folder}/${header} SYMBOLIC)
    endforeach()
    target_include_directories(${name} ${scope} ${root})
endfunction()

# velmora_library(<name> SOURCES <files...> [PUBLIC <targets...>] [PRIVATE <targets...>])
function(velmora_library name)
    cmake_parse_arguments(ARG "" "" "SOURCES;PUBLIC;PRIVATE" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    velmora_headers(${name} PUBLIC)
    target_link_libraries(${name} PUBLIC ${ARG_PUBLIC} PRIVATE ${ARG_PRIVATE} velmora-options)
    velmora_precompile(${name})
endfunction()

# Everything below the screens that a test can prove: what an engine change has to rebuild and run.
add_custom_target(engine-tests)

# velmora_test(<name> SOURCES <files...> LINKS <targets...> [LABELS <labels...>] [TIMEOUT <seconds>])
# The label "desktop" means a real display, bus, keyring or process: nothing of the other labels runs beside such a test.
function(velmora_test name)
    cmake_parse_arguments(ARG "" "TIMEOUT" "SOURCES;LINKS;LABELS" ${ARGN})
    if(NOT ARG_TIMEOUT)
        set(ARG_TIMEOUT 120)
    endif()
    add_executable(${name} ${ARG_SOURCES})
    target_link_libraries(${name} PRIVATE ${ARG_LINKS} test-support velmora-options)
    velmora_explain_threads(${name})
    velmora_precompile(${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${ARG_TIMEOUT} LABELS "${ARG_LABELS}")
    if("desktop" IN_LIST ARG_LABELS)
        set_tests_properties(${name} PROPERTIES RUN_SERIAL ON)
    endif()
    if("engine" IN_LIST ARG_LABELS)
        add_dependencies(engine-tests ${name})
    endif()
endfunction()

# What an executable has to tell the thread sanitizer.
function(velmora_explain_threads name)
    if(VELMORA_SANITIZE STREQUAL "thread")
        target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/cmake/ThreadSanitizer.cpp)
    endif()
endfunction()

# One precompiled header for all: made by the lowest folder, used by every other.
function(velmora_precompile name)
    if(name STREQUAL "platform")
        target_precompile_headers(${name} PRIVATE
            <functional> <memory> <optional> <string> <variant> <vector>
            <QByteArray> <QDateTime> <QJsonDocument> <QJsonObject> <QObject> <QString> <QUuid>)
    else()
        target_precompile_headers(${name} REUSE_FROM platform)
    endif()
endfunction()
