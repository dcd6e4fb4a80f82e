# mp3d_harness: decoding through the public API, WAV output, comparison with
# reference decodings and output hashing; shared by the mp3d tool and the
# tests. Included from tools/ and tests/; defined once.
if(NOT TARGET mp3d_harness)
  add_library(mp3d_harness STATIC
    ${PROJECT_SOURCE_DIR}/tools/harness/accuracy_core.cpp
    ${PROJECT_SOURCE_DIR}/tools/harness/decode_run.cpp
    ${PROJECT_SOURCE_DIR}/tools/harness/mpg123_reference.cpp
    ${PROJECT_SOURCE_DIR}/tools/harness/stream_input.cpp
    ${PROJECT_SOURCE_DIR}/tools/harness/wav_writer.cpp)
  target_include_directories(mp3d_harness PUBLIC ${PROJECT_SOURCE_DIR}/tools)
  target_link_libraries(mp3d_harness PUBLIC mp3d_static)
  target_compile_options(mp3d_harness PRIVATE ${MP3D_WARNINGS})
  # libmpg123 is an optional black-box reference for accuracy measurements,
  # taken on the build machine: a cross build (run under an emulator) leaves
  # it out even where the target's package is installed.
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND AND NOT CMAKE_CROSSCOMPILING)
    pkg_check_modules(MP3D_MPG123 QUIET IMPORTED_TARGET GLOBAL libmpg123)
  endif()
  if(MP3D_MPG123_FOUND)
    target_link_libraries(mp3d_harness PRIVATE PkgConfig::MP3D_MPG123)
    target_compile_definitions(mp3d_harness PRIVATE MP3D_HAVE_MPG123=1)
    message(STATUS "mp3d: libmpg123 ${MP3D_MPG123_VERSION} found: reference decodes enabled")
  else()
    message(STATUS "mp3d: libmpg123 not found: comparisons with it are skipped")
  endif()
endif()
