# What `cmake --install` puts where, in five components: detector, engine, development, tools,
# notices. The tree works from wherever it is moved to: every path in it is relative to its own
# place.
include(CMakePackageConfigHelpers)
include(GzipFile)

foreach(folder BINDIR LIBDIR INCLUDEDIR DATADIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    message(FATAL_ERROR "CMAKE_INSTALL_${folder} is '${CMAKE_INSTALL_${folder}}'; expected a "
      "folder below the prefix, as in 'lib': the installed tree can be moved")
  endif()
endforeach()

# On by default for `cmake --install --prefix ANYWHERE`. A Debian package turns it off: its folder
# is one of the loader's own, and a path in the detector would beat the system's /etc/ld.so.conf,
# by which a platform's engine may be put before ours.
option(DIRTY_SEG_RELOCATABLE
  "Installed files find each other by paths relative to themselves, not by the loader's search" ON)

# Headers stand below a folder of their own: `engine` is too plain a name for /usr/include.
set(include_dir "${CMAKE_INSTALL_INCLUDEDIR}/dirty_seg")
set(data_dir "${CMAKE_INSTALL_DATADIR}/dirty_seg")
# ONNX Runtime's library, only for our engine; the program's media library.
set(private_lib_dir dirty_seg_detector)

# A set of targets for each, since a platform's engine may take the place of ours.
install(TARGETS engine_headers EXPORT DirtySegHeadersTargets
  INCLUDES DESTINATION "${include_dir}")
install(TARGETS dirty_seg_detector EXPORT DirtySegDetectorTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}"
    COMPONENT detector NAMELINK_COMPONENT development)
install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/" DESTINATION "${include_dir}"
  COMPONENT development)
if(DIRTY_SEG_RELOCATABLE)
  set_target_properties(dirty_seg_detector PROPERTIES INSTALL_RPATH "\$ORIGIN")
endif()

if(NOT DIRTY_SEG_ENGINE_LIBRARY)
  install(TARGETS tessmar_ai_engine EXPORT DirtySegEngineTargets
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}" COMPONENT engine)
  if(ONNXRuntime_FROM_THIRD_PARTY)
    install(FILES "${ONNXRuntime_LIBRARY}"
      DESTINATION "${CMAKE_INSTALL_LIBDIR}/${private_lib_dir}" COMPONENT engine)
    install(FILES ${ONNXRuntime_LICENSE_FILES}
      DESTINATION "${data_dir}/onnxruntime" COMPONENT engine)
    set_target_properties(tessmar_ai_engine PROPERTIES
      INSTALL_RPATH "\$ORIGIN/${private_lib_dir}")
  endif()
endif()

# For find_package(DirtySegDetector) and pkg-config.
set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/DirtySegDetector")
set(config_file "${PROJECT_BINARY_DIR}/DirtySegDetectorConfig.cmake")
set(version_file "${PROJECT_BINARY_DIR}/DirtySegDetectorConfigVersion.cmake")
set(engine_library "${CMAKE_INSTALL_LIBDIR}/libtessmar_ai_engine.so")
configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/DirtySegDetectorConfig.cmake.in"
  "${config_file}" INSTALL_DESTINATION "${package_dir}" PATH_VARS engine_library)
write_basic_package_version_file("${version_file}" COMPATIBILITY SameMajorVersion)
install(FILES "${config_file}" "${version_file}" DESTINATION "${package_dir}"
  COMPONENT development)
set(target_sets Headers Detector)
if(NOT DIRTY_SEG_ENGINE_LIBRARY)
  list(APPEND target_sets Engine)
endif()
foreach(set ${target_sets})
  install(EXPORT DirtySeg${set}Targets NAMESPACE DirtySeg:: DESTINATION "${package_dir}"
    COMPONENT development)
endforeach()

file(RELATIVE_PATH pkgconfig_to_prefix "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
string(REGEX REPLACE "/$" "" pkgconfig_to_prefix "${pkgconfig_to_prefix}")
foreach(name dirty_seg_detector tessmar_ai_engine)
  configure_file("${CMAKE_CURRENT_LIST_DIR}/${name}.pc.in" "${PROJECT_BINARY_DIR}/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${name}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT development)
endforeach()

# Examples with sources that a reader copies.
install(DIRECTORY
  "${PROJECT_SOURCE_DIR}/examples/minimal_host" "${PROJECT_SOURCE_DIR}/examples/systemd"
  DESTINATION "${data_dir}/examples" COMPONENT development)

# Licences of ours and of what is built into the program. Debian packages have them by their own
# rules.
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/packaging/debian/copyright"
  DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT notices)

# The host program and its media library, its page, what shells complete its words with, a
# configuration to start from, the schemas of what it reads and writes, and what it takes to try it.
if(NOT DIRTY_SEG_ENGINE_LIBRARY)
  install(TARGETS dirty_seg COMPONENT tools)
  install(TARGETS dirty_seg_media
    LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}/${private_lib_dir}" COMPONENT tools)
  file(RELATIVE_PATH bin_to_lib "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
  set(program_rpath "\$ORIGIN/${bin_to_lib}/${private_lib_dir}")
  if(DIRTY_SEG_RELOCATABLE)
    list(PREPEND program_rpath "\$ORIGIN/${bin_to_lib}")
  endif()
  set_target_properties(dirty_seg PROPERTIES INSTALL_RPATH "${program_rpath}")
  gzip_file("${PROJECT_SOURCE_DIR}/packaging/dirty_seg.1" dirty_seg.1.gz)
  install(FILES "${PROJECT_BINARY_DIR}/dirty_seg.1.gz"
    DESTINATION "${CMAKE_INSTALL_MANDIR}/man1" COMPONENT tools)
  foreach(shell_file IN ITEMS bash-completion/completions/dirty_seg zsh/vendor-completions/_dirty_seg)
    string(REGEX MATCH "^[a-z]+" shell "${shell_file}")
    get_filename_component(shell_folder "${shell_file}" DIRECTORY)
    install(FILES "${PROJECT_BINARY_DIR}/completions/${shell_file}"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/${shell_folder}" COMPONENT tools)
  endforeach()
  install(FILES "${PROJECT_SOURCE_DIR}/packaging/sample.yaml"
    DESTINATION "${data_dir}" COMPONENT tools)
  install(DIRECTORY "${PROJECT_SOURCE_DIR}/docs/schema" DESTINATION "${data_dir}" COMPONENT tools)
  file(RELATIVE_PATH bin_to_schemas "/${CMAKE_INSTALL_BINDIR}" "/${data_dir}/schema")
  set_source_files_properties("${PROJECT_SOURCE_DIR}/apps/dirty_seg/files/editor_line.cpp"
    TARGET_DIRECTORY dirty_seg_host
    PROPERTIES COMPILE_DEFINITIONS DIRTY_SEG_BIN_TO_SCHEMAS="${bin_to_schemas}")
  install(FILES
    "${PROJECT_SOURCE_DIR}/models/dirt-seg.onnx" "${PROJECT_SOURCE_DIR}/models/fece-check.onnx"
    "${PROJECT_SOURCE_DIR}/models/frames/planks.jpg"
    DESTINATION "${data_dir}/demo" COMPONENT tools)
endif()
